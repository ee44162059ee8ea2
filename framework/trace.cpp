// Error stack: recording, reading and clearing errors, trace settings.
#include "framework/trace.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>

#include "framework/trace_state.h"

namespace sigillo {
namespace {

constexpr const char* kModule = "trace";

const char* const kLevelNames[] = {"EMERG ", "ALER  ", "CRIT  ", "ERROR ", "WARN  ",
                                   "LOG   ", "INFO  ", "DEBUG ", "DEBUG2", "DEBUG3"};

void formatMessage(char (&out)[kMsgSize], const char* fmt, va_list args) {
  if (fmt == nullptr) {
    out[0] = '\0';
    return;
  }
  vsnprintf(out, kMsgSize, fmt, args);
}

void copyMessage(char (&out)[kMsgSize], const char* text) {
  snprintf(out, kMsgSize, "%s", text != nullptr ? text : "");
}

void pushEntry(TraceState& st, const char* file, int line, const char* function, uint32_t code,
               const char* message, const char* codeText = nullptr) {
  if (message == nullptr) message = "";
  const size_t length = strnlen(message, kMsgSize - 1);
  void* block = malloc(sizeof(ErrEntry) + length + 1);
  if (block == nullptr) return;  // the recorder never fails: only this entry is lost
  char* text = static_cast<char*>(block) + sizeof(ErrEntry);
  memcpy(text, message, length);
  text[length] = '\0';
  auto* entry = new (block)
      ErrEntry{file, static_cast<uint32_t>(line), function, code, text, codeText, st.stack};
  st.stack = entry;
  ++st.stackLength;
}

void notify(TraceState& st, const char* file, int line, const char* function, uint32_t level,
            uint32_t code, const char* message) {
  if (st.callback == nullptr) return;
  char text[kMsgSize * 2];
  snprintf(text, sizeof text, "%s: %s", TRerr2str(code), message);
  st.callback(st.callbackArg, file, line, function, level, code, text);
}

// Common body of TRerrv and TRerr1v; `replace` lets a non-zero code take
// the place of the current one.
uint16_t recordError(const char* file, int line, const char* function, uint32_t code,
                     const char* fmt, va_list args, bool replace, const char* codeText = nullptr) {
  TraceState& st = *staticTraceState();
  if (st.enabled == 0) return 0;
  if (st.busy != 0) return st.code;
  st.busy = 1;
  char message[kMsgSize];
  formatMessage(message, fmt, args);
  if (code != 0 && (st.code == 0 || replace)) {
    st.code = static_cast<uint16_t>(code);
    st.codeText = codeText;
    copyMessage(st.message, message);
  }
  pushEntry(st, file, line, function, code, message, codeText);
  if (st.level > 2) {
    if (!replace || (st.options & kTrMsg) != 0)
      TRlogmsg(st, 3, code, file, line, function, message);
    notify(st, file, line, function, 3, code, message);
  }
  st.busy = 0;
  return st.code;
}

}  // namespace

TraceState* staticTraceState() {
  static TraceState state;
  return &state;
}

uint16_t TRerrv(const char* file, int line, const char* function, uint32_t code, const char* fmt,
                va_list args) {
  return recordError(file, line, function, code, fmt, args, false);
}

uint16_t TRerr(const char* file, int line, const char* function, uint32_t code, const char* fmt,
               ...) {
  va_list args;
  va_start(args, fmt);
  uint16_t rc = TRerrv(file, line, function, code, fmt, args);
  va_end(args);
  return rc;
}

uint16_t TRerr1v(const char* file, int line, const char* function, uint32_t code, const char* fmt,
                 va_list args) {
  return recordError(file, line, function, code, fmt, args, true);
}

uint16_t TRerrtext(const char* file, int line, const char* function, uint32_t code,
                   const char* codeText, const char* fmt, ...) {
  va_list args;
  va_start(args, fmt);
  uint16_t rc = recordError(file, line, function, code, fmt, args, false, codeText);
  va_end(args);
  return rc;
}

uint16_t TRerr1(const char* file, int line, const char* function, uint32_t code, const char* fmt,
                ...) {
  va_list args;
  va_start(args, fmt);
  uint16_t rc = TRerr1v(file, line, function, code, fmt, args);
  va_end(args);
  return rc;
}

uint16_t TRerrout(const char* file, int line, const char* function, uint32_t code, const char* fmt,
                  ...) {
  va_list args;
  va_start(args, fmt);
  TRerrv(file, line, function, code, fmt, args);
  va_end(args);
  // A refused call keeps its code even while recording is switched off.
  return firstOr(TRout(), static_cast<uint16_t>(code));
}

uint16_t TRlasterr(const char* file, int line, const char* function) {
  return TRerr(file, line, function, 301, "Esecuzione fallita");
}

uint16_t TRadderrstack(TraceState* state, const char* file, int line, const char* function,
                       uint32_t code, const char* message) {
  TraceState& st = state != nullptr ? *state : *staticTraceState();
  if (st.enabled == 0) return 0;
  pushEntry(st, file, line, function, code, message);
  return st.code;
}

uint16_t TRadddetail(const char* file, int line, const char* function, uint32_t code,
                     const char* codeText, const char* message) {
  TraceState& st = *staticTraceState();
  if (st.enabled == 0) return 0;
  pushEntry(st, file, line, function, code, message, codeText);
  return st.code;
}

const char* TRentrytext(const ErrEntry* entry) {
  return entry->codeText != nullptr ? entry->codeText : TRerr2str(entry->code);
}

uint16_t TRgeterr(uint32_t* code, char* text, size_t size) {
  TraceState& st = *staticTraceState();
  if (code != nullptr) *code = st.code;
  if (text != nullptr && size > 0) {
    if (st.code == 0) {
      snprintf(text, size, "OK");
    } else {
      const char* codeText = st.codeText != nullptr ? st.codeText : TRerr2str(st.code);
      snprintf(text, size, "%s: %s", codeText, st.message);
    }
  }
  return st.code;
}

uint16_t* get_sErroR() { return &staticTraceState()->code; }

const ErrEntry* TRgeterrstk() { return staticTraceState()->stack; }

size_t TRgeterrstklen() { return staticTraceState()->stackLength; }

const char* TRerr2str(uint32_t code) {
  TraceState& st = *staticTraceState();
  return st.err2str != nullptr ? st.err2str(code) : errorCodeText(code);
}

void TRseterr2strfunc(Err2StrFunc func) { staticTraceState()->err2str = func; }

void TRclearerrstack(TraceState* state) {
  TraceState& st = state != nullptr ? *state : *staticTraceState();
  ErrEntry* e = st.stack;
  while (e != nullptr) {
    ErrEntry* next = e->next;
    free(e);
    e = next;
  }
  st.stack = nullptr;
  st.stackLength = 0;
}

void TRclrerr() {
  TraceState& st = *staticTraceState();
  if (st.enabled == 0 || st.code == 0) return;
  errno = 0;
  TRdbg(kModule, __LINE__, __func__, "reset error");
  st.code = 0;
  st.codeText = nullptr;
  st.message[0] = '\0';
  TRclearerrstack(&st);
}

void TRenable(int on) { staticTraceState()->enabled += on ? 1 : -1; }
void TRsetlev(uint32_t level) { staticTraceState()->level = level; }
uint32_t TRgetlev() { return staticTraceState()->level; }
void TRsetopts(uint32_t bits) { staticTraceState()->options = bits; }
uint32_t TRgetopts() { return staticTraceState()->options; }

void TRenablelog(int on) {
  TraceState& st = *staticTraceState();
  if (on) {
    st.options |= kTrLogMsg;
  } else {
    st.options &= ~static_cast<uint32_t>(kTrLogMsg);
  }
}

uint16_t TRsetlog(const char* path) {
  TraceState& st = *staticTraceState();
  try {
    std::string copy = path != nullptr ? path : "";
    st.logPath.swap(copy);
    st.logPathSet = path != nullptr;
  } catch (const std::bad_alloc&) {
    size_t size = path != nullptr ? strlen(path) + 1 : 0;
    TRerr(kModule, __LINE__, __func__, 10, "Impossibile allocare %d byte", static_cast<int>(size));
    return TRerr(kModule, __LINE__, __func__, 10, "Impossibile impostare il log path");
  }
  st.msgCounter = 0;
  return 0;
}

uint16_t TRlogfailure(const char* function, uint16_t code) {
  TraceState& st = *staticTraceState();
  const int failure = st.logErrno;
  if (failure == 0) return code;
  st.logErrno = 0;
  const uint16_t recorded = TRerr(kModule, __LINE__, function, 204, SIGILLO_SYSERR_FMT, failure,
                                  strerror(failure), TRgetlog());
  st.logErrno = 0;  // recording it tried the same log again
  return code != 0 ? code : firstOr(recorded, 204);
}

const char* TRgetlog() {
  TraceState& st = *staticTraceState();
  return st.logPathSet && !st.logPath.empty() ? st.logPath.c_str() : "kvtlog";
}

void TRsetcallback(void* arg, TraceCallback callback) {
  TraceState& st = *staticTraceState();
  st.callbackArg = arg;
  st.callback = callback;
}

const char* TRlevelstr(uint32_t level) { return level <= 9 ? kLevelNames[level] : "UNKNOWN"; }

uint16_t TRdo(const char* file, int line, const char* function, uint32_t level, uint32_t code,
              const char* fmt, va_list args) {
  TraceState& st = *staticTraceState();
  if (st.enabled == 0) return 0;
  char message[kMsgSize];
  formatMessage(message, fmt, args);
  if (code != 0 && st.code == 0) {
    st.code = static_cast<uint16_t>(code);
    st.codeText = nullptr;
    copyMessage(st.message, message);
  }
  if (level <= st.level) {
    if ((st.options & kTrMsg) != 0) TRlogmsg(st, level, code, file, line, function, message);
    notify(st, file, line, function, level, code, message);
  }
  return st.code;
}

#define SIGILLO_LEVEL_FUNCTION(name, level)                                               \
  uint16_t name(const char* file, int line, const char* function, const char* fmt, ...) { \
    va_list args;                                                                         \
    va_start(args, fmt);                                                                  \
    uint16_t rc = TRdo(file, line, function, level, 0, fmt, args);                        \
    va_end(args);                                                                         \
    return rc;                                                                            \
  }

SIGILLO_LEVEL_FUNCTION(TRwarn, 4)
SIGILLO_LEVEL_FUNCTION(TRnotice, 5)
SIGILLO_LEVEL_FUNCTION(TRinfo, 6)
SIGILLO_LEVEL_FUNCTION(TRdbg, 7)
SIGILLO_LEVEL_FUNCTION(TRdbg2, 8)
SIGILLO_LEVEL_FUNCTION(TRdbg3, 9)
#undef SIGILLO_LEVEL_FUNCTION

}  // namespace sigillo
