// Macro engine: parameter copy, log options, script files, dispatch.
#include "framework/mlib.h"

#include <openssl/crypto.h>
#include <sys/stat.h>

#include <cstring>
#include <memory>

#include "framework/guards.h"
#include "framework/kvtmem.h"
#include "framework/trace.h"
#include "sigillo/sigillo.h"

namespace sigillo {
namespace {

constexpr const char* kModule = "mlib";

const TrDesc kMacroDesc = {"macro", 3, {kArgParams, kArgU32, kArgU16}};

// Parameter text copy; wiped on release because it may carry key text.
struct ParamBuffer {
  char* data = nullptr;
  size_t size = 0;
  ~ParamBuffer() { wipeAndFree(data, size); }
  bool assign(const char* text, size_t length) {
    data = static_cast<char*>(TRMALLOC(length + 1));
    if (data == nullptr) return false;
    size = length + 1;
    memcpy(data, text, length);
    data[length] = '\0';
    return true;
  }
  bool append(const uint8_t* more, size_t length) {
    size_t used = strlen(data);
    char* grown = static_cast<char*>(TRMALLOC(used + 1 + length + 1));
    if (grown == nullptr) return false;
    memcpy(grown, data, used);
    grown[used] = ' ';
    memcpy(grown + used + 1, more, length);
    grown[used + 1 + length] = '\0';
    wipeAndFree(data, size);
    data = grown;
    size = used + length + 2;
    return true;
  }
};

WCopt* logOptions() {
  static WCopt table[] = {{"log", 0, kWcText, 0, {}, 0},
                          {"log2", 0, kWcText, 0, {}, 0},
                          {"log2273", 0, kWcText, 0, {}, 0},
                          {"script", 0, kWcText, 0, {}, 0},
                          {nullptr, 0, 0, 0, {}, 0}};
  return table;
}

WCopt* commonOptions() {
  static WCopt table[] = {{"h", 0, kWcFlag, 0, {}, 0},      {"o", 0, kWcFlag, 0, {}, 0},
                          {"s", 0, kWcFlag, 0, {}, 0},      {"nl", 0, kWcFlag, 0, {}, 0},
                          {"script", 0, kWcText, 0, {}, 0}, {"log", 0, kWcText, 0, {}, 0},
                          {"log2", 0, kWcText, 0, {}, 0},   {"log2273", 0, kWcText, 0, {}, 0},
                          {nullptr, 0, 0, 0, {}, 0}};
  return table;
}

// A script is parameter text: one larger than this is refused, a file by its
// size before it is read, anything else (a pipe) once read.
constexpr uint64_t kMaxScriptBytes = 1u << 20;
constexpr uint32_t kScriptFlags = FM_READ | kKindText;

uint16_t refuseLargeScript(const char* name, uint64_t size) {
  return TRERR_AS(
      "init_macro", 216, "Il file di script '%s' (%llu byte) supera il limite di %llu byte", name,
      static_cast<unsigned long long>(size), static_cast<unsigned long long>(kMaxScriptBytes));
}

// The size of the script, or 0 when it cannot be told without reading it (a
// pipe: opening it twice would lose what it carries); opening errors are left
// to the load.
uint64_t scriptSize(const char* name) {
  if (!isMemoryFileName(name)) {
    struct stat st {};
    return stat(name, &st) == 0 && S_ISREG(st.st_mode) ? static_cast<uint64_t>(st.st_size) : 0;
  }
  const RecordingOff quiet;
  uint16_t rc = 0;
  FHandle* h = f_open(name, kScriptFlags, 0, &rc);
  const int64_t size = h != nullptr ? f_size(h) : 0;
  if (h != nullptr) f_close(h);
  return size > 0 ? static_cast<uint64_t>(size) : 0;
}

struct Wiped {
  uint8_t* data;
  uint64_t size;
  ~Wiped() { wipeAndFree(data, size); }
};

// Appends the script file named by -script to the parameters and parses the
// log options again over the whole text.
uint16_t appendScript(ParamBuffer& params, uint32_t* length, WCopt* first) {
  const char* name = WCoptstr(first, "script");
  if (name == nullptr) return TRERR_AS("init_macro", 216, "script");
  const uint64_t declared = scriptSize(name);
  if (declared > kMaxScriptBytes) return refuseLargeScript(name, declared);
  uint64_t size = 0;
  uint16_t rc = 0;
  uint8_t* content = f_load(name, kScriptFlags, 0, &size, &rc);
  if (content == nullptr) {
    if (rc == 0) rc = TRERR_AS("init_macro", 200, "%s", name);
    return TRLASTERR_AS("init_macro");
  }
  Wiped owned{content, size};
  if (size > kMaxScriptBytes) return refuseLargeScript(name, size);
  if (!params.append(content, size)) return TRLASTERR_AS("init_macro");
  *length += static_cast<uint32_t>(size + 1);
  WCoptclean(first);
  WCgetargs(params.data, first, kArgsTolerant | kArgsScript, 0);
  return 0;
}

uint16_t applyLogOptions(WCopt* first) {
  const char* path = nullptr;
  uint16_t mode = 0;
  if (WCoptused(first, "log2") || WCoptused(first, "log2273")) {
    path = WCoptstr(first, "log2");
    mode = 2;
  } else if (WCoptused(first, "log")) {
    path = WCoptstr(first, "log");
    mode = 1;
  }
  if (mode == 0) return 0;
  uint16_t rc = 0;
  if (path != nullptr) {
    uint32_t pathLen = static_cast<uint32_t>(strlen(path));
    if (TRLOG(path, &pathLen, &rc) != 0) return rc;
  }
  TRDEBUG(&mode, &rc);
  return 0;
}

void stripTrailingBlanks(char* text) {
  size_t n = strlen(text);
  while (n > 0 && (text[n - 1] == ' ' || text[n - 1] == '\n')) text[--n] = '\0';
}

}  // namespace

uint16_t macro(const char* name, const WCcmd* commands, const char* params, const uint32_t* length,
               uint16_t* rc) {
  TRclrerr();
  const uint32_t savedOptions = TRgetopts();
  ParamBuffer copy;
  uint32_t textLength = 0;
  uint32_t parseFlags = 0;
  WCopt* first = logOptions();
  if (params != nullptr && length != nullptr) {
    textLength = *length;
    if (!copy.assign(params, textLength)) {
      uint16_t code = TRLASTERR_AS("init_macro");
      if (rc != nullptr) *rc = code;
      TRsetopts(savedOptions);
      return code;
    }
    WCgetargs(copy.data, first, kArgsTolerant, 0);
    if (WCoptused(first, "script")) {
      uint16_t code = appendScript(copy, &textLength, first);
      if (code != 0) {
        WCoptclean(first);
        if (rc != nullptr) *rc = code;
        TRsetopts(savedOptions);
        return code;
      }
      parseFlags = kArgsScript;
    }
    const uint16_t logCode = applyLogOptions(first);
    WCoptclean(first);
    if (logCode != 0) {
      if (rc != nullptr) *rc = logCode;
      TRsetopts(savedOptions);
      return logCode;
    }
  }
  TRin(&kMacroDesc, params, length, rc);
  if (copy.data != nullptr) stripTrailingBlanks(copy.data);

  uint16_t code = 0;
  if (params == nullptr) {
    code = TRERROUT(2, "line (1)");
  } else if (length == nullptr) {
    code = TRERROUT(5, "optline (2)");
  } else if (rc == nullptr) {
    code = TRERROUT(2, "rc (3)");
  } else {
    uint16_t result = 0;
    uint16_t status = WCexec(copy.data, commands, commonOptions(), &result, parseFlags);
    if (status != 0) {
      code = TRERR(301, "Macro %s fallita", name);
    } else {
      code = result;
    }
    WCoptclean(commonOptions());
    TRout();
  }
  TRsetopts(savedOptions);
  if (rc != nullptr) *rc = code;
  return code;
}

}  // namespace sigillo
