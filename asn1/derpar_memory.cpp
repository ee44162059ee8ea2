// DER parser over a memory buffer: the input is read in place, only node
// values are copied into the tree.
#include <cstring>

#include "asn1/derpar.h"
#include "asn1/derpar_input.h"
#include "framework/trace.h"

namespace sigillo {

namespace {

constexpr const char* kModule = "derpar";
constexpr const char* kNodeFunction = "DERPARSER_mparse_node";

bool memoryEnsure(DERPARSER* context, size_t count) { return context->remaining >= count; }

uint64_t memoryEnd(DERPARSER* context) { return derpar::position(context) + context->remaining; }

uint16_t memoryMissingHeader(DERPARSER* context) {
  return DERPAR_ERR(context, kNodeFunction, 29, "%s",
                    context->remaining == 0 ? "Byte TL non presenti" : "Byte L non presente");
}

uint16_t memoryMissingLength(DERPARSER* context, uint32_t count) {
  return DERPAR_ERR(context, kNodeFunction, 29,
                    "I campo L richiede %u bytes ma solamente %u sono disponibil", count,
                    derpar::clampU32(context->remaining));
}

uint16_t memoryPrimitive(DERPARSER* context, const derpar::Header& header, aobj** node) {
  if (context->remaining < header.length) {
    return DERPAR_ERR(context, kNodeFunction, 29,
                      "Sono presenti ancora %u byte ma il valore del nodo dovrebbe grande %u byte",
                      derpar::clampU32(context->remaining), header.length);
  }
  const uint8_t* value = context->current;
  derpar::advance(context, header.length);
  *node = DERPARSER_build_primitive_node(context, header.tag, value, header.length);
  return *node != nullptr ? 0 : derpar::failedCode(context);
}

const derpar::Input kMemoryInput = {
    kNodeFunction,
    memoryEnsure,
    memoryEnd,
    memoryMissingHeader,
    memoryMissingLength,
    memoryPrimitive,
    "La dimensione del nodo ASN1 (%u) ha superato la dimensione prevista (%u)",
    "Nodo ASN1 non valido, figlio %u EOC non previsto",
    "Errore nel nodo figlio %u",
    "Impossibile aggiungere nodo figlio %u",
};

}  // namespace

uint16_t DERPARSER_mparse_node(DERPARSER* context, int32_t index, aobj** node) {
  if (node == nullptr) return firstOr(TRERR(2, "node (3)"), 2);
  *node = nullptr;
  if (context == nullptr) return firstOr(TRERR(2, "context (1)"), 2);
  return derpar::parseNode(context, kMemoryInput, index, node);
}

aobj* DERPARSER_mparse(DERPARSER* context, const uint8_t* buffer, uint64_t size) {
  TRclrerr();
  if (context == nullptr) {
    TRERR(2, "context (1)");
    return nullptr;
  }
  derpar::beginParse(context);
  if (buffer == nullptr) {
    DERPAR_ERR(context, __func__, 2, "%s", "buffer (2)");
    return nullptr;
  }
  context->start = buffer;
  context->current = buffer;
  context->size = size;
  context->remaining = size;
  aobj* tree = nullptr;
  if (derpar::parseNode(context, kMemoryInput, 0, &tree) != 0 || tree == nullptr) {
    DERPAR_ERR(context, __func__, 29, "%s", "Albero ASN.1 non valido");
    return nullptr;
  }
  if (context->remaining == 0) return tree;
  const auto at = static_cast<unsigned long long>(derpar::position(context));
  if ((context->flags & kDerStrict) != 0) {
    DERPAR_ERR(context, __func__, 29,
               "Parsing terminato prima della fine dell'input (posizione %llu)", at);
    derpar::discard(tree);
    return nullptr;
  }
  TRWARN("Parsing ASN.1 terminato prima della fine dell'input (posizione %llu)", at);
  return tree;
}

aobj* DERparse_(const uint8_t* buffer, uint64_t size, uint32_t flags) {
  DERPARSER context;
  DERPARSER_init(&context);
  context.flags = flags;
  aobj* tree = DERPARSER_mparse(&context, buffer, size);
  if (tree == nullptr) {
    TRERR(29, "Errore nel buffer 0x%p (dimensione %llu byte)", static_cast<const void*>(buffer),
          static_cast<unsigned long long>(size));
  }
  DERPARSER_clean(&context);
  return tree;
}

aobj* DERparse(const uint8_t* buffer, uint64_t size) { return DERparse_(buffer, size, 0); }

}  // namespace sigillo
