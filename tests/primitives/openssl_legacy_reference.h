// DES, MD4 and the other legacy ciphers from OpenSSL's legacy provider, loaded into a private
// library context so that the rest of the process is unaffected: an independent implementation to
// cross-check our own against.
#pragma once

#include <openssl/core_names.h>
#include <openssl/evp.h>
#include <openssl/params.h>
#include <openssl/provider.h>

#include <memory>
#include <optional>

#include "tests/primitives/digest_test_util.h"

namespace sigillo::test_support {

class OpensslLegacy {
 public:
  OpensslLegacy()
      : context_(OSSL_LIB_CTX_new()),
        legacy_(OSSL_PROVIDER_load(context_.get(), "legacy")),
        ecb_(EVP_CIPHER_fetch(context_.get(), "DES-ECB", nullptr)),
        cbc_(EVP_CIPHER_fetch(context_.get(), "DES-CBC", nullptr)),
        md4_(EVP_MD_fetch(context_.get(), "MD4", nullptr)) {}

  bool available() const { return ecb_ != nullptr && cbc_ != nullptr && md4_ != nullptr; }

  std::optional<Bytes> encryptEcb(const Bytes& key, const Bytes& data) const {
    return run(ecb_.get(), key, data, true);
  }

  std::optional<Bytes> decryptEcb(const Bytes& key, const Bytes& data) const {
    return run(ecb_.get(), key, data, false);
  }

  // CBC encryption from a zero IV; `data` must be a whole number of blocks.
  std::optional<Bytes> encryptCbc(const Bytes& key, const Bytes& data) const {
    return run(cbc_.get(), key, data, true);
  }

  bool has(const char* name) const { return fetch(name) != nullptr; }

  // Any legacy cipher by name: encryption only, whole blocks, no padding,
  // zero IV.  `rc2Bits`, when given, sets RC2's effective key bits.
  std::optional<Bytes> encrypt(const char* name, const Bytes& key, const Bytes& data,
                               std::optional<size_t> rc2Bits = std::nullopt) const {
    const CipherPtr cipher = fetch(name);
    const std::unique_ptr<EVP_CIPHER_CTX, CipherContextFree> context(EVP_CIPHER_CTX_new());
    const Bytes zeroIv(EVP_MAX_IV_LENGTH, 0);
    if (!cipher || !context ||
        EVP_EncryptInit_ex2(context.get(), cipher.get(), nullptr, nullptr, nullptr) != 1 ||
        EVP_CIPHER_CTX_set_key_length(context.get(), static_cast<int>(key.size())) != 1 ||
        !setRc2Bits(context.get(), rc2Bits) ||
        EVP_EncryptInit_ex2(context.get(), nullptr, key.data(), zeroIv.data(), nullptr) != 1 ||
        EVP_CIPHER_CTX_set_padding(context.get(), 0) != 1) {
      return std::nullopt;
    }
    Bytes out(data.size() + EVP_MAX_BLOCK_LENGTH);
    int written = 0;
    int last = 0;
    if (EVP_EncryptUpdate(context.get(), out.data(), &written, data.data(),
                          static_cast<int>(data.size())) != 1 ||
        EVP_EncryptFinal_ex(context.get(), out.data() + written, &last) != 1) {
      return std::nullopt;
    }
    out.resize(static_cast<size_t>(written + last));
    return out;
  }

  std::optional<Bytes> md4(const Bytes& data) const {
    Bytes out(EVP_MAX_MD_SIZE);
    unsigned int length = 0;
    if (EVP_Digest(data.data(), data.size(), out.data(), &length, md4_.get(), nullptr) != 1) {
      return std::nullopt;
    }
    out.resize(length);
    return out;
  }

 private:
  struct ContextFree {
    void operator()(OSSL_LIB_CTX* p) const { OSSL_LIB_CTX_free(p); }
  };
  struct ProviderUnload {
    void operator()(OSSL_PROVIDER* p) const { OSSL_PROVIDER_unload(p); }
  };
  struct CipherFree {
    void operator()(EVP_CIPHER* p) const { EVP_CIPHER_free(p); }
  };
  struct DigestFree {
    void operator()(EVP_MD* p) const { EVP_MD_free(p); }
  };
  struct CipherContextFree {
    void operator()(EVP_CIPHER_CTX* p) const { EVP_CIPHER_CTX_free(p); }
  };

  using CipherPtr = std::unique_ptr<EVP_CIPHER, CipherFree>;

  CipherPtr fetch(const char* name) const {
    return CipherPtr(legacy_ ? EVP_CIPHER_fetch(context_.get(), name, nullptr) : nullptr);
  }

  static bool setRc2Bits(EVP_CIPHER_CTX* context, std::optional<size_t> bits) {
    if (!bits) return true;
    size_t value = *bits;
    const OSSL_PARAM params[] = {OSSL_PARAM_construct_size_t(OSSL_CIPHER_PARAM_RC2_KEYBITS, &value),
                                 OSSL_PARAM_construct_end()};
    return EVP_CIPHER_CTX_set_params(context, params) == 1;
  }

  static std::optional<Bytes> run(const EVP_CIPHER* cipher, const Bytes& key, const Bytes& data,
                                  bool encrypt) {
    const Bytes zeroIv(8, 0);
    std::unique_ptr<EVP_CIPHER_CTX, CipherContextFree> context(EVP_CIPHER_CTX_new());
    if (!context || key.size() != 8 || data.size() % 8 != 0 ||
        EVP_CipherInit_ex2(context.get(), cipher, key.data(), zeroIv.data(), encrypt ? 1 : 0,
                           nullptr) != 1 ||
        EVP_CIPHER_CTX_set_padding(context.get(), 0) != 1) {
      return std::nullopt;
    }
    Bytes out(data.size() + 8);
    int written = 0;
    int last = 0;
    if (EVP_CipherUpdate(context.get(), out.data(), &written, data.data(),
                         static_cast<int>(data.size())) != 1 ||
        EVP_CipherFinal_ex(context.get(), out.data() + written, &last) != 1) {
      return std::nullopt;
    }
    out.resize(static_cast<size_t>(written + last));
    return out;
  }

  // Declared in this order so that they are released in reverse.
  std::unique_ptr<OSSL_LIB_CTX, ContextFree> context_;
  std::unique_ptr<OSSL_PROVIDER, ProviderUnload> legacy_;
  std::unique_ptr<EVP_CIPHER, CipherFree> ecb_;
  std::unique_ptr<EVP_CIPHER, CipherFree> cbc_;
  std::unique_ptr<EVP_MD, DigestFree> md4_;
};

}  // namespace sigillo::test_support
