// Entry points of the hash family.
#include "framework/entry.h"
#include "framework/trace.h"
#include "primitives/hashstream.h"
#include "sigillo/sigillo.h"

namespace sigillo {
namespace {

constexpr const char* kModule = "hashentry";

struct BlockArgs {
  const uint8_t* bufi;
  const uint32_t* insz;
  uint8_t* state;
  const uint16_t* bmode;
};

// The checks every entry point of the family makes, in argument order.
uint16_t checkBlockArgs(const BlockArgs& a) {
  if (a.bufi == nullptr) return TRERROUT(2, "bufi (1)");
  if (a.insz == nullptr) return TRERROUT(5, "insz (2)");
  if (a.state == nullptr) return TRERROUT(3, "state (3)");
  if (a.bmode == nullptr || *a.bmode > SIGILLO_BLOCK_ONLY) return TRERROUT(1, "bmode (4)");
  return 0;
}

uint16_t finishBlock(HashAlg alg, const BlockArgs& a, const HashKeys& keys) {
  uint16_t rc = hashBlock(alg, a.bufi, *a.insz, a.state, *a.bmode, keys);
  if (rc != 0) TRLASTERR();
  return firstOr(TRout(), rc);
}

uint16_t plainHash(const TrDesc& desc, HashAlg alg, const BlockArgs& a) {
  TRclrerr();
  TRin(&desc, a.bufi, a.insz, a.state, a.bmode);
  if (uint16_t rc = checkBlockArgs(a)) return rc;
  return finishBlock(alg, a, HashKeys{});
}

uint16_t hmacHash(const TrDesc& desc, HashAlg alg, const BlockArgs& a, const uint8_t* key,
                  const uint32_t* keylen) {
  TRclrerr();
  TRin(&desc, a.bufi, a.insz, a.state, a.bmode, key, keylen);
  if (uint16_t rc = checkBlockArgs(a)) return rc;
  if (key == nullptr) return TRERROUT(4, "key (5)");
  if (keylen == nullptr || *keylen > kMaxHmacKey) return TRERROUT(7, "keylen (6)");
  return finishBlock(alg, a, HashKeys{key, *keylen, nullptr});
}

uint16_t keyedHash(const TrDesc& desc, HashAlg alg, const BlockArgs& a, const uint8_t* key1,
                   const uint8_t* key2, const uint16_t* variant, bool variantRequired = false) {
  TRclrerr();
  TRin(&desc, a.bufi, a.insz, a.state, a.bmode, key1, key2, variant);
  if (uint16_t rc = checkBlockArgs(a)) return rc;
  const KeyForm form = hashAlgInfo(alg).keys;
  if (key1 == nullptr) return TRERROUT(4, "key1 (5)");
  if (form != KeyForm::kDesOne && key2 == nullptr) return TRERROUT(4, "key2 (6)");
  if (variantRequired && (variant == nullptr || (*variant != 1 && *variant != 2))) {
    return TRERROUT(1, "variant (7)");
  }
  size_t keySize = form == KeyForm::kMaaTwo ? kMaaKeySize : kDesKeySize;
  return finishBlock(alg, a, HashKeys{key1, keySize, key2});
}

#define BLOCK_TYPES kArgPtr, kArgU32, kArgPtr, kArgU16
const TrDesc kMd2Desc = {"MD2", 4, {BLOCK_TYPES}};
const TrDesc kMd4Desc = {"MD4", 4, {BLOCK_TYPES}};
const TrDesc kMd5Desc = {"MD5", 4, {BLOCK_TYPES}};
const TrDesc kSha1Desc = {"SHA1", 4, {BLOCK_TYPES}};
const TrDesc kSha256Desc = {"SHA256", 4, {BLOCK_TYPES}};
const TrDesc kSha512Desc = {"SHA512", 4, {BLOCK_TYPES}};
const TrDesc kRipemdDesc = {"RIPEMD", 4, {BLOCK_TYPES}};
const TrDesc kCrc16Desc = {"CRC16", 4, {BLOCK_TYPES}};
const TrDesc kFcs16Desc = {"FCS16", 4, {BLOCK_TYPES}};
const TrDesc kFcs32Desc = {"FCS32", 4, {BLOCK_TYPES}};
const TrDesc kHmcMd5Desc = {"HMCMD5", 6, {BLOCK_TYPES, kArgSecret, kArgU32}};
const TrDesc kHmcSha1Desc = {"HMCSHA1", 6, {BLOCK_TYPES, kArgSecret, kArgU32}};
const TrDesc kHmcSha256Desc = {"HMCSHA256", 6, {BLOCK_TYPES, kArgSecret, kArgU32}};
const TrDesc kHmcSha512Desc = {"HMCSHA512", 6, {BLOCK_TYPES, kArgSecret, kArgU32}};
const TrDesc kHf1Desc = {"HF1", 5, {BLOCK_TYPES, kArgPtr}};
const TrDesc kHf2Desc = {"HF2", 6, {BLOCK_TYPES, kArgPtr, kArgPtr}};
const TrDesc kMacIsoDesc = {"MACISO", 5, {BLOCK_TYPES, kArgPtr}};
const TrDesc kMacsIsoDesc = {"MACSISO", 7, {BLOCK_TYPES, kArgPtr, kArgPtr, kArgU16}};
const TrDesc kMaaIsoDesc = {"MAAISO", 6, {BLOCK_TYPES, kArgPtr, kArgPtr}};
#undef BLOCK_TYPES

HashAlg macsIsoAlg(const uint16_t* variant) {
  return variant != nullptr && *variant == 2 ? HashAlg::kMacsIso2 : HashAlg::kMacsIso1;
}

}  // namespace
}  // namespace sigillo

using sigillo::BlockArgs;
using sigillo::HashAlg;
using sigillo::runEntry;

#define PLAIN_ENTRY(NAME, YNAME, DESC, ALG)                                                       \
  uint16_t NAME(const uint8_t* bufi, const uint32_t* insz, uint8_t* state, const uint16_t* bmode, \
                uint16_t* rc) {                                                                   \
    return runEntry(#NAME, rc, [&] {                                                              \
      return sigillo::plainHash(sigillo::DESC, ALG, BlockArgs{bufi, insz, state, bmode});         \
    });                                                                                           \
  }                                                                                               \
  void YNAME(const uint8_t* bufi, const uint32_t* insz, uint8_t* state, const uint16_t* bmode,    \
             uint16_t* rc) {                                                                      \
    NAME(bufi, insz, state, bmode, rc);                                                           \
  }

PLAIN_ENTRY(MD2, YMD2, kMd2Desc, HashAlg::kMd2)
PLAIN_ENTRY(MD4, YMD4, kMd4Desc, HashAlg::kMd4)
PLAIN_ENTRY(MD5, YMD5, kMd5Desc, HashAlg::kMd5)
PLAIN_ENTRY(SHA1, YSHA1, kSha1Desc, HashAlg::kSha1)
PLAIN_ENTRY(SHA256, YSHA256, kSha256Desc, HashAlg::kSha256)
PLAIN_ENTRY(SHA512, YSHA512, kSha512Desc, HashAlg::kSha512)
PLAIN_ENTRY(RIPEMD, YRIPEMD, kRipemdDesc, HashAlg::kRipemd)
PLAIN_ENTRY(CRC16, YCRC16, kCrc16Desc, HashAlg::kCrc16)
PLAIN_ENTRY(FCS16, YFCS16, kFcs16Desc, HashAlg::kFcs16)
PLAIN_ENTRY(FCS32, YFCS32, kFcs32Desc, HashAlg::kFcs32)
#undef PLAIN_ENTRY

#define HMAC_ENTRY(NAME, YNAME, DESC, ALG)                                                        \
  uint16_t NAME(const uint8_t* bufi, const uint32_t* insz, uint8_t* state, const uint16_t* bmode, \
                const uint8_t* key, const uint32_t* keylen, uint16_t* rc) {                       \
    return runEntry(#NAME, rc, [&] {                                                              \
      return sigillo::hmacHash(sigillo::DESC, ALG, BlockArgs{bufi, insz, state, bmode}, key,      \
                               keylen);                                                           \
    });                                                                                           \
  }                                                                                               \
  void YNAME(const uint8_t* bufi, const uint32_t* insz, uint8_t* state, const uint16_t* bmode,    \
             const uint8_t* key, const uint32_t* keylen, uint16_t* rc) {                          \
    NAME(bufi, insz, state, bmode, key, keylen, rc);                                              \
  }

HMAC_ENTRY(HMCMD5, YHMCMD5, kHmcMd5Desc, HashAlg::kHmcMd5)
HMAC_ENTRY(HMCSHA1, YHMCSHA1, kHmcSha1Desc, HashAlg::kHmcSha1)
HMAC_ENTRY(HMCSHA256, YHMCSHA2, kHmcSha256Desc, HashAlg::kHmcSha256)
HMAC_ENTRY(HMCSHA512, YHMCSHA5, kHmcSha512Desc, HashAlg::kHmcSha512)
#undef HMAC_ENTRY

uint16_t HF1(const uint8_t* bufi, const uint32_t* insz, uint8_t* state, const uint16_t* bmode,
             const uint8_t* key1, uint16_t* rc) {
  return runEntry("HF1", rc, [&] {
    return sigillo::keyedHash(sigillo::kHf1Desc, HashAlg::kHf1, BlockArgs{bufi, insz, state, bmode},
                              key1, nullptr, nullptr);
  });
}
void YHF1(const uint8_t* bufi, const uint32_t* insz, uint8_t* state, const uint16_t* bmode,
          const uint8_t* key1, uint16_t* rc) {
  HF1(bufi, insz, state, bmode, key1, rc);
}

uint16_t HF2(const uint8_t* bufi, const uint32_t* insz, uint8_t* state, const uint16_t* bmode,
             const uint8_t* key1, const uint8_t* key2, uint16_t* rc) {
  return runEntry("HF2", rc, [&] {
    return sigillo::keyedHash(sigillo::kHf2Desc, HashAlg::kHf2, BlockArgs{bufi, insz, state, bmode},
                              key1, key2, nullptr);
  });
}
void YHF2(const uint8_t* bufi, const uint32_t* insz, uint8_t* state, const uint16_t* bmode,
          const uint8_t* key1, const uint8_t* key2, uint16_t* rc) {
  HF2(bufi, insz, state, bmode, key1, key2, rc);
}

uint16_t MACISO(const uint8_t* bufi, const uint32_t* insz, uint8_t* state, const uint16_t* bmode,
                const uint8_t* key1, uint16_t* rc) {
  return runEntry("MACISO", rc, [&] {
    return sigillo::keyedHash(sigillo::kMacIsoDesc, HashAlg::kMacIso,
                              BlockArgs{bufi, insz, state, bmode}, key1, nullptr, nullptr);
  });
}
void YMACISO(const uint8_t* bufi, const uint32_t* insz, uint8_t* state, const uint16_t* bmode,
             const uint8_t* key1, uint16_t* rc) {
  MACISO(bufi, insz, state, bmode, key1, rc);
}

uint16_t MACSISO(const uint8_t* bufi, const uint32_t* insz, uint8_t* state, const uint16_t* bmode,
                 const uint8_t* key1, const uint8_t* key2, const uint16_t* variant, uint16_t* rc) {
  return runEntry("MACSISO", rc, [&] {
    return sigillo::keyedHash(sigillo::kMacsIsoDesc, sigillo::macsIsoAlg(variant),
                              BlockArgs{bufi, insz, state, bmode}, key1, key2, variant, true);
  });
}
void YMACSISO(const uint8_t* bufi, const uint32_t* insz, uint8_t* state, const uint16_t* bmode,
              const uint8_t* key1, const uint8_t* key2, const uint16_t* variant, uint16_t* rc) {
  MACSISO(bufi, insz, state, bmode, key1, key2, variant, rc);
}

uint16_t MAAISO(const uint8_t* bufi, const uint32_t* insz, uint8_t* state, const uint16_t* bmode,
                const uint8_t* key1, const uint8_t* key2, uint16_t* rc) {
  return runEntry("MAAISO", rc, [&] {
    return sigillo::keyedHash(sigillo::kMaaIsoDesc, HashAlg::kMaaIso,
                              BlockArgs{bufi, insz, state, bmode}, key1, key2, nullptr);
  });
}
void YMAAISO(const uint8_t* bufi, const uint32_t* insz, uint8_t* state, const uint16_t* bmode,
             const uint8_t* key1, const uint8_t* key2, uint16_t* rc) {
  MAAISO(bufi, insz, state, bmode, key1, key2, rc);
}
