// File layer: disk files and caller memory blocks behind one handle type.
#pragma once

#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <memory>

namespace sigillo {

constexpr uint32_t FM_KIND = 0x00FF;
constexpr uint32_t FM_READ = 0x0100;
constexpr uint32_t FM_WRITE = 0x0200;
constexpr uint32_t FM_NOTRUNC = 0x0400;

constexpr uint32_t kKindBinary = 1;
constexpr uint32_t kKindObject = 8;
constexpr uint32_t kKindText = 9;

struct FHandle;

// A name of "0x" and hex digits (more than 5 characters) is the address of a
// caller block: u32 little-endian length, then the data.  A block outside
// the memory this process may read (or write, for an output) is refused, and
// writing stops at the end of that memory: the caller must provide room for
// everything written.  A non-zero `mode` is the exact permission of a file
// this call creates or empties; 0 means 0666 less the umask.
FHandle* f_open(const char* name, uint32_t flags, uint32_t mode, uint16_t* rc);
uint16_t f_close(FHandle* handle);
size_t f_read(FHandle* handle, void* buffer, size_t length);
uint16_t f_write(FHandle* handle, const void* data, size_t length);
int f_getc(FHandle* handle);
int f_putc(int c, FHandle* handle);
char* f_gets(char* buffer, int size, FHandle* handle);
int f_puts(const char* text, FHandle* handle);  // null handle: standard output
int f_printf(FHandle* handle, const char* fmt, ...) __attribute__((format(printf, 2, 3)));
int f_vprintf(FHandle* handle, const char* fmt, va_list args);
int f_seek(FHandle* handle, int64_t offset, int whence);
int64_t f_tell(FHandle* handle);
int64_t f_size(FHandle* handle);
int f_flush(FHandle* handle);
int f_eof(FHandle* handle);
int f_error(FHandle* handle);
const char* f_name(const FHandle* handle);

bool f_exists(const char* name);  // false for memory blocks: they are never existing outputs
bool isMemoryFileName(const char* name);
// For programs that hold no caller memory (the driver and the command line):
// from now on a memory-file name is refused with code 200 or 203.
void f_refuseMemoryFiles();

// Whole file into a new buffer (release with TRFREE); null on failure.
uint8_t* f_load(const char* name, uint32_t flags, uint32_t mode, uint64_t* length, uint16_t* rc);
uint16_t f_save(const char* name, uint32_t flags, uint32_t mode, const void* data, uint64_t length);
uint16_t LdBERInBuf(const char* name, uint8_t* buffer, uint64_t size, uint64_t* length);
int64_t fbersize(const char* name);

uint16_t f_rename(const char* from, const char* to);
uint16_t f_remove(const char* name);
// Fills `name` (at least `size` bytes) with a fresh temporary file name in
// `dir` (the current folder when null or empty).
uint16_t Nmaketemp(const char* dir, char* name, size_t size);
uint16_t removeTmpFile(const char* name);

struct FCloser {
  void operator()(FHandle* handle) const { f_close(handle); }
};
using FilePtr = std::unique_ptr<FHandle, FCloser>;

}  // namespace sigillo
