// Helpers of the framework tests: escapes in the vector files and the error stack.
#pragma once

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "framework/config.h"
#include "framework/kvtmem.h"
#include "framework/mlib.h"
#include "framework/trace.h"
#include "framework/unifile.h"
#include "framework/wclib.h"
#include "tests/common/testutil.h"
#include "tests/common/vectors.h"

namespace sigillo::test {

// An option table row; a table ends with opt().
inline WCopt opt(const char* name = nullptr, uint16_t type = 0, uint8_t mandatory = 0) {
  return {name, mandatory, type, 0, {}, 0};
}

// The name of a memory file at `address`.
inline std::string memoryName(const void* address) {
  char name[32];
  snprintf(name, sizeof name, "0x%llx",
           static_cast<unsigned long long>(reinterpret_cast<uintptr_t>(address)));
  return name;
}

// A test that starts and ends with an empty error stack.
class CleanStack : public ::testing::Test {
 protected:
  void SetUp() override { TRclrerr(); }
  void TearDown() override { TRclrerr(); }
};

// Vector-file text: \s blank, \t \r \n, \q double quote, \xHH, \\ and \{text*N} for N copies.
inline std::string unescape(const std::string& s) {
  std::string out;
  for (size_t i = 0; i < s.size(); ++i) {
    if (s[i] != '\\' || i + 1 == s.size()) {
      out += s[i];
      continue;
    }
    const char c = s[++i];
    const size_t simple = std::string("strnq\\").find(c);
    if (simple != std::string::npos) out += " \t\r\n\"\\"[simple];
    if (c == 'x') out += static_cast<char>(std::stoi(s.substr(i + 1, 2), nullptr, 16)), i += 2;
    if (c == '{') {
      const size_t end = s.find('}', i), star = s.rfind('*', end);
      const std::string piece = unescape(s.substr(i + 1, star - i - 1));
      for (int n = std::stoi(s.substr(star + 1, end - star - 1)); n > 0; --n) out += piece;
      i = end;
    }
  }
  return out;
}

// `text` with every `mark` replaced by `with`.
inline std::string replaced(std::string text, const std::string& mark, const std::string& with) {
  for (size_t at = 0; (at = text.find(mark, at)) != std::string::npos; at += with.size())
    text.replace(at, mark.size(), with);
  return text;
}

// The field `key` unescaped, or `otherwise` when the record has none.
inline std::string field(const Vector& v, const std::string& key,
                         const std::string& otherwise = "") {
  return v.has(key) ? unescape(v.text(key)) : otherwise;
}

// The error stack oldest first, each entry "code function: message", joined by " | ".
inline std::string stackText() {
  std::string all;
  for (const Recorded& r : errorStack()) {
    all +=
        (all.empty() ? "" : " | ") + std::to_string(r.code) + " " + r.function + ": " + r.message;
  }
  return all;
}

// The current error as TRgeterr words it: the code's text, then the oldest message.
inline std::string currentText() {
  char text[kMsgSize + 256];
  TRgeterr(nullptr, text, sizeof text);
  return text;
}

// The oldest error (the one an entry point reports): its message, or "code function: message".
inline std::string firstMessage() {
  auto stack = errorStack();
  return stack.empty() ? "" : stack.front().message;
}
inline std::string firstError() {
  const std::string all = stackText();
  return all.substr(0, all.find(" | "));
}

}  // namespace sigillo::test
