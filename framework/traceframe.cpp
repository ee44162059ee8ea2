// Call frames: entry and exit records of the library's entry points.
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "framework/secret.h"
#include "framework/trace_state.h"

namespace sigillo {
namespace {

constexpr const char* kModule = "trace";
constexpr uint32_t kDumpBytes = 64;

std::string watchLine(int index, const void* arg, const char* fmt, ...)
    __attribute__((format(printf, 3, 4)));

std::string watchLine(int index, const void* arg, const char* fmt, ...) {
  char head[64];
  snprintf(head, sizeof head, "Watch : #%2d (%p) = ", index, arg);
  char value[kMsgSize];
  va_list args;
  va_start(args, fmt);
  vsnprintf(value, sizeof value, fmt, args);
  va_end(args);
  return std::string(head) + value + "\n";
}

std::string watchBuffer(int index, const uint8_t* data, uint32_t length) {
  char line[96];
  if (length == 0) {
    snprintf(line, sizeof line, "Watch : #%2d (%p)[0/0]\n", index, static_cast<const void*>(data));
    return line;
  }
  uint32_t shown = std::min(length, kDumpBytes);
  snprintf(line, sizeof line, "Watch : #%2d (%p)[%u/%u] = \n", index,
           static_cast<const void*>(data), shown, length);
  std::string out = line;
  out += "        Hex   : ";
  for (uint32_t i = 0; i < shown; ++i) {
    snprintf(line, sizeof line, "%02X", data[i]);
    out += line;
  }
  out += "\n        Text  : ";
  for (uint32_t i = 0; i < shown; ++i) out += (data[i] >= 0x20 && data[i] < 0x7F) ? data[i] : '.';
  out += "\n";
  return out;
}

std::string watchArgument(const TraceFrame& frame, int i) {
  const void* arg = frame.args[i];
  uint8_t type = frame.desc->types[i];
  if (arg == nullptr) return watchLine(i + 1, arg, "(null)");
  switch (type) {
    case kArgText:
      return watchLine(i + 1, arg, "%.*s", static_cast<int>(kDumpBytes),
                       static_cast<const char*>(arg));
    case kArgParams: {
      // A caller's record need not end with a NUL: no more is read than is shown.
      const char* text = static_cast<const char*>(arg);
      const std::string shown =
          maskSecretOptions(std::string_view(text, strnlen(text, kDumpBytes)));
      return watchLine(i + 1, arg, "%.*s", static_cast<int>(kDumpBytes), shown.c_str());
    }
    case kArgSecret:
      return watchLine(i + 1, arg, "%s", kSecretMask);
    case kArgU16:
      return watchLine(i + 1, arg, "%u", *static_cast<const uint16_t*>(arg));
    case kArgU32:
      return watchLine(i + 1, arg, "%u", *static_cast<const uint32_t*>(arg));
    case kArgI32:
      return watchLine(i + 1, arg, "%d", *static_cast<const int32_t*>(arg));
    case kArgPtr:
      return watchLine(i + 1, arg, "%p", arg);
    default:
      break;
  }
  int lengthIndex = type - kArgBuf0;
  if (lengthIndex < 0 || lengthIndex >= frame.desc->nargs || frame.args[lengthIndex] == nullptr) {
    return watchLine(i + 1, arg, "%p", arg);
  }
  uint32_t length = *static_cast<const uint32_t*>(frame.args[lengthIndex]);
  return watchBuffer(i + 1, static_cast<const uint8_t*>(arg), length);
}

void logFrame(TraceState& st, const TraceFrame& frame, bool entry, bool withArgs, int savedErrno) {
  std::string text = entry ? "entry point\n" : "exit point\n";
  char code[256];
  snprintf(code, sizeof code, "Code  :\t%s%c", frame.desc->name, '\n');
  text += code;
  if (withArgs) {
    for (int i = 0; i < frame.desc->nargs && i < kMaxTraceArgs; ++i)
      text += watchArgument(frame, i);
  }
  appendErrnoLine(st, text, savedErrno);
  TRlogbuf(st, text);
}

}  // namespace

void TRin(const TrDesc* desc, ...) {
  TraceState& st = *staticTraceState();
  if (st.enabled == 0 || desc == nullptr) return;
  int savedErrno = errno;
  if ((st.options & kTrReset) != 0) {
    st.code = 0;
    st.codeText = nullptr;
    st.message[0] = '\0';
    errno = 0;
  }
  if ((st.options & kTrIn) == 0) return;
  TraceFrame frame;
  frame.entry = time(nullptr);
  frame.desc = desc;
  va_list args;
  va_start(args, desc);
  for (int i = 0; i < desc->nargs && i < kMaxTraceArgs; ++i)
    frame.args[i] = va_arg(args, const void*);
  va_end(args);
  try {
    st.frames.push_back(frame);
  } catch (const std::bad_alloc&) {
    return;
  }
  ++st.inCount;
  logFrame(st, frame, true, (st.options & kTrArgsIn) != 0, savedErrno);
}

uint16_t TRout() {
  TraceState& st = *staticTraceState();
  if (st.enabled == 0) return 0;
  if ((st.options & kTrOut) == 0) return st.code;
  ++st.outCount;
  if (st.outCount > st.inCount || st.frames.empty()) {
    TRwarn(kModule, __LINE__, __func__, "too many TRout()! (TRin: %lu, TRout: %lu)",
           static_cast<unsigned long>(st.inCount), static_cast<unsigned long>(st.outCount));
    return st.code;
  }
  TraceFrame frame = st.frames.back();
  st.frames.pop_back();
  frame.exit = time(nullptr);
  logFrame(st, frame, false, (st.options & kTrArgsOut) != 0, errno);
  if (st.outCount == st.inCount) std::vector<TraceFrame>().swap(st.frames);
  return st.code;
}

uint32_t TRincount() { return staticTraceState()->inCount; }
uint32_t TRoutcount() { return staticTraceState()->outCount; }

}  // namespace sigillo
