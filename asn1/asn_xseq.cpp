// ASNxSEQ: a constructed node and its children built in one call from a
// zero-terminated list of item codes, each followed by its argument.  On
// failure nothing is returned and every node handed over is deleted.
#include <cstdint>
#include <cstring>

#include "asn1/asn.h"
#include "asn1/oid.h"
#include "framework/trace.h"

namespace sigillo {

namespace {

constexpr const char* kModule = "asn";

// Options that the prefix codes set for the next item only.
struct Pending {
  const char* name = nullptr;
  int setTag = -1;
  int implicitNumber = -1;
  int explicitNumber = -1;
};

struct Builder {
  aobj* sequence;
  int position = 0;  // 1-based position of the current code in the list
  Pending pending;
};

aobj* textNode(uint8_t tag, const char* text, const Pending& pending) {
  if (text == nullptr) {
    TRERR(304, "Oggetto nullo (%s)", pending.name != nullptr ? pending.name : "");
    return nullptr;
  }
  return ASNxSTR(tag, reinterpret_cast<const uint8_t*>(text), static_cast<uint32_t>(strlen(text)));
}

aobj* timeNode(uint8_t tag, const char* text, const Pending& pending) {
  if (text == nullptr) {
    TRERR(304, "Oggetto nullo (%s)", pending.name != nullptr ? pending.name : "");
    return nullptr;
  }
  return ASNxDATE(tag, text, static_cast<uint32_t>(strlen(text)));
}

aobj* unsignedNode(uint32_t value) {
  uint8_t octets[5] = {0, static_cast<uint8_t>(value >> 24), static_cast<uint8_t>(value >> 16),
                       static_cast<uint8_t>(value >> 8), static_cast<uint8_t>(value)};
  int first = 1;
  while (first < 4 && octets[first] == 0) ++first;
  if ((octets[first] & 0x80) != 0) --first;
  return ASNxVAL(CLASVAL, kTagInteger, octets + first, static_cast<uint32_t>(5 - first));
}

aobj* registryOid(int number) {
  // Out-of-range numbers take the table's closing all-zero entry.
  const OidEntry& entry = OIDtable[isValidOID(number) != 0 ? number : kOidCount];
  return ASNxOID(kTagOid, entry.content, entry.length);
}

// Applies the prefixes to a new child and appends it.  Owns `child`.
bool appendItem(Builder& b, aobj* child, bool shared) {
  // The count of further holders is one octet: one more would wrap it to 0
  // and let the first tree deleted free the node under the others.
  if (shared && child->used == UINT8_MAX) {
    TRERR(23, "Nodo gia' condiviso da %u alberi oltre al proprietario", UINT8_MAX);
    return false;
  }
  const Pending& p = b.pending;
  if (p.name != nullptr) ASNsetname(child, p.name);
  if (p.setTag >= 0) child->tag = static_cast<uint8_t>(p.setTag);
  if (p.implicitNumber >= 0) {
    child->tag = static_cast<uint8_t>(kClassContext + p.implicitNumber) |
                 static_cast<uint8_t>(child->tag & kConstructed);
  }
  aobj* item = child;
  if (p.explicitNumber >= 0) {
    item = newConstructed(CLASSEQ, static_cast<uint8_t>(0xA0 + p.explicitNumber));
    if (item == nullptr || ASNadd(item, child) != 0) {
      if (item != nullptr) item->u.seq.count = 0;
      ASNdel(item);
      if (!shared) ASNdel(child);
      return false;
    }
  }
  if (ASNadd(b.sequence, item) != 0) {
    if (item != child) item->u.seq.count = 0;
    if (item != child) ASNdel(item);
    if (!shared) ASNdel(child);
    return false;
  }
  if (shared) ++child->used;
  return true;
}

// Builds and appends the item of `code`.  Returns false on failure.
bool addItem(Builder& b, int code, va_list& items) {
  aobj* child = nullptr;
  bool shared = false;
  switch (code) {
    case kSeqBool:
      child = ASNxBOOL(va_arg(items, int));
      break;
    case kSeqIa5:
      child = textNode(kTagIa5String, va_arg(items, const char*), b.pending);
      break;
    case kSeqPrintable:
      child = textNode(kTagPrintableString, va_arg(items, const char*), b.pending);
      break;
    case kSeqUtf8:
      child = textNode(kTagUtf8String, va_arg(items, const char*), b.pending);
      break;
    case kSeqUtc:
      child = timeNode(kTagUtcTime, va_arg(items, const char*), b.pending);
      break;
    case kSeqTime:
      child = timeNode(0, va_arg(items, const char*), b.pending);
      break;
    case kSeqOid:
      child = registryOid(va_arg(items, int));
      break;
    case kSeqUint:
      child = unsignedNode(va_arg(items, uint32_t));
      break;
    case kSeqShared:
      child = va_arg(items, aobj*);
      shared = true;
      if (child == nullptr) {
        TRERR(304, "Oggetto nullo (%s)", b.pending.name != nullptr ? b.pending.name : "");
        return false;
      }
      break;
    case kSeqNode:
      child = va_arg(items, aobj*);
      if (child == nullptr) {
        TRERR(304, "Nuovo oggetto nullo (%s)", b.pending.name != nullptr ? b.pending.name : "");
        return false;
      }
      break;
    case kSeqCall:
      child = va_arg(items, aobj*);
      if (child == nullptr) {
        TRLASTERR();
        return false;
      }
      break;
    case kSeqAbsent:
      if (va_arg(items, aobj*) != nullptr) {
        TRERR(302, "Nodo non null non previsto (posizione: %d)", b.position);
        return false;
      }
      return true;
    default:
      TRERR(302, "Tipo oggetto ASN.1 (%d) non risconosciuto", code);
      return false;
  }
  if (child == nullptr) return false;
  return appendItem(b, child, shared);
}

bool isKnownItem(int code) {
  switch (code) {
    case kSeqBool:
    case kSeqIa5:
    case kSeqShared:
    case kSeqOid:
    case kSeqUint:
    case kSeqNode:
    case kSeqPrintable:
    case kSeqUtc:
    case kSeqCall:
    case kSeqTime:
    case kSeqUtf8:
    case kSeqAbsent:
      return true;
    default:
      return false;
  }
}

bool isPrefix(int code, va_list& items, Pending& pending) {
  switch (code) {
    case kSeqName:
      pending.name = va_arg(items, const char*);
      return true;
    case kSeqSetTag:
      pending.setTag = va_arg(items, int) & 0xFF;
      return true;
    case kSeqImplicit:
      pending.implicitNumber = va_arg(items, int) & kTagNumberMask;
      return true;
    case kSeqExplicit:
      pending.explicitNumber = va_arg(items, int) & kTagNumberMask;
      return true;
    case kSeqSkipNumber:
      (void)va_arg(items, int);
      return true;
    case kSeqSkipPointer:
      (void)va_arg(items, const void*);
      return true;
    default:
      return false;
  }
}

// After a failure: deletes every node still to be handed over.
void releaseRemaining(int position, va_list& items) {
  for (int code = va_arg(items, int); code != kSeqEnd; code = va_arg(items, int)) {
    ++position;
    Pending ignored;
    if (isPrefix(code, items, ignored)) continue;
    switch (code) {
      case kSeqBool:
      case kSeqOid:
        (void)va_arg(items, int);
        break;
      case kSeqUint:
        (void)va_arg(items, uint32_t);
        break;
      case kSeqIa5:
      case kSeqPrintable:
      case kSeqUtf8:
      case kSeqUtc:
      case kSeqTime:
      case kSeqShared:
      case kSeqAbsent:
        (void)va_arg(items, const void*);
        break;
      case kSeqNode:
      case kSeqCall: {
        aobj* node = va_arg(items, aobj*);
        if (node == nullptr) {
          TRWARN(
              "Si stava cercando di aggiungere un nodo NULL (posizione %d) prima che si "
              "verificasse un errore",
              position);
        }
        ASNdel(node);
        break;
      }
      default:
        TRERR(302, "Costruzione con tipo di nodo ASN.1 (%d) non riconosciuto", code);
        return;
    }
  }
}

}  // namespace

aobj* ASNvxSEQ(uint32_t kind, uint32_t tag, va_list items) {
  va_list walk;
  va_copy(walk, items);
  Builder b{newConstructed(kind, static_cast<uint8_t>(tag)), 0, Pending{}};
  if (b.sequence == nullptr) {
    TRLASTERR();
    releaseRemaining(0, walk);
    va_end(walk);
    return nullptr;
  }
  for (int code = va_arg(walk, int); code != kSeqEnd; code = va_arg(walk, int)) {
    ++b.position;
    if (isPrefix(code, walk, b.pending)) continue;
    if (!addItem(b, code, walk)) {
      TRERR(301, "Errore durante l'aggiunta del nodo '%s' (posizione %d)",
            b.pending.name != nullptr ? b.pending.name : "", b.position);
      ASNdel(b.sequence);
      // The argument of an unknown code cannot be stepped over.
      if (isKnownItem(code)) releaseRemaining(b.position, walk);
      va_end(walk);
      return nullptr;
    }
    b.pending = Pending{};
  }
  va_end(walk);
  return b.sequence;
}

aobj* ASNxSEQ(uint32_t kind, uint32_t tag, ...) {
  va_list items;
  va_start(items, tag);
  aobj* node = ASNvxSEQ(kind, tag, items);
  va_end(items);
  return node;
}

aobj* ASNxSEQold(uint32_t kind, uint32_t tag, ...) {
  va_list items;
  va_start(items, tag);
  aobj* node = ASNvxSEQ(kind, tag, items);
  va_end(items);
  return node;
}

}  // namespace sigillo
