// Constructed nodes: the child array, appending, lengths and deep copies.
#include <algorithm>
#include <cstring>

#include "asn1/asn.h"
#include "asn1/asn_internal.h"
#include "framework/kvtmem.h"
#include "framework/trace.h"

namespace sigillo {

namespace {

constexpr const char* kModule = "asn";

// Makes room for one more child and the null entry behind it.  Arrays grow
// by 32 entries, and by half their size once that is more, so that a node
// of many children (a CRL's list) is not copied again for every 32 added.
bool reserveChild(aobj* node) {
  const uint32_t old = node->u.seq.capacity;
  if (node->u.seq.count + 1 < old) return true;
  const uint32_t step = std::max(kSeqGrowth, old / 2 / kSeqGrowth * kSeqGrowth);
  const uint32_t capacity = old < kSeqGrowth ? kSeqGrowth : old + step;
  auto* grown = static_cast<aobj**>(TRREALLOC(node->u.seq.children, capacity * sizeof(aobj*)));
  if (grown == nullptr) return false;
  memset(grown + old, 0, (capacity - old) * sizeof(aobj*));
  node->u.seq.children = grown;
  node->u.seq.capacity = capacity;
  return true;
}

// The append underneath ASNadd and ASNappend: inserts at `position`.
uint16_t insertChild(aobj* sequence, aobj* child, uint32_t position) {
  if (sequence == nullptr) return firstOr(TRERR(10, "Riferimento ad albero ASN.1 nullo"), 10);
  if (child == nullptr) return firstOr(TRERR(10, "Riferimento a sotto-nodo ASN.1 nullo"), 10);
  if (sequence->kind != CLASSEQ) {
    return firstOr(TRERR(302, "Impossibile aggiunere nodo ASN.1 ad una non sequenza"), 302);
  }
  // A length this close to 4 GiB would wrap the child's encoded size.
  if (child->length > UINT32_MAX - kMaxHeaderSize) {
    return firstOr(TRERR(5, "Valore troppo grande (%u byte)", child->length), 5);
  }
  const uint32_t size = DERlen(child);
  if (UINT32_MAX - sequence->length < size) {
    return firstOr(TRERR(5, "Valore troppo grande (%u byte)", size), 5);
  }
  if (!reserveChild(sequence)) return firstOr(TRLASTERR(), 10);
  aobj** children = sequence->u.seq.children;
  memmove(children + position + 1, children + position,
          (sequence->u.seq.count - position) * sizeof(aobj*));
  children[position] = child;
  ++sequence->u.seq.count;
  children[sequence->u.seq.count] = nullptr;
  sequence->length += size;
  return 0;
}

aobj* copyNode(const aobj* node);

bool copyChildren(const aobj* from, aobj* to) {
  for (uint32_t i = 0; i < from->u.seq.count; ++i) {
    aobj* child = copyNode(from->u.seq.children[i]);
    if (child == nullptr) return false;
    to->u.seq.children[i] = child;
    to->u.seq.count = i + 1;
  }
  return true;
}

aobj* copyConstructed(const aobj* node) {
  aobj* copy = static_cast<aobj*>(TRCALLOC(1, sizeof(aobj)));
  if (copy == nullptr) return nullptr;
  memcpy(copy->name, node->name, sizeof copy->name);
  copy->tag = node->tag;
  copy->kind = CLASSEQ;
  copy->length = node->length;
  copy->u.seq.capacity = node->u.seq.count + 1;
  copy->u.seq.children = static_cast<aobj**>(TRCALLOC(copy->u.seq.capacity, sizeof(aobj*)));
  if (copy->u.seq.children == nullptr || !copyChildren(node, copy)) {
    ASNdel(copy);
    return nullptr;
  }
  return copy;
}

aobj* copyPrimitive(const aobj* node) {
  aobj* copy = nullptr;
  switch (node->kind) {
    case CLASBSTR:
      copy = ASNxBIT(node->tag, node->value, node->length - 1, node->u.bits.unused);
      break;
    case CLASINDIR:
      copy = ASNxIND(node->tag, node->u.indirect->file, nullptr, node->u.indirect->offset,
                     node->length, 0);
      break;
    case CLASNULL:
      copy = ASNxVAL(CLASNULL, node->tag, nullptr, 0);
      break;
    default:
      copy = ASNxVAL(node->kind, node->tag, node->value, node->length);
      break;
  }
  if (copy == nullptr) return nullptr;
  memcpy(copy->name, node->name, sizeof copy->name);
  if (node->kind == CLASVAL) copy->u.integer.cached = node->u.integer.cached;
  return copy;
}

aobj* copyNode(const aobj* node) {
  return node->kind == CLASSEQ ? copyConstructed(node) : copyPrimitive(node);
}

}  // namespace

aobj* newConstructed(uint32_t kind, uint8_t tag) {
  return newConstructedSized(kind, tag, kSeqGrowth);
}

aobj* newConstructedSized(uint32_t kind, uint8_t tag, uint32_t capacity) {
  auto* node = static_cast<aobj*>(TRCALLOC(1, sizeof(aobj)));
  if (node == nullptr) return nullptr;
  node->kind = kind;
  node->tag = tag;
  if (kind != CLASSEQ) return node;
  capacity = std::max(capacity, 1u);
  node->u.seq.children = static_cast<aobj**>(TRCALLOC(capacity, sizeof(aobj*)));
  if (node->u.seq.children == nullptr) {
    TRFREE(node);
    return nullptr;
  }
  node->u.seq.capacity = capacity;
  return node;
}

uint16_t ASNadd(aobj* sequence, aobj* child) {
  return insertChild(sequence, child,
                     sequence != nullptr && sequence->kind == CLASSEQ ? sequence->u.seq.count : 0);
}

uint16_t ASNappend(aobj* sequence, const aobj* previous, aobj* child) {
  if (sequence == nullptr) return firstOr(TRERR(304, "o (1)"), 304);
  if (sequence->kind != CLASSEQ) return firstOr(TRERR(304, "o (1) non e' una sequenza"), 304);
  if (child == nullptr) return firstOr(TRERR(304, "child (3)"), 304);
  uint32_t position = sequence->u.seq.count;
  if (previous != nullptr) {
    position = 0;
    while (position < sequence->u.seq.count && sequence->u.seq.children[position] != previous) {
      ++position;
    }
    if (position == sequence->u.seq.count) {
      return firstOr(TRERR(302, "Impossibile trovare nodo precedente %p nella sequenza indicata",
                           static_cast<const void*>(previous)),
                     302);
    }
    ++position;
  }
  return insertChild(sequence, child, position);
}

void ASNshrink(aobj* node) {
  if (node == nullptr || node->kind != CLASSEQ) return;
  const uint32_t wanted = node->u.seq.count + 1;
  if (wanted >= node->u.seq.capacity) return;
  auto* shrunk = static_cast<aobj**>(TRREALLOC(node->u.seq.children, wanted * sizeof(aobj*)));
  if (shrunk == nullptr) return;
  node->u.seq.children = shrunk;
  node->u.seq.capacity = wanted;
}

void ASNresize(aobj* node) {
  if (node == nullptr || node->kind != CLASSEQ) return;
  uint32_t length = 0;
  for (uint32_t i = 0; i < node->u.seq.count; ++i) {
    ASNresize(node->u.seq.children[i]);
    length += DERlen(node->u.seq.children[i]);
  }
  node->length = length;
}

aobj* ASNcopy(const aobj* node) {
  if (node == nullptr) {
    TRERR(304, "Oggetto ASN.1 nullo");
    return nullptr;
  }
  return copyNode(node);
}

}  // namespace sigillo
