// HMAC_DRBG with SHA-256: the update, instantiate, reseed and generate
// functions of NIST SP 800-90A section 10.1.2, HMAC computed by libcrypto.
#include "primitives/drbg.h"

#include <openssl/core_names.h>
#include <openssl/evp.h>
#include <openssl/params.h>

#include <algorithm>
#include <cstring>
#include <memory>

#include "framework/ossl_ptr.h"
#include "framework/trace.h"

namespace sigillo {
namespace {

constexpr const char* kModule = "drbg";
constexpr size_t kOutLen = 32;  // SHA-256 output, the length of K and V

struct Piece {
  const uint8_t* data;
  size_t length;
};

// One HMAC-SHA256 context, re-keyed for every value the DRBG computes.
class HmacSha256 {
 public:
  HmacSha256() : mac_(EVP_MAC_fetch(nullptr, "HMAC", nullptr)) {
    if (mac_) ctx_.reset(EVP_MAC_CTX_new(mac_.get()));
    if (!ctx_) TRERR(30, "Algoritmo HMAC-SHA256 non disponibile");
  }

  // out = HMAC(key, pieces...); false when libcrypto fails.
  bool compute(const uint8_t* key, std::initializer_list<Piece> pieces, uint8_t* out) {
    if (!ctx_) return false;
    char digest[] = "SHA256";
    OSSL_PARAM params[] = {OSSL_PARAM_construct_utf8_string(OSSL_MAC_PARAM_DIGEST, digest, 0),
                           OSSL_PARAM_construct_end()};
    if (EVP_MAC_init(ctx_.get(), key, kOutLen, params) != 1) return fail();
    for (const Piece& p : pieces) {
      if (p.length != 0 && EVP_MAC_update(ctx_.get(), p.data, p.length) != 1) return fail();
    }
    size_t n = 0;
    if (EVP_MAC_final(ctx_.get(), out, &n, kOutLen) != 1 || n != kOutLen) return fail();
    return true;
  }

 private:
  static bool fail() {
    TRERR(30, "Calcolo HMAC-SHA256 fallito");
    return false;
  }
  MacPtr mac_;
  MacCtxPtr ctx_;
};

}  // namespace

// HMAC_DRBG_Update: provided_data is data1 || data2.  A libcrypto failure
// leaves the generator uninstantiated, so that it cannot produce output
// from a half-updated state.
void HmacDrbg::update(const uint8_t* data1, size_t length1, const uint8_t* data2, size_t length2) {
  HmacSha256 hmac;
  const uint8_t zero = 0x00, one = 0x01;
  const bool provided = length1 + length2 != 0;
  bool ok = hmac.compute(key_.data(),
                         {{value_.data(), kOutLen}, {&zero, 1}, {data1, length1}, {data2, length2}},
                         key_.data()) &&
            hmac.compute(key_.data(), {{value_.data(), kOutLen}}, value_.data());
  if (ok && provided) {
    ok = hmac.compute(key_.data(),
                      {{value_.data(), kOutLen}, {&one, 1}, {data1, length1}, {data2, length2}},
                      key_.data()) &&
         hmac.compute(key_.data(), {{value_.data(), kOutLen}}, value_.data());
  }
  if (!ok) instantiated_ = false;
}

void HmacDrbg::instantiate(const uint8_t* seed, size_t seedLength, const uint8_t* personal,
                           size_t personalLength) {
  std::fill(key_.begin(), key_.end(), 0x00);
  std::fill(value_.begin(), value_.end(), 0x01);
  instantiated_ = true;
  update(seed, seedLength, personal, personalLength);
}

void HmacDrbg::reseed(const uint8_t* entropy, size_t length, const uint8_t* additional,
                      size_t additionalLength) {
  if (!instantiated_) return;
  update(entropy, length, additional, additionalLength);
}

bool HmacDrbg::generate(uint8_t* out, size_t length, const uint8_t* additional,
                        size_t additionalLength) {
  if (!instantiated_) return false;
  if (additionalLength != 0) {
    update(additional, additionalLength, nullptr, 0);
    if (!instantiated_) return false;
  }
  HmacSha256 hmac;
  size_t done = 0;
  while (done < length) {
    if (!hmac.compute(key_.data(), {{value_.data(), kOutLen}}, value_.data())) {
      instantiated_ = false;
      return false;
    }
    size_t n = std::min(kOutLen, length - done);
    memcpy(out + done, value_.data(), n);
    done += n;
  }
  update(additional, additionalLength, nullptr, 0);
  return instantiated_;
}

HmacDrbg& processDrbg() {
  static HmacDrbg drbg;
  return drbg;
}

}  // namespace sigillo
