// Helpers shared by the test programs: temporary folders, files, hex, the
// current error and published-vector files.
#pragma once

#include <unistd.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <regex>
#include <sstream>
#include <string>
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

inline std::vector<uint8_t> fromHex(const std::string& hex) {
  std::vector<uint8_t> out;
  for (size_t i = 0; i + 1 < hex.size(); i += 2) {
    out.push_back(static_cast<uint8_t>(std::stoi(hex.substr(i, 2), nullptr, 16)));
  }
  return out;
}

inline std::string toHex(const uint8_t* data, size_t length) {
  static const char kDigits[] = "0123456789ABCDEF";
  std::string s;
  for (size_t i = 0; i < length; ++i) {
    s += kDigits[data[i] >> 4];
    s += kDigits[data[i] & 15];
  }
  return s;
}

// Code and message of the newest entry of the error stack.
struct Recorded {
  uint32_t code;
  std::string message;
  std::string function;
};
inline Recorded newestError() {
  const ErrEntry* e = TRgeterrstk();
  if (e == nullptr) return {0, "", ""};
  return {e->code, e->message, e->function};
}
// Entries oldest first.
inline std::vector<Recorded> errorStack() {
  std::vector<Recorded> all;
  for (const ErrEntry* e = TRgeterrstk(); e != nullptr; e = e->next) {
    all.insert(all.begin(), Recorded{e->code, e->message, e->function});
  }
  return all;
}

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
