// The process-wide trace record shared by the error stack, the log writer
// and the call frames.
#pragma once

#include <ctime>
#include <string>
#include <vector>

#include "framework/trace.h"

namespace sigillo {

struct TraceFrame {
  time_t entry = 0;
  time_t exit = 0;
  const TrDesc* desc = nullptr;
  const void* args[kMaxTraceArgs] = {};
};

struct TraceState {
  uint32_t initialised = 1;
  int32_t enabled = 1;
  uint32_t level = 3;
  uint16_t code = 0;
  const char* codeText = nullptr;  // the current code's own text, if not the library's
  char message[kMsgSize] = {};
  ErrEntry* stack = nullptr;
  size_t stackLength = 0;
  Err2StrFunc err2str = nullptr;
  void* callbackArg = nullptr;
  TraceCallback callback = nullptr;
  std::vector<TraceFrame> frames;
  uint32_t inCount = 0;
  uint32_t outCount = 0;
  uint32_t msgCounter = 0;
  uint32_t options = 0;
  std::string logPath;
  bool logPathSet = false;
  int logErrno = 0;  // errno of the first log record that could not be written
  uint32_t busy = 0;
};

// Writes one record to the log file (MsgNo, Time, Action and the rule).
void TRlogbuf(TraceState& st, const std::string& text);
// Builds and writes an error or level record when option 0x40 is set.
void TRlogmsg(TraceState& st, uint32_t level, uint32_t code, const char* file, int line,
              const char* function, const char* message);
// Appends the "ErrNo" line when the options ask for it and errno is set.
void appendErrnoLine(const TraceState& st, std::string& text, int savedErrno);

const char* errorCodeText(uint32_t code);

}  // namespace sigillo
