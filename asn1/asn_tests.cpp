// Yes/no tests on one node; an absent node is always "no".
#include "asn1/asn.h"

namespace sigillo {

namespace {

bool is(const aobj* node, uint32_t kind, uint8_t tag) {
  return node != nullptr && node->kind == kind && node->tag == tag;
}

bool contextTag(const aobj* node, uint8_t base, int number) {
  if (node == nullptr || (node->tag & 0xE0) != base) return false;
  return number < 0 || (node->tag & kTagNumberMask) == number;
}

}  // namespace

bool isSet(const aobj* node) { return is(node, CLASSEQ, kTagSet); }
bool isSeq(const aobj* node) { return is(node, CLASSEQ, kTagSequence); }
bool isNULL(const aobj* node) { return is(node, CLASNULL, kTagNull); }
bool isOID(const aobj* node) { return is(node, CLASOID, kTagOid); }
bool isBitStr(const aobj* node) { return is(node, CLASBSTR, kTagBitString); }
bool isOct(const aobj* node) {
  return node != nullptr && node->tag == kTagOctetString &&
         (node->kind == CLASSTR || node->kind == CLASINDIR);
}
bool isInt(const aobj* node) { return is(node, CLASVAL, kTagInteger); }
bool isBool(const aobj* node) { return is(node, CLASBOOL, kTagBoolean); }
bool isUTC(const aobj* node) { return is(node, CLASDATE, kTagUtcTime); }
bool isGeneralized(const aobj* node) { return is(node, CLASDATE, kTagGeneralizedTime); }
bool isEnum(const aobj* node) { return is(node, CLASVAL, kTagEnumerated); }
bool isIA5(const aobj* node) { return is(node, CLASSTR, kTagIa5String); }
bool isBMP(const aobj* node) { return is(node, CLASSTR, kTagBmpString); }
bool isUTF8(const aobj* node) { return is(node, CLASSTR, kTagUtf8String); }
bool isTag(const aobj* node, uint8_t tag) { return node != nullptr && node->tag == tag; }

// A SEQUENCE of one or more INTEGERs.
bool isIntSeq(const aobj* node) {
  if (!isSeq(node) || node->u.seq.count == 0) return false;
  for (uint32_t i = 0; i < node->u.seq.count; ++i) {
    if (!isInt(node->u.seq.children[i])) return false;
  }
  return true;
}

// Context-class tags; a negative number accepts any tag number.  An explicit
// tag wraps exactly one element; a constructed implicit tag holds the
// elements of the type it replaces, any number of them.
bool isExpl(const aobj* node, int number) {
  return contextTag(node, 0xA0, number) && node->kind == CLASSEQ && node->u.seq.count == 1;
}
bool isImpl(const aobj* node, int number) { return contextTag(node, 0x80, number); }
bool isCImpl(const aobj* node, int number) {
  return contextTag(node, 0xA0, number) && node->kind == CLASSEQ;
}

// AlgorithmIdentifier: SEQUENCE { OID, parameters OPTIONAL }.
bool isAlgId(const aobj* node) {
  return isSeq(node) && (node->u.seq.count == 1 || node->u.seq.count == 2) &&
         isOID(node->u.seq.children[0]);
}

// PBEParameter: SEQUENCE { salt OCTET STRING, iterationCount INTEGER }.
bool isPBESeq(const aobj* node) {
  return isSeq(node) && node->u.seq.count == 2 && isOct(node->u.seq.children[0]) &&
         isInt(node->u.seq.children[1]);
}

// RC2-CBC parameters: SEQUENCE { version INTEGER OPTIONAL, iv OCTET STRING (8) }.
bool isRC2CBC(const aobj* node) {
  if (!isSeq(node) || node->u.seq.count == 0 || node->u.seq.count > 2) return false;
  if (node->u.seq.count == 2 && !isInt(node->u.seq.children[0])) return false;
  const aobj* iv = node->u.seq.children[node->u.seq.count - 1];
  return isOct(iv) && iv->length == 8;
}

bool isIA5Ch(int c) { return c >= 0 && c <= 0x7F; }

bool isPrintableStringCh(int c) {
  if ((c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9')) return true;
  switch (c) {
    case ' ':
    case '\'':
    case '(':
    case ')':
    case '+':
    case ',':
    case '-':
    case '.':
    case '/':
    case ':':
    case '=':
    case '?':
      return true;
    default:
      return false;
  }
}

bool isPrintableStringEx(const char* text, uint32_t length) {
  if (text == nullptr) return false;
  for (uint32_t i = 0; i < length; ++i) {
    if (!isPrintableStringCh(static_cast<unsigned char>(text[i]))) return false;
  }
  return true;
}

bool isPrintableString(const aobj* node) {
  return node != nullptr && node->kind == CLASSTR &&
         isPrintableStringEx(reinterpret_cast<const char*>(node->value), node->length);
}

}  // namespace sigillo
