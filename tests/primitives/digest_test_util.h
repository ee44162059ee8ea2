// Hex conversion and one-shot digest helpers shared by the primitive tests.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "primitives/digest.h"

namespace sigillo::test_support {

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

// Feeds `data` in one call and returns the result as upper-case hex.
inline std::string digestHex(Digest& digest, const Bytes& data) {
  digest.update(data.data(), data.size());
  Bytes out(digest.size());
  digest.finish(out.data());
  return toHex(out);
}

}  // namespace sigillo::test_support
