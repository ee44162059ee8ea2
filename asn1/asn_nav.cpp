// Navigation in the ASN.1 tree: children, searches by name and by OID,
// counts.  Nothing is copied; results point into the tree.
#include <cstring>

#include "asn1/asn.h"

namespace sigillo {

namespace {

bool constructed(const aobj* node) { return node != nullptr && node->kind == CLASSEQ; }

bool bearsName(const aobj* node, const char* name) {
  return node != nullptr && strncmp(node->name, name, kAobjNameSize) == 0;
}

// The search of ASNget below the root: direct children first, then into
// each constructed child in document order.
aobj* findBelow(aobj* node, const char* name, aobj*** slot) {
  aobj** children = node->u.seq.children;
  for (uint32_t i = 0; i < node->u.seq.count; ++i) {
    if (bearsName(children[i], name)) {
      if (slot != nullptr) *slot = &children[i];
      return children[i];
    }
  }
  for (uint32_t i = 0; i < node->u.seq.count; ++i) {
    if (!constructed(children[i])) continue;
    aobj* found = findBelow(children[i], name, slot);
    if (found != nullptr) return found;
  }
  return nullptr;
}

aobj* nthNode(const aobj* node, uint32_t& remaining) {
  if (remaining == 0) return const_cast<aobj*>(node);
  --remaining;
  if (!constructed(node)) return nullptr;
  for (uint32_t i = 0; i < node->u.seq.count; ++i) {
    aobj* found = nthNode(node->u.seq.children[i], remaining);
    if (found != nullptr) return found;
  }
  return nullptr;
}

}  // namespace

aobj* getaobj(const aobj* node, const uint8_t* indices, int depth) {
  if (node == nullptr || (depth > 0 && indices == nullptr)) return nullptr;
  for (int level = 0; level < depth; ++level) {
    node = ASNgetChild(node, indices[level]);
    if (node == nullptr) return nullptr;
  }
  return const_cast<aobj*>(node);
}

aobj* ASNgetChild(const aobj* node, uint32_t index) {
  if (!constructed(node) || index >= node->u.seq.count) return nullptr;
  return node->u.seq.children[index];
}

aobj** aobj_children(const aobj* node) {
  return constructed(node) ? node->u.seq.children : nullptr;
}

uint32_t aobj_childrenCount(const aobj* node) { return constructed(node) ? node->u.seq.count : 0; }

aobj* ASNgetN(const aobj* tree, uint32_t index) {
  if (tree == nullptr) return nullptr;
  return nthNode(tree, index);
}

uint32_t getAobjCount(const aobj* tree) {
  if (tree == nullptr) return 0;
  uint32_t count = 1;
  for (uint32_t i = 0; i < aobj_childrenCount(tree); ++i) {
    count += getAobjCount(tree->u.seq.children[i]);
  }
  return count;
}

uint32_t getAobjDepth(const aobj* tree) {
  if (tree == nullptr) return 0;
  uint32_t deepest = 0;
  for (uint32_t i = 0; i < aobj_childrenCount(tree); ++i) {
    uint32_t depth = getAobjDepth(tree->u.seq.children[i]);
    if (depth > deepest) deepest = depth;
  }
  return deepest + 1;
}

aobj* ASNget(const aobj* tree, const char* name) {
  if (tree == nullptr || name == nullptr) return nullptr;
  if (bearsName(tree, name)) return const_cast<aobj*>(tree);
  return constructed(tree) ? findBelow(const_cast<aobj*>(tree), name, nullptr) : nullptr;
}

aobj* ASNgetIndirect(aobj* tree, const char* name, aobj*** slot) {
  if (slot != nullptr) *slot = nullptr;
  if (tree == nullptr || name == nullptr) return nullptr;
  if (bearsName(tree, name)) return tree;
  return constructed(tree) ? findBelow(tree, name, slot) : nullptr;
}

aobj* devExpl(const aobj* node) {
  if (node == nullptr || (node->tag & 0xE0) != 0xA0) return nullptr;
  return ASNgetChild(node, 0);
}

aobj* ASNgetbyOID(const aobj* node, int number) {
  if (node == nullptr) return nullptr;
  if (node->kind == CLASOID)
    return node->u.oid.number == number ? const_cast<aobj*>(node) : nullptr;
  for (uint32_t i = 0; i < aobj_childrenCount(node); ++i) {
    aobj* found = ASNgetbyOID(node->u.seq.children[i], number);
    if (found != nullptr) return found;
  }
  return nullptr;
}

}  // namespace sigillo
