// Shared helpers of the CODA and CODEC tests: running the entry points and
// editing library files.
#pragma once

#include <filesystem>
#include <string>

#include "sigillo/sigillo.h"
#include "tests/common/testutil.h"

namespace sigillo::test {

// A name in double quotes, as parameter strings and command lines take it.
inline std::string q(const std::string& s) { return "\"" + s + "\""; }

inline uint16_t coda(const std::string& params) {
  uint32_t length = static_cast<uint32_t>(params.size());
  uint16_t rc = 0;
  CODA(params.data(), &length, &rc);
  return rc;
}

// CODA's `op` on the library `lib`, silent, with the rest of the parameters.
inline uint16_t coda(const std::string& op, const std::string& lib, const std::string& rest) {
  return coda(op + " -s -lib " + q(lib) + " " + rest);
}

inline uint16_t codec(const std::string& command) {
  uint32_t length = static_cast<uint32_t>(command.size());
  uint16_t rc = 0;
  CODEC(command.data(), &length, &rc);
  return rc;
}

inline std::string randomBytes(size_t n, uint32_t seed) {
  std::string s(n, '\0');
  uint64_t x = seed * 0x9E3779B97F4A7C15ull + 1;
  for (char& c : s) {
    x ^= x << 13;
    x ^= x >> 7;
    x ^= x << 17;
    c = static_cast<char>(x >> 24);
  }
  return s;
}

}  // namespace sigillo::test
