// File layer: the handle type and its operations over disk files and caller
// memory blocks.
#include "framework/unifile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "framework/kvtmem.h"
#include "framework/memrange.h"
#include "framework/trace.h"

namespace sigillo {

struct FHandle {
  char* name;
  uint32_t flags;
  uint32_t mode;
  FILE* stream;  // disk files; null for memory files
  // Memory files: `block` is the caller's block (length word, then data).
  uint8_t* block;
  uint8_t* buf;        // block + kLengthWord
  uint64_t lenAlloc;   // bytes that may be read or written from buf
  uint64_t bufPos;     // current position
  uint64_t lenToSave;  // content length, stored back into the block on close
  bool eof;
  bool error;
};

namespace {

constexpr const char* kModule = "unifile";
constexpr size_t kLengthWord = 4;
// A memory block stores its length in 32 bits.
constexpr uint64_t kMemoryMax = UINT32_MAX;
constexpr int kMaxOpenAttempts = 8;

bool isMemory(const FHandle* h) { return h->stream == nullptr; }
bool writable(uint32_t flags) { return (flags & FM_WRITE) != 0; }

uint32_t loadLength(const uint8_t* block) {
  return static_cast<uint32_t>(block[0]) | static_cast<uint32_t>(block[1]) << 8 |
         static_cast<uint32_t>(block[2]) << 16 | static_cast<uint32_t>(block[3]) << 24;
}

void storeLength(uint8_t* block, uint64_t length) {
  for (size_t i = 0; i < kLengthWord; ++i) block[i] = static_cast<uint8_t>(length >> (8 * i));
}

int hexValue(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

// The address written in a memory file name; 0 when it does not fit a pointer.
uintptr_t memoryAddress(const char* name) {
  uintptr_t address = 0;
  for (const char* p = name + 2; *p != '\0'; ++p) {
    if (address > (UINTPTR_MAX >> 4)) return 0;
    address = address << 4 | static_cast<uintptr_t>(hexValue(*p));
  }
  return address;
}

FHandle* newHandle(const char* name, uint32_t flags, uint32_t mode) {
  auto* h = static_cast<FHandle*>(TRCALLOC(1, sizeof(FHandle)));
  if (h == nullptr) return nullptr;
  size_t size = strlen(name) + 1;
  h->name = static_cast<char*>(TRMALLOC(size));
  if (h->name == nullptr) {
    TRFREE(h);
    return nullptr;
  }
  memcpy(h->name, name, size);
  h->flags = flags;
  h->mode = mode;
  return h;
}

void freeHandle(FHandle* h) {
  TRFREE(h->name);
  TRFREE(h);
}

bool memoryNamesRefused = false;

uint16_t memoryFailure(const FHandle* h, const char* fmt) {
  const uint16_t code = writable(h->flags) ? 203 : 200;
  return firstOr(TRERR_AS("f_open", code, fmt, h->name), code);
}

// The block must lie in memory this process may read (and write, for an
// output); writing stops where that memory ends.
uint16_t openMemory(FHandle* h) {
  if (memoryNamesRefused) {
    return memoryFailure(h, "'%s' e' un file in memoria: non disponibile in questo programma");
  }
  uintptr_t address = memoryAddress(h->name);
  if (address == 0) return memoryFailure(h, "Indirizzo di memoria '%s' non valido");
  const bool write = writable(h->flags);
  const uint64_t reach = accessibleBytes(address, write);
  if (reach < kLengthWord) {
    return memoryFailure(h, write ? "Memoria all'indirizzo '%s' non scrivibile"
                                  : "Memoria all'indirizzo '%s' non leggibile");
  }
  h->block = reinterpret_cast<uint8_t*>(address);
  h->buf = h->block + kLengthWord;
  const uint64_t room = std::min(reach - kLengthWord, kMemoryMax);
  const bool keep = !write || (h->flags & FM_NOTRUNC) != 0;
  h->lenToSave = keep ? loadLength(h->block) : 0;
  if (h->lenToSave > room) {
    return memoryFailure(h, "Il file in memoria '%s' supera la memoria accessibile");
  }
  h->lenAlloc = write ? room : h->lenToSave;
  return 0;
}

// How the open table maps access bits to open(2) flags.
struct OpenPlan {
  int oflags;
  const char* fmode;
  bool mustCreate;    // the file must not exist (write-only with FM_NOTRUNC)
  bool keepIfExists;  // read-write with FM_NOTRUNC: update, else create
};

OpenPlan planFor(uint32_t flags) {
  const bool read = (flags & FM_READ) != 0;
  const bool write = writable(flags);
  const bool noTrunc = (flags & FM_NOTRUNC) != 0;
  if ((flags & FM_KIND) == kKindText) {
    if (write) return {O_WRONLY | O_CREAT | O_TRUNC, "w", false, false};
    return {O_RDONLY, "r", false, false};
  }
  if (read && write && noTrunc) return {O_RDWR, "r+", false, true};
  if (write && noTrunc) return {O_RDWR | O_CREAT | O_EXCL, "w+", true, false};
  if (write) return {O_RDWR | O_CREAT | O_TRUNC, "w+", false, false};
  return {O_RDONLY, "r", false, false};
}

// Opens the descriptor; `created` tells whether this call made or emptied
// the file, which is when a requested permission mode applies.
int openDescriptor(const char* name, const OpenPlan& plan, mode_t perm, bool* created) {
  *created = (plan.oflags & (O_CREAT | O_TRUNC)) != 0;
  if (!plan.keepIfExists) return open(name, plan.oflags | O_CLOEXEC, perm);
  // Update an existing file, else create it; retry if another process races us.
  for (int attempt = 0; attempt < kMaxOpenAttempts; ++attempt) {
    int fd = open(name, O_RDWR | O_CLOEXEC);
    if (fd >= 0 || errno != ENOENT) {
      *created = false;
      return fd;
    }
    fd = open(name, O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, perm);
    if (fd >= 0 || errno != EEXIST) {
      *created = true;
      return fd;
    }
  }
  return -1;
}

uint16_t openFailure(const FHandle* h, const OpenPlan& plan, int err) {
  if (plan.mustCreate && err == EEXIST) {
    return firstOr(TRERR_AS("f_open", 206, "%s", h->name), 206);
  }
  if (err == ENOENT && !writable(h->flags)) {
    return firstOr(TRERR_AS("f_open", 200, "file '%s' non trovato", h->name), 200);
  }
  uint16_t code = writable(h->flags) ? 203 : 200;
  return firstOr(TRERR_AS("f_open", code, SIGILLO_SYSERR_FMT, err, strerror(err), h->name), code);
}

uint16_t openDisk(FHandle* h) {
  const OpenPlan plan = planFor(h->flags);
  const mode_t perm = h->mode != 0 ? static_cast<mode_t>(h->mode & 07777) : 0666;
  bool created = false;
  int fd = openDescriptor(h->name, plan, perm, &created);
  if (fd < 0) return openFailure(h, plan, errno);
  struct stat st {};
  int err = 0;
  if (fstat(fd, &st) != 0) {
    err = errno;
  } else if (S_ISDIR(st.st_mode)) {
    err = EISDIR;
  } else if (created && h->mode != 0 && S_ISREG(st.st_mode) && fchmod(fd, perm) != 0) {
    // open(2) filters the mode through the umask; an explicit mode is exact.
    err = errno;
  }
  if (err == 0) {
    h->stream = fdopen(fd, plan.fmode);
    if (h->stream == nullptr) err = errno;
  }
  if (err != 0) {
    close(fd);
    return openFailure(h, plan, err);
  }
  return 0;
}

uint16_t readError(const FHandle* h) {
  int err = errno;
  return firstOr(TRERR_AS("f_read", 201, SIGILLO_SYSERR_FMT, err, strerror(err), h->name), 201);
}

size_t memoryRead(FHandle* h, void* buffer, size_t length) {
  uint64_t available = h->lenToSave > h->bufPos ? h->lenToSave - h->bufPos : 0;
  size_t n = length < available ? length : static_cast<size_t>(available);
  if (n > 0) memcpy(buffer, h->buf + h->bufPos, n);
  h->bufPos += n;
  if (n < length) h->eof = true;
  return n;
}

uint16_t memoryWrite(FHandle* h, const void* data, size_t length, const char* function) {
  if (!writable(h->flags)) {
    h->error = true;
    return firstOr(TRERR_AS(function, 204, SIGILLO_SYSERR_FMT, EBADF, strerror(EBADF), h->name),
                   204);
  }
  if (length > h->lenAlloc - h->bufPos) {
    h->error = true;
    return firstOr(
        TRERR_AS(function, 204, "Superata la dimensione massima del file in memoria '%s'", h->name),
        204);
  }
  if (length > 0) memcpy(h->buf + h->bufPos, data, length);
  h->bufPos += length;
  if (h->bufPos > h->lenToSave) h->lenToSave = h->bufPos;
  return 0;
}

uint16_t writeBytes(FHandle* h, const void* data, size_t length, const char* function) {
  if (isMemory(h)) return memoryWrite(h, data, length, function);
  if (length > 0 && fwrite(data, 1, length, h->stream) != length) {
    int err = errno;
    return firstOr(TRERR_AS(function, 204, SIGILLO_SYSERR_FMT, err, strerror(err), h->name), 204);
  }
  return 0;
}

int readByte(FHandle* h) {
  if (isMemory(h)) {
    if (h->bufPos >= h->lenToSave) {
      h->eof = true;
      return EOF;
    }
    return h->buf[h->bufPos++];
  }
  int c = getc(h->stream);
  if (c == EOF && ferror(h->stream)) readError(h);
  return c;
}

}  // namespace

void f_refuseMemoryFiles() { memoryNamesRefused = true; }

bool isMemoryFileName(const char* name) {
  if (name == nullptr || strlen(name) <= 5 || name[0] != '0' || name[1] != 'x') return false;
  for (const char* p = name + 2; *p != '\0'; ++p) {
    if (hexValue(*p) < 0) return false;
  }
  return true;
}

FHandle* f_open(const char* name, uint32_t flags, uint32_t mode, uint16_t* rc) {
  if (rc != nullptr) *rc = 0;
  uint16_t code = 0;
  const uint32_t kind = flags & FM_KIND;
  const bool read = (flags & FM_READ) != 0;
  if (name == nullptr) {
    code = firstOr(TRERR(2, "name (1)"), 2);
  } else if (kind == 0 || kind > kKindText) {
    code = read ? 200 : 203;
    code = firstOr(TRERR(code, "file '%s' aperto con modalita' non valida", name), code);
  } else if (!isMemoryFileName(name) && kind != kKindText && !read && !writable(flags)) {
    code = firstOr(TRERR(200, "Modalita' di accesso %X errata per il file '%s'", flags, name), 200);
  }
  if (code != 0) {
    if (rc != nullptr) *rc = code;
    return nullptr;
  }
  FHandle* h = newHandle(name, flags, mode);
  if (h == nullptr) {
    code = firstOr(TRLASTERR(), 10);
  } else {
    code = isMemoryFileName(name) ? openMemory(h) : openDisk(h);
    if (code != 0) {
      freeHandle(h);
      h = nullptr;
    }
  }
  if (rc != nullptr) *rc = code;
  return h;
}

uint16_t f_close(FHandle* handle) {
  if (handle == nullptr) return 0;
  uint16_t code = 0;
  if (!isMemory(handle)) {
    if (fclose(handle->stream) != 0) {
      int err = errno;
      code = writable(handle->flags) ? 205 : 202;
      code = firstOr(TRERR(code, SIGILLO_SYSERR_FMT, err, strerror(err), handle->name), code);
    }
  } else if (writable(handle->flags)) {
    storeLength(handle->block, handle->lenToSave);
  }
  freeHandle(handle);
  return code;
}

size_t f_read(FHandle* handle, void* buffer, size_t length) {
  if (handle == nullptr) {
    TRERR(2, "handle (1)");
    return 0;
  }
  if (buffer == nullptr && length > 0) {
    TRERR(2, "buffer (2)");
    return 0;
  }
  if (length == 0) return 0;
  if (isMemory(handle)) return memoryRead(handle, buffer, length);
  size_t n = fread(buffer, 1, length, handle->stream);
  if (n < length && ferror(handle->stream)) readError(handle);
  return n;
}

uint16_t f_write(FHandle* handle, const void* data, size_t length) {
  if (handle == nullptr) return firstOr(TRERR(2, "handle (1)"), 2);
  if (data == nullptr && length > 0) return firstOr(TRERR(2, "data (2)"), 2);
  return writeBytes(handle, data, length, "f_write");
}

int f_getc(FHandle* handle) {
  if (handle == nullptr) {
    TRERR(2, "handle (1)");
    return EOF;
  }
  return readByte(handle);
}

int f_putc(int c, FHandle* handle) {
  if (handle == nullptr) {
    TRERR(2, "handle (2)");
    return EOF;
  }
  const auto byte = static_cast<unsigned char>(c);
  return writeBytes(handle, &byte, 1, "f_putc") == 0 ? byte : EOF;
}

char* f_gets(char* buffer, int size, FHandle* handle) {
  if (buffer == nullptr) {
    TRERR(2, "buffer (1)");
    return nullptr;
  }
  if (size <= 0) {
    TRERR(5, "size (2)");
    return nullptr;
  }
  if (handle == nullptr) {
    TRERR(2, "handle (3)");
    return nullptr;
  }
  int n = 0;
  while (n < size - 1) {
    int c = readByte(handle);
    if (c == EOF) break;
    buffer[n++] = static_cast<char>(c);
    if (c == '\n') break;
  }
  buffer[n] = '\0';
  if (n == 0 && size > 1) return nullptr;
  return buffer;
}

int f_puts(const char* text, FHandle* handle) {
  if (text == nullptr) {
    TRERR(2, "text (1)");
    return EOF;
  }
  if (handle == nullptr) return fputs(text, stdout);
  return writeBytes(handle, text, strlen(text), "f_puts") == 0 ? 0 : EOF;
}

int f_printf(FHandle* handle, const char* fmt, ...) {
  va_list args;
  va_start(args, fmt);
  int n = f_vprintf(handle, fmt, args);
  va_end(args);
  return n;
}

int f_vprintf(FHandle* handle, const char* fmt, va_list args) {
  if (fmt == nullptr) {
    TRERR(2, "fmt (2)");
    return -1;
  }
  if (handle == nullptr) return vfprintf(stdout, fmt, args);
  if (!isMemory(handle)) {
    int n = vfprintf(handle->stream, fmt, args);
    if (n < 0) {
      int err = errno;
      TRERR(204, SIGILLO_SYSERR_FMT, err, strerror(err), handle->name);
    }
    return n;
  }
  va_list measure;
  va_copy(measure, args);
  int n = vsnprintf(nullptr, 0, fmt, measure);
  va_end(measure);
  if (n < 0) return n;
  auto* text = static_cast<char*>(TRMALLOC(static_cast<size_t>(n) + 1));
  if (text == nullptr) {
    TRLASTERR();
    return -1;
  }
  vsnprintf(text, static_cast<size_t>(n) + 1, fmt, args);
  uint16_t code = writeBytes(handle, text, static_cast<size_t>(n), "f_vprintf");
  TRFREE(text);
  return code == 0 ? n : -1;
}

// Memory files can be positioned anywhere within their content; beyond it
// there is nothing the layer could vouch for.
int f_seek(FHandle* handle, int64_t offset, int whence) {
  if (handle == nullptr) {
    TRERR(2, "handle (1)");
    return -1;
  }
  if (!isMemory(handle)) {
    if (fseeko(handle->stream, offset, whence) == 0) return 0;
  } else {
    int64_t base = -1;
    if (whence == SEEK_SET) base = 0;
    if (whence == SEEK_CUR) base = static_cast<int64_t>(handle->bufPos);
    if (whence == SEEK_END) base = static_cast<int64_t>(handle->lenToSave);
    int64_t target = 0;
    if (base >= 0 && !__builtin_add_overflow(base, offset, &target) && target >= 0 &&
        static_cast<uint64_t>(target) <= handle->lenToSave) {
      handle->bufPos = static_cast<uint64_t>(target);
      handle->eof = false;
      return 0;
    }
  }
  TRERR(308, "Errore di posizionamento nel file '%s'", handle->name);
  return -1;
}

int64_t f_tell(FHandle* handle) {
  if (handle == nullptr) {
    TRERR(2, "handle (1)");
    return -1;
  }
  if (isMemory(handle)) return static_cast<int64_t>(handle->bufPos);
  off_t position = ftello(handle->stream);
  if (position < 0) TRERR(308, "Impossibile determinare posizione nel file '%s'", handle->name);
  return position;
}

// The size of the content, including what is still buffered for writing.
int64_t f_size(FHandle* handle) {
  if (handle == nullptr) {
    TRERR(2, "handle (1)");
    return -1;
  }
  if (isMemory(handle)) return static_cast<int64_t>(handle->lenToSave);
  struct stat st {};
  if ((writable(handle->flags) && fflush(handle->stream) != 0) ||
      fstat(fileno(handle->stream), &st) != 0) {
    TRERR(308, "Calcolo dimensione del file '%s' fallito", handle->name);
    return -1;
  }
  return st.st_size;
}

int f_flush(FHandle* handle) {
  if (handle == nullptr) return fflush(stdout);
  if (isMemory(handle)) return 0;
  if (fflush(handle->stream) == 0) return 0;
  int err = errno;
  TRERR(204, SIGILLO_SYSERR_FMT, err, strerror(err), handle->name);
  return EOF;
}

int f_eof(FHandle* handle) {
  if (handle == nullptr) return 1;
  if (isMemory(handle)) return handle->eof ? 1 : 0;
  return feof(handle->stream) != 0 ? 1 : 0;
}

int f_error(FHandle* handle) {
  if (handle == nullptr) return 1;
  if (isMemory(handle)) return handle->error ? 1 : 0;
  return ferror(handle->stream) != 0 ? 1 : 0;
}

const char* f_name(const FHandle* handle) { return handle != nullptr ? handle->name : nullptr; }

// A memory block is never an existing file: output protection does not
// apply to it, as f_open does not check it either.
bool f_exists(const char* name) {
  if (name == nullptr || isMemoryFileName(name)) return false;
  struct stat st {};
  return stat(name, &st) == 0;
}

}  // namespace sigillo
