// Helpers shared by the test programs: temporary folders, files, hex, the
// current error and published-vector files.
#pragma once

#include <sys/wait.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <regex>
#include <set>
#include <sstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "framework/trace.h"

namespace sigillo::test {

// A fresh folder removed with its content at the end of the test.
class TempDir {
 public:
  TempDir() {
    std::string pattern = (std::filesystem::temp_directory_path() / "sigillo_XXXXXX").string();
    path_ = mkdtemp(pattern.data());
  }
  ~TempDir() {
    std::error_code ec;
    std::filesystem::remove_all(path_, ec);
  }
  std::string file(const std::string& name) const { return (path_ / name).string(); }
  const std::filesystem::path& path() const { return path_; }

 private:
  std::filesystem::path path_;
};

inline void writeFile(const std::string& path, const std::string& data) {
  std::ofstream(path, std::ios::binary) << data;
}

inline std::string readFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::stringstream s;
  s << in.rdbuf();
  return s.str();
}

using Bytes = std::vector<uint8_t>;

inline Bytes fromHex(std::string_view hex) {
  auto nibble = [](char c) -> uint8_t {
    if (c >= '0' && c <= '9') return static_cast<uint8_t>(c - '0');
    if (c >= 'A' && c <= 'F') return static_cast<uint8_t>(c - 'A' + 10);
    if (c >= 'a' && c <= 'f') return static_cast<uint8_t>(c - 'a' + 10);
    throw std::invalid_argument("not a hex digit");
  };
  if (hex.size() % 2 != 0) throw std::invalid_argument("odd number of hex digits");
  Bytes bytes(hex.size() / 2);
  for (size_t i = 0; i < bytes.size(); ++i) {
    bytes[i] = static_cast<uint8_t>(nibble(hex[2 * i]) << 4 | nibble(hex[2 * i + 1]));
  }
  return bytes;
}

inline std::string toHex(const uint8_t* data, size_t length) {
  static constexpr char kDigits[] = "0123456789ABCDEF";
  std::string text;
  for (size_t i = 0; i < length; ++i) {
    text += kDigits[data[i] >> 4];
    text += kDigits[data[i] & 15];
  }
  return text;
}

inline std::string toHex(const Bytes& bytes) { return toHex(bytes.data(), bytes.size()); }

inline Bytes textBytes(std::string_view text) { return Bytes(text.begin(), text.end()); }

// What a shell command printed on standard output and how it ended.
struct ShellOutcome {
  int status;  // exit status, -1 when it did not exit normally
  std::string out;
};

// Runs `command` (with any redirections it carries) in the folder `dir`.
inline ShellOutcome runShell(const std::string& dir, const std::string& command) {
  const std::string full = "cd '" + dir + "' && " + command;
  FILE* pipe = popen(full.c_str(), "r");
  ShellOutcome run{-1, ""};
  if (pipe == nullptr) return run;
  char buffer[4096];
  size_t n;
  while ((n = fread(buffer, 1, sizeof buffer, pipe)) > 0) run.out.append(buffer, n);
  const int status = pclose(pipe);
  run.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  return run;
}

// The names in `folder`, to show that no temporary file was left behind.
inline std::set<std::string> namesIn(const std::string& folder) {
  std::set<std::string> names;
  for (const auto& e : std::filesystem::directory_iterator(folder)) {
    names.insert(e.path().filename().string());
  }
  return names;
}

// One entry of the error stack.
struct Recorded {
  std::string file;
  std::string function;
  uint32_t code;
  std::string message;
};
// The error stack, oldest entry first.
inline std::vector<Recorded> errorStack() {
  std::vector<Recorded> all;
  for (const ErrEntry* e = TRgeterrstk(); e != nullptr; e = e->next) {
    all.insert(all.begin(), Recorded{e->file, e->function, e->code, e->message});
  }
  return all;
}

// Collects the warnings recorded while it lives (warnings reach the trace
// callback, not the error stack), each as the callback formats it: a warning
// carries no code, so its text starts "Errore sconosciuto: ".
class WarningCapture {
 public:
  WarningCapture() : level_(TRgetlev()) {
    messages().clear();
    TRsetlev(4);
    TRsetcallback(nullptr, [](void*, const char*, int, const char*, uint32_t level, uint32_t,
                              const char* message) {
      if (level == 4) messages().push_back(message);
    });
  }
  ~WarningCapture() {
    TRsetcallback(nullptr, nullptr);
    TRsetlev(level_);
  }
  static std::vector<std::string>& messages() {
    static std::vector<std::string> seen;
    return seen;
  }

 private:
  uint32_t level_;
};

// One case of a Wycheproof MAC test file.
struct MacCase {
  int id;
  size_t tagBits;
  std::string key, msg, tag, result;
};

inline std::vector<MacCase> loadWycheproofMac(const std::string& path) {
  std::string text = readFile(path);
  std::vector<MacCase> cases;
  static const std::regex token(
      R"re("(tagSize|tcId|key|msg|tag|result)"\s*:\s*("([^"]*)"|[0-9]+))re");
  size_t tagBits = 0;
  MacCase current{};
  for (auto it = std::sregex_iterator(text.begin(), text.end(), token);
       it != std::sregex_iterator(); ++it) {
    const std::string name = (*it)[1];
    const std::string value = (*it)[3].matched ? (*it)[3].str() : (*it)[2].str();
    if (name == "tagSize") tagBits = std::stoul(value);
    if (name == "tcId") current = MacCase{std::stoi(value), tagBits, "", "", "", ""};
    if (name == "key") current.key = value;
    if (name == "msg") current.msg = value;
    if (name == "tag") current.tag = value;
    if (name == "result") {
      current.result = value;
      cases.push_back(current);
    }
  }
  return cases;
}

}  // namespace sigillo::test
