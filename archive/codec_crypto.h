// Keys and authenticated encryption of protected members and libraries:
// PBKDF2-HMAC-SHA256 from the password, AES-256-GCM for data and keys.
#pragma once

#include <openssl/evp.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "archive/codec_format.h"
#include "framework/ossl_ptr.h"
#include "framework/secure.h"

namespace sigillo::codec {

// Iterations written into new entries and headers (OWASP 2023 figure).
constexpr uint32_t kPbkdf2Iterations = 600000;
// An entry or header claiming more is refused before any derivation: a
// hostile library must not make a reader spin (each derivation at this cost
// takes well under a second).
constexpr uint32_t kMaxPbkdf2Iterations = 1000000;

bool randomBytes(uint8_t* out, size_t length);
bool deriveKey(const std::string& password, const uint8_t* salt, uint32_t iterations,
               SecureBytes* key);
// Check value stored beside a member so that a wrong password is told apart
// from damaged data before anything is decoded.
void keyCheck(const SecureBytes& memberKey, uint8_t (&out)[kCheckSize]);
// Key of one member's data from the library key and/or the member key.
void memberDataKey(const SecureBytes& libraryKey, const SecureBytes& memberKey, const uint8_t* salt,
                   SecureBytes* dataKey);

// The library key enciphered under the password key; `aad` binds it to the
// header's identity fields.
bool wrapKey(const SecureBytes& passwordKey, const SecureBytes& libraryKey, const uint8_t* aad,
             size_t aadLength, LibHeader* header);
bool unwrapKey(const SecureBytes& passwordKey, const LibHeader& header, const uint8_t* aad,
               size_t aadLength, SecureBytes* libraryKey);

class GcmStream {
 public:
  bool start(const SecureBytes& key, const uint8_t* nonce, bool encrypt);
  bool aad(const uint8_t* data, size_t length);
  bool update(const uint8_t* in, size_t length, uint8_t* out);
  bool finishEncrypt(uint8_t (&tag)[kTagSize]);
  bool finishDecrypt(const uint8_t (&tag)[kTagSize]);

 private:
  CipherCtxPtr ctx_;
};

}  // namespace sigillo::codec
