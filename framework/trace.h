// Error stack and trace log: every failure of the library is recorded here
// with its source file, line, function, code and message.
#pragma once

#include <cstdarg>
#include <cstddef>
#include <cstdint>

namespace sigillo {

constexpr size_t kMsgSize = 2048;

// One recorded error.  Each entry is one allocation of its own size, so the
// stack holds as many as memory allows (large checks record many thousands).
struct ErrEntry {
  const char* file;
  uint32_t line;
  const char* function;
  uint32_t code;
  const char* message;   // at most kMsgSize - 1 characters, stored after the entry
  const char* codeText;  // the code's text where the code is not the library's own
  ErrEntry* next;        // the older entry
};

// Option bits of the trace state.
enum : uint32_t {
  kTrMsg = 0x01,      // TRdo/TRerr1 messages reach the log
  kTrIn = 0x02,       // TRin pushes a frame and writes an entry record
  kTrOut = 0x04,      // TRout pops the frame and writes an exit record
  kTrArgsIn = 0x08,   // input arguments are recorded at entry
  kTrArgsOut = 0x10,  // output arguments are recorded at exit
  kTrReset = 0x20,    // TRin resets the current code and errno
  kTrLogMsg = 0x40,   // error and level messages are written to the log file
  kTrErrno = 0x90,    // either bit: the errno line is added
};

// How TRin prints one argument (all entry point arguments are pointers).
enum TrArg : uint8_t {
  kArgPtr,     // address only
  kArgText,    // NUL-terminated text
  kArgU16,     // uint16_t*
  kArgU32,     // uint32_t*
  kArgI32,     // int32_t*
  kArgParams,  // parameter text, shown with the values of secret options masked
  kArgSecret,  // key, password or PIN: never shown, only masked
  // Buffer whose length is the uint32_t* argument at index (value - kArgBuf0).
  kArgBuf0 = 16,
};
constexpr uint8_t TrBuf(int lengthIndex) { return static_cast<uint8_t>(kArgBuf0 + lengthIndex); }

constexpr int kMaxTraceArgs = 8;
struct TrDesc {
  const char* name;
  uint8_t nargs;
  uint8_t types[kMaxTraceArgs];
};

using Err2StrFunc = const char* (*)(uint32_t code);
using TraceCallback = void (*)(void* arg, const char* file, int line, const char* function,
                               uint32_t level, uint32_t code, const char* message);

struct TraceState;
TraceState* staticTraceState();

#define SIGILLO_PRINTF(fmtIndex) __attribute__((format(printf, fmtIndex, fmtIndex + 1)))

uint16_t TRerr(const char* file, int line, const char* function, uint32_t code, const char* fmt,
               ...) SIGILLO_PRINTF(5);
uint16_t TRerrv(const char* file, int line, const char* function, uint32_t code, const char* fmt,
                va_list args);
// TRerr for a component with codes of its own: `codeText` is the code's
// text wherever the entry or the current code is shown.
uint16_t TRerrtext(const char* file, int line, const char* function, uint32_t code,
                   const char* codeText, const char* fmt, ...) SIGILLO_PRINTF(6);
uint16_t TRerr1(const char* file, int line, const char* function, uint32_t code, const char* fmt,
                ...) SIGILLO_PRINTF(5);
uint16_t TRerr1v(const char* file, int line, const char* function, uint32_t code, const char* fmt,
                 va_list args);
// TRerr, then TRout; returns the first code recorded, or `code` itself when
// recording is switched off.
uint16_t TRerrout(const char* file, int line, const char* function, uint32_t code, const char* fmt,
                  ...) SIGILLO_PRINTF(5);
uint16_t TRlasterr(const char* file, int line, const char* function);
uint16_t TRadderrstack(TraceState* state, const char* file, int line, const char* function,
                       uint32_t code, const char* message);
// TRadderrstack for a component with codes of its own: `codeText` is shown
// for the entry instead of the library's text of the same number.
uint16_t TRadddetail(const char* file, int line, const char* function, uint32_t code,
                     const char* codeText, const char* message);
// The text of an entry's code: its own text, else the library's.
const char* TRentrytext(const ErrEntry* entry);

uint16_t TRgeterr(uint32_t* code, char* text, size_t size);
uint16_t* get_sErroR();
const ErrEntry* TRgeterrstk();
size_t TRgeterrstklen();
const char* TRerr2str(uint32_t code);
void TRseterr2strfunc(Err2StrFunc func);
void TRclrerr();
void TRclearerrstack(TraceState* state);

void TRenable(int on);
void TRsetlev(uint32_t level);
uint32_t TRgetlev();
void TRsetopts(uint32_t bits);
uint32_t TRgetopts();
void TRenablelog(int on);
uint16_t TRsetlog(const char* path);
const char* TRgetlog();
// After an entry point: when a log record could not be written since the
// last call, records 204 for the log file and returns `code`, or 204 when
// `code` is 0.  Otherwise returns `code`.
uint16_t TRlogfailure(const char* function, uint16_t code);
void TRsetcallback(void* arg, TraceCallback callback);
const char* TRlevelstr(uint32_t level);

uint16_t TRdo(const char* file, int line, const char* function, uint32_t level, uint32_t code,
              const char* fmt, va_list args);
uint16_t TRwarn(const char* file, int line, const char* function, const char* fmt, ...)
    SIGILLO_PRINTF(4);
uint16_t TRnotice(const char* file, int line, const char* function, const char* fmt, ...)
    SIGILLO_PRINTF(4);
uint16_t TRinfo(const char* file, int line, const char* function, const char* fmt, ...)
    SIGILLO_PRINTF(4);
uint16_t TRdbg(const char* file, int line, const char* function, const char* fmt, ...)
    SIGILLO_PRINTF(4);
uint16_t TRdbg2(const char* file, int line, const char* function, const char* fmt, ...)
    SIGILLO_PRINTF(4);
uint16_t TRdbg3(const char* file, int line, const char* function, const char* fmt, ...)
    SIGILLO_PRINTF(4);

// Call frames: TRin takes desc->nargs argument pointers.
void TRin(const TrDesc* desc, ...);
uint16_t TRout();

// Counters, for tests and diagnostics.
uint32_t TRincount();
uint32_t TRoutcount();

}  // namespace sigillo

namespace sigillo {
// What a failing function returns: the first code recorded since the last
// clear, or its own code when recording is switched off.
inline uint16_t firstOr(uint16_t recorded, uint16_t own) { return recorded != 0 ? recorded : own; }
}  // namespace sigillo

// Message of a failed system call on a file: errno, its text, the file name.
#define SIGILLO_SYSERR_FMT "Errore %d='%s' sul file '%s'"

// Each source file defines `constexpr const char* kModule = "name";`.
#define TRERR(code, ...) ::sigillo::TRerr(kModule, __LINE__, __func__, (code), __VA_ARGS__)
#define TRERR_AS(func, code, ...) ::sigillo::TRerr(kModule, __LINE__, (func), (code), __VA_ARGS__)
#define TRERR1(code, ...) ::sigillo::TRerr1(kModule, __LINE__, __func__, (code), __VA_ARGS__)
#define TRERROUT(code, ...) ::sigillo::TRerrout(kModule, __LINE__, __func__, (code), __VA_ARGS__)
// Records an error and yields `code` itself, whatever was recorded before.
#define TRFAIL(code, ...) (TRERR((code), __VA_ARGS__), static_cast<uint16_t>(code))
#define TRLASTERR() ::sigillo::TRlasterr(kModule, __LINE__, __func__)
#define TRLASTERR_AS(func) ::sigillo::TRlasterr(kModule, __LINE__, (func))
#define TRWARN(...) ::sigillo::TRwarn(kModule, __LINE__, __func__, __VA_ARGS__)
#define TRINFO(...) ::sigillo::TRinfo(kModule, __LINE__, __func__, __VA_ARGS__)
#define TRDBG(...) ::sigillo::TRdbg(kModule, __LINE__, __func__, __VA_ARGS__)
