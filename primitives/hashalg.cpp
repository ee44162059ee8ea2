// Catalogue of the hash family: keyword, keys, result length, factory.
#include "primitives/hashalg.h"

#include "primitives/blockhash.h"
#include "primitives/crc.h"
#include "primitives/evpdigest.h"
#include "primitives/isomac.h"
#include "primitives/maa.h"
#include "primitives/md2.h"
#include "primitives/md4.h"

namespace sigillo {
namespace {

constexpr HashAlgInfo kAlgs[] = {
    {HashAlg::kCrc16, "crc16", KeyForm::kNone, 2},
    {HashAlg::kFcs16, "fcs16", KeyForm::kNone, 2},
    {HashAlg::kFcs32, "fcs32", KeyForm::kNone, 4},
    {HashAlg::kMd2, "md2", KeyForm::kNone, 16},
    {HashAlg::kMd4, "md4", KeyForm::kNone, 16},
    {HashAlg::kMd5, "md5", KeyForm::kNone, 16},
    {HashAlg::kHf1, "hf1", KeyForm::kDesOne, 8},
    {HashAlg::kHf2, "hf2", KeyForm::kDesTwo, 16},
    {HashAlg::kHmcMd5, "hmcmd5", KeyForm::kHmac, 16},
    {HashAlg::kHmcSha1, "hmcsha1", KeyForm::kHmac, 20},
    {HashAlg::kHmcSha256, "hmcsha256", KeyForm::kHmac, 32},
    {HashAlg::kHmcSha512, "hmcsha512", KeyForm::kHmac, 64},
    {HashAlg::kSha1, "sha1", KeyForm::kNone, 20},
    {HashAlg::kSha256, "sha256", KeyForm::kNone, 32},
    {HashAlg::kSha512, "sha512", KeyForm::kNone, 64},
    {HashAlg::kMacIso, "maciso", KeyForm::kDesOne, 8},
    {HashAlg::kMacsIso1, "macsiso1", KeyForm::kDesTwo, 8},
    {HashAlg::kMacsIso2, "macsiso2", KeyForm::kDesTwo, 8},
    {HashAlg::kMaaIso, "maaiso", KeyForm::kMaaTwo, 4},
    {HashAlg::kRipemd, "ripemd", KeyForm::kNone, 20},
};

}  // namespace

const HashAlgInfo& hashAlgInfo(HashAlg alg) { return kAlgs[static_cast<size_t>(alg)]; }

std::unique_ptr<Digest> newHashAlg(HashAlg alg, const HashKeys& keys) {
  switch (alg) {
    case HashAlg::kCrc16:
      return newCrc16();
    case HashAlg::kFcs16:
      return newFcs16();
    case HashAlg::kFcs32:
      return newFcs32();
    case HashAlg::kMd2:
      return newMd2();
    case HashAlg::kMd4:
      return newMd4();
    case HashAlg::kMd5:
      return newEvpDigest("MD5");
    case HashAlg::kHf1:
      return newHf1(keys.key1);
    case HashAlg::kHf2:
      return newHf2(keys.key1, keys.key2);
    case HashAlg::kHmcMd5:
      return newHmac("MD5", keys.key1, keys.key1Length);
    case HashAlg::kHmcSha1:
      return newHmac("SHA1", keys.key1, keys.key1Length);
    case HashAlg::kHmcSha256:
      return newHmac("SHA256", keys.key1, keys.key1Length);
    case HashAlg::kHmcSha512:
      return newHmac("SHA512", keys.key1, keys.key1Length);
    case HashAlg::kSha1:
      return newEvpDigest("SHA1");
    case HashAlg::kSha256:
      return newEvpDigest("SHA256");
    case HashAlg::kSha512:
      return newEvpDigest("SHA512");
    case HashAlg::kMacIso:
      return newIsoMac1(keys.key1);
    case HashAlg::kMacsIso1:
      return newIsoMac3(keys.key1, keys.key2);
    case HashAlg::kMacsIso2:
      return newIsoMac2(keys.key1, keys.key2);
    case HashAlg::kMaaIso:
      return newMaa(keys.key1, keys.key2);
    case HashAlg::kRipemd:
      return newEvpDigest("RIPEMD160");
  }
  return nullptr;
}

}  // namespace sigillo
