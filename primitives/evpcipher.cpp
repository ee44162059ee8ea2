// libcrypto contexts, one per mode and direction, kept for the key's life.
#include "primitives/evpcipher.h"

#include <openssl/evp.h>

#include <map>
#include <string>
#include <utility>

#include "framework/ossl_ptr.h"

namespace sigillo {
namespace {

std::string cipherName(const std::string& family, size_t keyLength, const char* mode) {
  std::string name = family;
  if (family == "AES") name += "-" + std::to_string(keyLength * 8);
  return name + "-" + mode;
}

// A context for `name` under `key`, ready for any IV.
CipherCtxPtr newContext(const std::string& name, const SecureBytes& key, bool decrypt) {
  CipherPtr cipher(EVP_CIPHER_fetch(nullptr, name.c_str(), nullptr));
  CipherCtxPtr ctx(EVP_CIPHER_CTX_new());
  if (!cipher || !ctx) return nullptr;
  if (EVP_CipherInit_ex2(ctx.get(), cipher.get(), key.data(), nullptr, decrypt ? 0 : 1, nullptr) !=
      1) {
    return nullptr;
  }
  EVP_CIPHER_CTX_set_padding(ctx.get(), 0);
  return ctx;
}

// One block at a time through the ECB contexts.
class EvpBlockCipher : public BlockCipher {
 public:
  EvpBlockCipher(EVP_CIPHER_CTX* enc, EVP_CIPHER_CTX* dec, size_t size)
      : enc_(enc), dec_(dec), size_(size) {}
  size_t blockSize() const override { return size_; }
  void encryptBlock(const uint8_t* in, uint8_t* out) const override { step(enc_, in, out); }
  void decryptBlock(const uint8_t* in, uint8_t* out) const override { step(dec_, in, out); }

 private:
  void step(EVP_CIPHER_CTX* ctx, const uint8_t* in, uint8_t* out) const {
    int n = 0;
    EVP_CipherUpdate(ctx, out, &n, in, static_cast<int>(size_));
  }
  EVP_CIPHER_CTX* enc_;
  EVP_CIPHER_CTX* dec_;
  size_t size_;
};

}  // namespace

struct EvpKey::Contexts {
  std::string family;
  SecureBytes key;
  std::map<std::pair<std::string, bool>, CipherCtxPtr> byMode;
  std::unique_ptr<EvpBlockCipher> block;

  EVP_CIPHER_CTX* get(const char* mode, bool decrypt) {
    auto slot = std::make_pair(std::string(mode), decrypt);
    auto it = byMode.find(slot);
    if (it != byMode.end()) return it->second.get();
    CipherCtxPtr ctx = newContext(cipherName(family, key.size(), mode), key, decrypt);
    EVP_CIPHER_CTX* raw = ctx.get();
    if (raw != nullptr) byMode.emplace(slot, std::move(ctx));
    return raw;
  }
};

EvpKey::EvpKey(const char* family, const uint8_t* key, size_t keyLength)
    : contexts_(std::make_unique<Contexts>()), blockSize_(std::string(family) == "AES" ? 16 : 8) {
  contexts_->family = family;
  contexts_->key.assign(key, key + keyLength);
}

EvpKey::~EvpKey() = default;

bool EvpKey::run(const char* mode, const uint8_t* in, uint8_t* out, size_t length, uint8_t* iv,
                 bool decrypt) {
  EVP_CIPHER_CTX* ctx = contexts_->get(mode, decrypt);
  if (ctx == nullptr) return false;
  if (EVP_CipherInit_ex2(ctx, nullptr, nullptr, iv, decrypt ? 0 : 1, nullptr) != 1) return false;
  // libcrypto takes lengths as int: long buffers go in slices.
  constexpr size_t kSlice = size_t{1} << 30;
  for (size_t done = 0; done < length;) {
    size_t n = std::min(kSlice, length - done);
    int written = 0;
    if (EVP_CipherUpdate(ctx, out + done, &written, in + done, static_cast<int>(n)) != 1) {
      return false;
    }
    done += n;
  }
  if (iv != nullptr) {
    return EVP_CIPHER_CTX_get_updated_iv(ctx, iv, static_cast<size_t>(blockSize_)) == 1;
  }
  return true;
}

const BlockCipher* EvpKey::block() {
  if (!contexts_->block) {
    EVP_CIPHER_CTX* enc = contexts_->get("ECB", false);
    EVP_CIPHER_CTX* dec = contexts_->get("ECB", true);
    if (enc == nullptr || dec == nullptr) return nullptr;
    contexts_->block = std::make_unique<EvpBlockCipher>(enc, dec, blockSize_);
  }
  return contexts_->block.get();
}

}  // namespace sigillo
