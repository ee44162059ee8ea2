// Owning pointers for libcrypto objects, one deleter per type for the whole
// library.  Numbers are wiped on release: most of them hold key material.
#pragma once

#include <openssl/bn.h>
#include <openssl/crypto.h>
#include <openssl/evp.h>

#include <memory>

namespace sigillo {

template <auto Free>
struct FreeWith {
  template <class T>
  void operator()(T* object) const {
    Free(object);
  }
};

// OPENSSL_free is a macro; this is the function it stands for.
inline void freeOpenSslText(char* text) { OPENSSL_free(text); }

using BnPtr = std::unique_ptr<BIGNUM, FreeWith<BN_clear_free>>;
using BnCtxPtr = std::unique_ptr<BN_CTX, FreeWith<BN_CTX_free>>;
using BnMontPtr = std::unique_ptr<BN_MONT_CTX, FreeWith<BN_MONT_CTX_free>>;
using MdPtr = std::unique_ptr<EVP_MD, FreeWith<EVP_MD_free>>;
using MdCtxPtr = std::unique_ptr<EVP_MD_CTX, FreeWith<EVP_MD_CTX_free>>;
using MacPtr = std::unique_ptr<EVP_MAC, FreeWith<EVP_MAC_free>>;
using MacCtxPtr = std::unique_ptr<EVP_MAC_CTX, FreeWith<EVP_MAC_CTX_free>>;
using CipherPtr = std::unique_ptr<EVP_CIPHER, FreeWith<EVP_CIPHER_free>>;
using CipherCtxPtr = std::unique_ptr<EVP_CIPHER_CTX, FreeWith<EVP_CIPHER_CTX_free>>;
using OpenSslTextPtr = std::unique_ptr<char, FreeWith<freeOpenSslText>>;

}  // namespace sigillo
