// Trace log file: numbered, time-stamped records separated by rule lines.
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>

#include "framework/secret.h"
#include "framework/trace_state.h"

namespace sigillo {
namespace {

constexpr size_t kMaxLogLine = 1023;
constexpr size_t kContinuationIndent = 8;
const std::string kRule = std::string(40, '-') + "\n";

// Record text re-flowed into lines of at most 1023 characters; the first
// follows "Action: " and every later line is indented by as many columns.
std::string reflow(const std::string& text) {
  std::string out;
  size_t lineStart = 0;
  bool first = true;
  while (lineStart < text.size()) {
    size_t nl = text.find('\n', lineStart);
    size_t end = nl == std::string::npos ? text.size() : nl;
    size_t pos = lineStart;
    do {
      size_t room = kMaxLogLine - kContinuationIndent;
      size_t take = std::min(room, end - pos);
      if (!first) out.append(kContinuationIndent, ' ');
      out.append(text, pos, take);
      out.push_back('\n');
      pos += take;
      first = false;
    } while (pos < end);
    lineStart = end + 1;
  }
  return out;
}

FILE* openLog(const char* path, bool truncate) {
  const int fd = openSecretFile(path, truncate);
  if (fd < 0) return nullptr;
  FILE* f = fdopen(fd, "w");
  if (f == nullptr) close(fd);
  return f;
}

// Keeps the errno of the first record that could not be written.
void noteLogFailure(TraceState& st) {
  if (st.logErrno == 0) st.logErrno = errno != 0 ? errno : EIO;
}

}  // namespace

void appendErrnoLine(const TraceState& st, std::string& text, int savedErrno) {
  if ((st.options & kTrErrno) == 0 || savedErrno == 0) return;
  char line[512];
  snprintf(line, sizeof line, "ErrNo : %d - %s\n", savedErrno, strerror(savedErrno));
  text += line;
}

void TRlogbuf(TraceState& st, const std::string& text) {
  int savedErrno = errno;
  bool first = st.msgCounter == 0;
  FILE* f = openLog(TRgetlog(), first);
  if (f == nullptr) {
    noteLogFailure(st);
  } else {
    ++st.msgCounter;
    time_t now = time(nullptr);
    struct tm local {};
    localtime_r(&now, &local);
    if (first) fputs(kRule.c_str(), f);
    fprintf(f, "MsgNo : %u \n", st.msgCounter);
    fprintf(f, "Time  : %04d-%02d-%02d %02d:%02d:%02d \n", local.tm_year + 1900, local.tm_mon + 1,
            local.tm_mday, local.tm_hour, local.tm_min, local.tm_sec);
    fputs("Action: ", f);
    fputs(reflow(text).c_str(), f);
    fputs(kRule.c_str(), f);
    const bool failed = ferror(f) != 0;
    if (fclose(f) != 0 || failed) noteLogFailure(st);
  }
  errno = savedErrno;
}

void TRlogmsg(TraceState& st, uint32_t level, uint32_t code, const char* file, int line,
              const char* function, const char* message) {
  if ((st.options & kTrLogMsg) == 0) return;
  int savedErrno = errno;
  std::string text;
  char head[256];
  if (code != 0) {
    snprintf(head, sizeof head, "Error %u - %s: ", code, TRerr2str(code));
    text = head;
    text += message;
    text += "\n";
    if (!st.frames.empty()) {
      text += "Stack :\t(from bottom to top)\n";
      for (const TraceFrame& frame : st.frames) {
        text += "\t";
        text += frame.desc != nullptr && frame.desc->name != nullptr ? frame.desc->name : "?";
        text += "\n";
      }
    }
    appendErrnoLine(st, text, savedErrno);
  } else {
    text = message;
    text += "\n";
    snprintf(head, sizeof head, "Level : %s\n", TRlevelstr(level));
    text += head;
  }
  if (file != nullptr) {
    char pos[512];
    snprintf(pos, sizeof pos, "Pos   : %s:%d:%s\n", file, line,
             function != nullptr ? function : "");
    text += pos;
  }
  TRlogbuf(st, text);
}

}  // namespace sigillo
