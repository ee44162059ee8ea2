// PBKDF2, HMAC-derived member keys and AES-256-GCM through libcrypto.
#include "archive/codec_crypto.h"

#include <openssl/hmac.h>
#include <openssl/rand.h>

#include <climits>
#include <cstring>

namespace sigillo::codec {
namespace {

constexpr char kCheckLabel[] = "sigillo codec key check";
constexpr char kDataLabel[] = "sigillo codec member data";

void hmacSha256(const uint8_t* key, size_t keyLength, const uint8_t* data, size_t length,
                uint8_t (&out)[32]) {
  unsigned int outLength = 0;
  HMAC(EVP_sha256(), key, static_cast<int>(keyLength), data, length, out, &outLength);
}

}  // namespace

bool randomBytes(uint8_t* out, size_t length) {
  return RAND_bytes(out, static_cast<int>(length)) == 1;
}

bool deriveKey(const std::string& password, const uint8_t* salt, uint32_t iterations,
               SecureBytes* key) {
  if (iterations == 0 || iterations > kMaxPbkdf2Iterations || password.size() > INT_MAX) {
    return false;
  }
  key->assign(kKeySize, 0);
  return PKCS5_PBKDF2_HMAC(password.data(), static_cast<int>(password.size()), salt,
                           static_cast<int>(kSaltSize), static_cast<int>(iterations), EVP_sha256(),
                           static_cast<int>(kKeySize), key->data()) == 1;
}

void keyCheck(const SecureBytes& memberKey, uint8_t (&out)[kCheckSize]) {
  uint8_t mac[32];
  hmacSha256(memberKey.data(), memberKey.size(), reinterpret_cast<const uint8_t*>(kCheckLabel),
             sizeof kCheckLabel - 1, mac);
  memcpy(out, mac, kCheckSize);
}

void memberDataKey(const SecureBytes& libraryKey, const SecureBytes& memberKey, const uint8_t* salt,
                   SecureBytes* dataKey) {
  SecureBytes secret(libraryKey);
  secret.insert(secret.end(), memberKey.begin(), memberKey.end());
  SecureBytes message(kDataLabel, kDataLabel + sizeof kDataLabel - 1);
  message.insert(message.end(), salt, salt + kSaltSize);
  uint8_t mac[32];
  hmacSha256(secret.data(), secret.size(), message.data(), message.size(), mac);
  dataKey->assign(mac, mac + kKeySize);
  OPENSSL_cleanse(mac, sizeof mac);
}

bool GcmStream::start(const SecureBytes& key, const uint8_t* nonce, bool encrypt) {
  ctx_.reset(EVP_CIPHER_CTX_new());
  if (!ctx_ || key.size() != kKeySize) return false;
  return EVP_CipherInit_ex(ctx_.get(), EVP_aes_256_gcm(), nullptr, nullptr, nullptr,
                           encrypt ? 1 : 0) == 1 &&
         EVP_CIPHER_CTX_ctrl(ctx_.get(), EVP_CTRL_GCM_SET_IVLEN, kNonceSize, nullptr) == 1 &&
         EVP_CipherInit_ex(ctx_.get(), nullptr, nullptr, key.data(), nonce, encrypt ? 1 : 0) == 1;
}

bool GcmStream::update(const uint8_t* in, size_t length, uint8_t* out) {
  while (length > 0) {
    int part = length > (1u << 30) ? (1 << 30) : static_cast<int>(length);
    int outLength = 0;
    if (EVP_CipherUpdate(ctx_.get(), out, &outLength, in, part) != 1) return false;
    in += part;
    out += part;
    length -= static_cast<size_t>(part);
  }
  return true;
}

bool GcmStream::aad(const uint8_t* data, size_t length) {
  int outLength = 0;
  return length <= INT_MAX &&
         EVP_CipherUpdate(ctx_.get(), nullptr, &outLength, data, static_cast<int>(length)) == 1;
}

bool GcmStream::finishEncrypt(uint8_t (&tag)[kTagSize]) {
  int outLength = 0;
  uint8_t none[16];
  return EVP_CipherFinal_ex(ctx_.get(), none, &outLength) == 1 &&
         EVP_CIPHER_CTX_ctrl(ctx_.get(), EVP_CTRL_GCM_GET_TAG, kTagSize, tag) == 1;
}

bool GcmStream::finishDecrypt(const uint8_t (&tag)[kTagSize]) {
  uint8_t copy[kTagSize];
  memcpy(copy, tag, kTagSize);
  int outLength = 0;
  uint8_t none[16];
  return EVP_CIPHER_CTX_ctrl(ctx_.get(), EVP_CTRL_GCM_SET_TAG, kTagSize, copy) == 1 &&
         EVP_CipherFinal_ex(ctx_.get(), none, &outLength) == 1;
}

bool wrapKey(const SecureBytes& passwordKey, const SecureBytes& libraryKey, const uint8_t* aad,
             size_t aadLength, LibHeader* header) {
  GcmStream gcm;
  return randomBytes(header->nonce, kNonceSize) && gcm.start(passwordKey, header->nonce, true) &&
         gcm.aad(aad, aadLength) && gcm.update(libraryKey.data(), kKeySize, header->wrappedKey) &&
         gcm.finishEncrypt(header->tag);
}

bool unwrapKey(const SecureBytes& passwordKey, const LibHeader& header, const uint8_t* aad,
               size_t aadLength, SecureBytes* libraryKey) {
  GcmStream gcm;
  libraryKey->assign(kKeySize, 0);
  return gcm.start(passwordKey, header.nonce, false) && gcm.aad(aad, aadLength) &&
         gcm.update(header.wrappedKey, kKeySize, libraryKey->data()) &&
         gcm.finishDecrypt(header.tag);
}

}  // namespace sigillo::codec
