// ASNdevelop: the tree encoded inside a primitive node's value.
#include "asn1/asn.h"
#include "asn1/derpar.h"
#include "framework/trace.h"

namespace sigillo {

namespace {
constexpr const char* kModule = "asn";
}

aobj* ASNdevelop(const aobj* node) {
  if (node == nullptr) {
    TRERR(304, "Oggetto ASN.1 nullo");
    return nullptr;
  }
  aobj* tree = nullptr;
  switch (node->kind) {
    case CLASSEQ:
      TRERR(29, "TIPO_ERRATO PER questa funzione");
      return nullptr;
    case CLASINDIR:
      tree = DERfParse(node->u.indirect->file, node->u.indirect->offset);
      break;
    case CLASBSTR:
      tree = DERparse(node->value, node->length > 0 ? node->length - 1 : 0);
      break;
    default:
      tree = DERparse(node->value, node->length);
      break;
  }
  if (tree == nullptr) TRERR(29, "Fallita decodifica nodo '%s'", node->name);
  return tree;
}

}  // namespace sigillo
