// Digests and HMACs computed by libcrypto's EVP interface.
#include "primitives/evpdigest.h"

#include <openssl/core_names.h>
#include <openssl/evp.h>
#include <openssl/params.h>

#include "framework/ossl_ptr.h"
#include "framework/trace.h"

namespace sigillo {
namespace {

constexpr const char* kModule = "evpdigest";

class EvpDigest : public Digest {
 public:
  EvpDigest(EVP_MD_CTX* ctx, size_t size) : ctx_(ctx), size_(size) {}
  void update(const uint8_t* data, size_t length) override {
    EVP_DigestUpdate(ctx_.get(), data, length);
  }
  void finish(uint8_t* out) override {
    unsigned int n = 0;
    EVP_DigestFinal_ex(ctx_.get(), out, &n);
  }
  size_t size() const override { return size_; }

 private:
  MdCtxPtr ctx_;
  size_t size_;
};

class Hmac : public Digest {
 public:
  Hmac(EVP_MAC_CTX* ctx, size_t size) : ctx_(ctx), size_(size) {}
  void update(const uint8_t* data, size_t length) override {
    EVP_MAC_update(ctx_.get(), data, length);
  }
  void finish(uint8_t* out) override {
    size_t n = 0;
    EVP_MAC_final(ctx_.get(), out, &n, size_);
  }
  size_t size() const override { return size_; }

 private:
  MacCtxPtr ctx_;
  size_t size_;
};

}  // namespace

std::unique_ptr<Digest> newEvpDigest(const char* name) {
  MdPtr md(EVP_MD_fetch(nullptr, name, nullptr));
  if (!md) {
    TRERR(30, "Algoritmo %s non disponibile", name);
    return nullptr;
  }
  MdCtxPtr ctx(EVP_MD_CTX_new());
  if (!ctx || EVP_DigestInit_ex2(ctx.get(), md.get(), nullptr) != 1) {
    TRERR(10, "Impossibile inizializzare %s", name);
    return nullptr;
  }
  return std::make_unique<EvpDigest>(ctx.release(), static_cast<size_t>(EVP_MD_get_size(md.get())));
}

std::unique_ptr<Digest> newHmac(const char* digestName, const uint8_t* key, size_t keyLength) {
  MdPtr md(EVP_MD_fetch(nullptr, digestName, nullptr));
  MacPtr mac(EVP_MAC_fetch(nullptr, "HMAC", nullptr));
  if (!md || !mac) {
    TRERR(30, "Algoritmo HMAC-%s non disponibile", digestName);
    return nullptr;
  }
  MacCtxPtr ctx(EVP_MAC_CTX_new(mac.get()));
  OSSL_PARAM params[] = {
      OSSL_PARAM_construct_utf8_string(OSSL_MAC_PARAM_DIGEST, const_cast<char*>(digestName), 0),
      OSSL_PARAM_construct_end()};
  static const uint8_t kEmptyKey[1] = {0};
  if (!ctx || EVP_MAC_init(ctx.get(), keyLength != 0 ? key : kEmptyKey, keyLength, params) != 1) {
    TRERR(10, "Impossibile inizializzare HMAC-%s", digestName);
    return nullptr;
  }
  return std::make_unique<Hmac>(ctx.release(), static_cast<size_t>(EVP_MD_get_size(md.get())));
}

}  // namespace sigillo
