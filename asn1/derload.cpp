// DER or PEM input behind one call.
#include "asn1/derload.h"

#include <cstring>

#include "asn1/pem.h"
#include "framework/kvtmem.h"
#include "framework/trace.h"

namespace sigillo {

namespace {

constexpr const char* kModule = "derpar";

void nameInput(DERPARSER* context, const char* fileName) {
  TRFREE(context->inputName);
  const size_t length = strlen(fileName);
  context->inputName = static_cast<char*>(TRMALLOC(length + 1));
  if (context->inputName != nullptr) memcpy(context->inputName, fileName, length + 1);
}

}  // namespace

aobj* DERfLoadAny(DERPARSER* context, const char* fileName) {
  if (context == nullptr || fileName == nullptr || !fileIsPem(fileName)) {
    return DERPARSER_fparse(context, fileName, 0);
  }
  SecureBytes der;
  if (loadDerOrPem(fileName, &der, nullptr) != 0) {
    TRLASTERR();
    return nullptr;
  }
  aobj* tree = DERPARSER_mparse(context, der.data(), der.size());
  nameInput(context, fileName);
  if (tree == nullptr) TRERR(29, "Errore nel file %s (inizio parsing: %u)", fileName, 0u);
  return tree;
}

}  // namespace sigillo
