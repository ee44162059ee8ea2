// OpenSSL's ciphers and MD4 in a private library context with the legacy and
// default providers, so that the rest of the process is unaffected: an
// independent implementation to cross-check ours against.
#pragma once

#include <openssl/core_names.h>
#include <openssl/evp.h>
#include <openssl/params.h>
#include <openssl/provider.h>

#include <memory>
#include <optional>

#include "tests/common/testutil.h"

namespace sigillo::test_support {

using test::Bytes;

class OpensslLegacy {
 public:
  OpensslLegacy()
      : context_(OSSL_LIB_CTX_new()),
        legacy_(OSSL_PROVIDER_load(context_.get(), "legacy")),
        default_(OSSL_PROVIDER_load(context_.get(), "default")) {}

  bool available() const { return legacy_ && has("DES-ECB"); }
  bool has(const char* name) const {
    return std::unique_ptr<EVP_CIPHER, CipherFree>(
               EVP_CIPHER_fetch(context_.get(), name, nullptr)) != nullptr;
  }

  // Whole blocks, no padding, zero IV; `rc2Bits` sets RC2's effective key bits.
  std::optional<Bytes> crypt(const char* name, const Bytes& key, const Bytes& data, bool encrypt,
                             std::optional<size_t> rc2Bits = std::nullopt) const {
    std::unique_ptr<EVP_CIPHER, CipherFree> cipher(EVP_CIPHER_fetch(context_.get(), name, nullptr));
    std::unique_ptr<EVP_CIPHER_CTX, ContextFree> ctx(EVP_CIPHER_CTX_new());
    const Bytes zeroIv(EVP_MAX_IV_LENGTH, 0);
    size_t bits = rc2Bits.value_or(0);
    const OSSL_PARAM params[] = {OSSL_PARAM_construct_size_t(OSSL_CIPHER_PARAM_RC2_KEYBITS, &bits),
                                 OSSL_PARAM_construct_end()};
    Bytes out(data.size() + EVP_MAX_BLOCK_LENGTH);
    int written = 0, last = 0;
    if (!cipher || !ctx ||
        EVP_CipherInit_ex2(ctx.get(), cipher.get(), nullptr, nullptr, encrypt, nullptr) != 1 ||
        EVP_CIPHER_CTX_set_key_length(ctx.get(), static_cast<int>(key.size())) != 1 ||
        (rc2Bits && EVP_CIPHER_CTX_set_params(ctx.get(), params) != 1) ||
        EVP_CipherInit_ex2(ctx.get(), nullptr, key.data(), zeroIv.data(), encrypt, nullptr) != 1 ||
        EVP_CIPHER_CTX_set_padding(ctx.get(), 0) != 1 ||
        EVP_CipherUpdate(ctx.get(), out.data(), &written, data.data(),
                         static_cast<int>(data.size())) != 1 ||
        EVP_CipherFinal_ex(ctx.get(), out.data() + written, &last) != 1) {
      return std::nullopt;
    }
    out.resize(static_cast<size_t>(written + last));
    return out;
  }
  std::optional<Bytes> encrypt(const char* name, const Bytes& key, const Bytes& data,
                               std::optional<size_t> rc2Bits = std::nullopt) const {
    return crypt(name, key, data, true, rc2Bits);
  }

  std::optional<Bytes> md4(const Bytes& data) const {
    std::unique_ptr<EVP_MD, MdFree> md(EVP_MD_fetch(context_.get(), "MD4", nullptr));
    Bytes out(EVP_MAX_MD_SIZE);
    unsigned int length = 0;
    if (!md || EVP_Digest(data.data(), data.size(), out.data(), &length, md.get(), nullptr) != 1) {
      return std::nullopt;
    }
    out.resize(length);
    return out;
  }

 private:
  struct LibFree {
    void operator()(OSSL_LIB_CTX* p) const { OSSL_LIB_CTX_free(p); }
  };
  struct ProviderUnload {
    void operator()(OSSL_PROVIDER* p) const { OSSL_PROVIDER_unload(p); }
  };
  struct CipherFree {
    void operator()(EVP_CIPHER* p) const { EVP_CIPHER_free(p); }
  };
  struct MdFree {
    void operator()(EVP_MD* p) const { EVP_MD_free(p); }
  };
  struct ContextFree {
    void operator()(EVP_CIPHER_CTX* p) const { EVP_CIPHER_CTX_free(p); }
  };
  // Declared in this order so that they are released in reverse.
  std::unique_ptr<OSSL_LIB_CTX, LibFree> context_;
  std::unique_ptr<OSSL_PROVIDER, ProviderUnload> legacy_, default_;
};

}  // namespace sigillo::test_support
