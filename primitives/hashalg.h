// The algorithms of the hash family, by the keyword users know them by.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "primitives/digest.h"

namespace sigillo {

enum class HashAlg : uint8_t {
  kCrc16,
  kFcs16,
  kFcs32,
  kMd2,
  kMd4,
  kMd5,
  kHf1,
  kHf2,
  kHmcMd5,
  kHmcSha1,
  kHmcSha256,
  kHmcSha512,
  kSha1,
  kSha256,
  kSha512,
  kMacIso,
  kMacsIso1,
  kMacsIso2,
  kMaaIso,
  kRipemd,
};

// How many keys an algorithm takes and how long each must be.
enum class KeyForm : uint8_t {
  kNone,
  kHmac,    // one key of 0 to 2048 bytes
  kDesOne,  // one 8-byte key
  kDesTwo,  // two 8-byte keys
  kMaaTwo,  // two 4-byte keys
};

struct HashAlgInfo {
  HashAlg alg;
  const char* keyword;
  KeyForm keys;
  size_t resultSize;
};

const HashAlgInfo& hashAlgInfo(HashAlg alg);

// Key bytes as the entry points receive them; key2 only for two-key forms.
struct HashKeys {
  const uint8_t* key1 = nullptr;
  size_t key1Length = 0;
  const uint8_t* key2 = nullptr;
};

// Null on failure, with the error recorded.
std::unique_ptr<Digest> newHashAlg(HashAlg alg, const HashKeys& keys);

constexpr size_t kMaxHmacKey = 2048;
constexpr size_t kDesKeySize = 8;
constexpr size_t kMaaKeySize = 4;

}  // namespace sigillo
