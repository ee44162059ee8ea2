// HASH macro: option tables, sub-commands and their handlers.
#include "primitives/hash.h"

#include <cstdio>
#include <cstring>
#include <vector>

#include "framework/entry.h"
#include "framework/guards.h"
#include "framework/outfile.h"
#include "framework/trace.h"
#include "primitives/hashalg.h"
#include "primitives/tradpssw.h"
#include "sigillo/sigillo.h"

namespace sigillo {
namespace {

constexpr const char* kModule = "hash";
constexpr size_t kBlockSize = 16384;
constexpr size_t kReadBufferSize = 16416;

WCopt plainOptions[] = {{"fin", 1, kWcText, 0, {}, 0},
                        {"fout", 0, kWcText, 0, {}, 0},
                        {"pipe", 0, kWcFlag, 0, {}, 0},
                        {nullptr, 0, 0, 0, {}, 0}};
WCopt oneKeyOptions[] = {{"fin", 1, kWcText, 0, {}, 0},
                         {"fout", 0, kWcText, 0, {}, 0},
                         {"md1", 1, kWcText, 0, {}, 0},
                         {"pipe", 0, kWcFlag, 0, {}, 0},
                         {nullptr, 0, 0, 0, {}, 0}};
WCopt twoKeyOptions[] = {{"fin", 1, kWcText, 0, {}, 0},  {"fout", 0, kWcText, 0, {}, 0},
                         {"md1", 1, kWcText, 0, {}, 0},  {"md2", 1, kWcText, 0, {}, 0},
                         {"pipe", 0, kWcFlag, 0, {}, 0}, {nullptr, 0, 0, 0, {}, 0}};

// Key bytes of the md1/md2 options, in the form the algorithm takes.
struct KeyBytes {
  SecureBytes key1;
  SecureBytes key2;
};

uint16_t keyFromOption(const WCopt* options, const char* option, size_t maxChars, size_t exactSize,
                       const char* handler, SecureBytes* key) {
  if (!tradpssw(WCoptstr(options, option), maxChars, key)) {
    return TRERR_AS(handler, 22, "%s", option);
  }
  if (exactSize == 0) return 0;
  if (key->size() > exactSize) return TRERR_AS(handler, 7, "%s", option);
  key->insert(key->end(), exactSize - key->size(), uint8_t{0});
  return 0;
}

uint16_t readKeys(const WCopt* options, KeyForm form, const char* handler, KeyBytes* keys) {
  switch (form) {
    case KeyForm::kNone:
      return 0;
    case KeyForm::kHmac:
      return keyFromOption(options, "md1", kLongKeyText, 0, handler, &keys->key1);
    case KeyForm::kDesOne:
      return keyFromOption(options, "md1", kShortKeyText, kDesKeySize, handler, &keys->key1);
    case KeyForm::kDesTwo:
    case KeyForm::kMaaTwo: {
      size_t size = form == KeyForm::kMaaTwo ? kMaaKeySize : kDesKeySize;
      if (uint16_t rc = keyFromOption(options, "md1", kShortKeyText, size, handler, &keys->key1)) {
        return rc;
      }
      return keyFromOption(options, "md2", kShortKeyText, size, handler, &keys->key2);
    }
  }
  return 0;
}

std::string toHex(const uint8_t* data, size_t length) {
  static const char kDigits[] = "0123456789ABCDEF";
  std::string text;
  for (size_t i = 0; i < length; ++i) {
    text += kDigits[data[i] >> 4];
    text += kDigits[data[i] & 15];
  }
  return text;
}

uint16_t digestFile(FHandle* in, Digest& digest, const char* handler, const char* inName) {
  std::vector<uint8_t> buffer(kReadBufferSize);
  for (;;) {
    size_t n = f_read(in, buffer.data(), kBlockSize);
    if (n > 0) digest.update(buffer.data(), n);
    if (n < kBlockSize) break;
  }
  if (f_error(in) != 0) return TRERR_AS(handler, 201, "%s", inName);
  return 0;
}

uint16_t printHash(FHandle* out, const std::string& text) {
  if (out == nullptr) {
    if (fputs(text.c_str(), stdout) < 0) return TRERR_AS("print_hash", 204, "stdout");
    fflush(stdout);
    return 0;
  }
  if (f_write(out, text.data(), text.size()) != 0) {
    return TRERR_AS("print_hash", 204, "%s", f_name(out));
  }
  return 0;
}

uint16_t runHash(WCopt* options, HashAlg alg, const char* handler) {
  const HashAlgInfo& info = hashAlgInfo(alg);
  const char* inName = WCoptstr(options, "fin");
  const char* outName = WCoptstr(options, "fout");
  uint16_t rc = 0;
  FilePtr in(f_open(inName, FM_READ | kKindBinary, 0, &rc));
  if (!in) return TRERR_AS("open_inout", 200, "%s", inName != nullptr ? inName : "");
  OutputFile out;
  if (outName != nullptr && out.open(outName, kKindText, 0) != 0) {
    return TRERR_AS("open_inout", 203, "%s", outName);
  }
  KeyBytes keys;
  if (uint16_t code = readKeys(options, info.keys, handler, &keys)) return code;
  std::unique_ptr<Digest> digest =
      newHashAlg(alg, HashKeys{keys.key1.data(), keys.key1.size(), keys.key2.data()});
  if (!digest) return TRLASTERR_AS(handler);
  if (uint16_t code = digestFile(in.get(), *digest, handler, inName)) return code;
  uint8_t result[64];
  digest->finish(result);
  if (outName != nullptr && out.start() != 0) return TRERR_AS("open_inout", 203, "%s", outName);
  if (uint16_t code = printHash(out.handle(), toHex(result, info.resultSize))) return code;
  if (f_close(in.release()) != 0) return TRERR_AS("close_inout", 202, "%s", inName);
  if (outName != nullptr && out.commit() != 0) {
    return TRERR_AS("close_inout", 205, "%s", outName);
  }
  return 0;
}

uint16_t hashHandler(WCopt* options, HashAlg alg, const char* handler) {
  TRclrerr();
  const HandlerOptions opened(options, nullptr);
  return opened.code() != 0 ? opened.code() : runHash(options, alg, handler);
}

#define HASH_HANDLER(name, alg) \
  uint16_t name(WCopt* options) { return hashHandler(options, alg, #name); }
HASH_HANDLER(hash_crc16, HashAlg::kCrc16)
HASH_HANDLER(hash_fcs16, HashAlg::kFcs16)
HASH_HANDLER(hash_fcs32, HashAlg::kFcs32)
HASH_HANDLER(hash_md2, HashAlg::kMd2)
HASH_HANDLER(hash_md4, HashAlg::kMd4)
HASH_HANDLER(hash_md5, HashAlg::kMd5)
HASH_HANDLER(hash_hf1, HashAlg::kHf1)
HASH_HANDLER(hash_hf2, HashAlg::kHf2)
HASH_HANDLER(hash_hmcmd5, HashAlg::kHmcMd5)
HASH_HANDLER(hash_hmcsha1, HashAlg::kHmcSha1)
HASH_HANDLER(hash_hmcsha256, HashAlg::kHmcSha256)
HASH_HANDLER(hash_hmcsha512, HashAlg::kHmcSha512)
HASH_HANDLER(hash_sha1, HashAlg::kSha1)
HASH_HANDLER(hash_sha256, HashAlg::kSha256)
HASH_HANDLER(hash_sha512, HashAlg::kSha512)
HASH_HANDLER(hash_maciso, HashAlg::kMacIso)
HASH_HANDLER(hash_macsiso1, HashAlg::kMacsIso1)
HASH_HANDLER(hash_macsiso2, HashAlg::kMacsIso2)
HASH_HANDLER(hash_maaiso, HashAlg::kMaaIso)
HASH_HANDLER(hash_ripemd, HashAlg::kRipemd)
#undef HASH_HANDLER

const WCcmd kHashCommands[] = {{"crc16", plainOptions, hash_crc16},
                               {"fcs16", plainOptions, hash_fcs16},
                               {"fcs32", plainOptions, hash_fcs32},
                               {"md2", plainOptions, hash_md2},
                               {"md4", plainOptions, hash_md4},
                               {"md5", plainOptions, hash_md5},
                               {"hf1", oneKeyOptions, hash_hf1},
                               {"hf2", twoKeyOptions, hash_hf2},
                               {"hmcmd5", oneKeyOptions, hash_hmcmd5},
                               {"hmcsha1", oneKeyOptions, hash_hmcsha1},
                               {"hmcsha256", oneKeyOptions, hash_hmcsha256},
                               {"hmcsha512", oneKeyOptions, hash_hmcsha512},
                               {"sha1", plainOptions, hash_sha1},
                               {"sha256", plainOptions, hash_sha256},
                               {"sha512", plainOptions, hash_sha512},
                               {"maciso", oneKeyOptions, hash_maciso},
                               {"macsiso1", twoKeyOptions, hash_macsiso1},
                               {"macsiso2", twoKeyOptions, hash_macsiso2},
                               {"maaiso", twoKeyOptions, hash_maaiso},
                               {"ripemd", plainOptions, hash_ripemd},
                               {nullptr, nullptr, nullptr}};

const char* const kHashDescriptions[] = {
    "CRC-16 (polinomio 0xA001)",
    "FCS a 16 bit (RFC 1662)",
    "FCS a 32 bit (RFC 1662)",
    "MD2 (RFC 1319)",
    "MD4 (RFC 1320)",
    "MD5 (RFC 1321)",
    "hash su DES a lunghezza singola (ISO/IEC 10118-2), chiave -md1",
    "MDC-2 su DES (ISO/IEC 10118-2), chiavi -md1 -md2",
    "HMAC-MD5 (RFC 2104), chiave -md1",
    "HMAC-SHA1, chiave -md1",
    "HMAC-SHA256, chiave -md1",
    "HMAC-SHA512, chiave -md1",
    "SHA-1 (FIPS 180)",
    "SHA-256 (FIPS 180)",
    "SHA-512 (FIPS 180)",
    "MAC ISO/IEC 9797-1 algoritmo 1 su DES, chiave -md1",
    "MAC ISO/IEC 9797-1 algoritmo 3 su DES, chiavi -md1 -md2",
    "MAC ISO/IEC 9797-1 algoritmo 2 su DES, chiavi -md1 -md2",
    "MAA (ISO 8731-2), chiavi -md1 -md2",
    "RIPEMD-160",
};
static_assert(std::size(kHashDescriptions) + 1 == std::size(kHashCommands));

}  // namespace

const WCcmd* hashCommands() { return kHashCommands; }
const char* const* hashDescriptions() { return kHashDescriptions; }

}  // namespace sigillo

uint16_t HASH(const char* params, const uint32_t* length, uint16_t* rc) {
  return sigillo::runEntry("HASH", rc, [&] {
    return sigillo::macro("HASH", sigillo::hashCommands(), params, length, rc);
  });
}

void YHASH(const char* params, const uint32_t* length, uint16_t* rc) { HASH(params, length, rc); }
