// The ASN.1 object tree: every certificate, request, CRL, key and message is
// held in memory as a tree of `aobj` nodes, built, encoded, streamed,
// compared and dumped by the functions declared here.
#pragma once

#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <memory>

#include "framework/unifile.h"

namespace sigillo {

// Storage class of a node.
enum AobjKind : uint32_t {
  CLASVAL = 1,    // INTEGER / ENUMERATED octets
  CLASSTR = 2,    // octet and character strings, zero-terminated buffer
  CLASOID = 3,    // OBJECT IDENTIFIER content octets, inside the node
  CLASDATE = 4,   // UTCTime / GeneralizedTime text, inside the node
  CLASBSTR = 5,   // BIT STRING: data octets apart from the unused-bit count
  CLASSEQ = 6,    // constructed
  CLASNULL = 7,   // NULL
  CLASBOOL = 8,   // BOOLEAN, inside the node
  CLASINDIR = 9,  // value kept in a file
};
const char* aobjKindName(uint32_t kind);

// Universal tags and identifier bits.
enum : uint8_t {
  kTagBoolean = 1,
  kTagInteger = 2,
  kTagBitString = 3,
  kTagOctetString = 4,
  kTagNull = 5,
  kTagOid = 6,
  kTagEnumerated = 10,
  kTagUtf8String = 12,
  kTagPrintableString = 19,
  kTagIa5String = 22,
  kTagUtcTime = 23,
  kTagGeneralizedTime = 24,
  kTagBmpString = 30,
  kTagSequence = 0x30,
  kTagSet = 0x31,
  kClassMask = 0xC0,
  kClassContext = 0x80,
  kConstructed = 0x20,
  kTagNumberMask = 0x1F,
};

constexpr size_t kAobjNameSize = 32;
constexpr uint32_t kSeqGrowth = 32;
constexpr uint32_t kOidMaxInline = 15;
constexpr uint32_t kDateMaxText = 24;
constexpr size_t kIndirNameSize = 256;

struct aobj;

struct AobjIndirect {
  char file[kIndirNameSize];
  uint32_t offset;
  uint32_t openFlags;
  uint8_t deleteWithNode;
};

struct aobj {
  char name[kAobjNameSize];
  uint8_t used;  // further holders besides the first owner
  uint8_t tag;   // the complete identifier octet
  uint32_t kind;
  uint32_t length;  // content octets; for CLASSEQ the children's full encodings
  uint8_t* value;   // content octets of kinds 1, 2, 3, 4, 5 (data only), 8
  union {
    struct {
      uint8_t* text;  // the same buffer as value, one byte longer, zero-terminated
    } str;
    struct {
      int32_t cached;  // valid when the content has one to four octets
    } integer;
    struct {
      int32_t number;  // registry number, -1 when not registered
      uint8_t content[kOidMaxInline];
    } oid;
    struct {
      char text[kDateMaxText + 1];
    } date;
    struct {
      uint8_t unused;
    } bits;
    struct {
      uint8_t octet;
    } boolean;
    struct {
      uint32_t capacity;
      uint32_t count;
      aobj** children;  // `count` nodes then a null entry
    } seq;
    AobjIndirect* indirect;
  } u;
};

struct AobjDeleter {
  void operator()(aobj* node) const;
};
using AobjPtr = std::unique_ptr<aobj, AobjDeleter>;

// ---- Construction: each returns a new node owned by the caller, or null. --
aobj* ASNxSTR(uint8_t tag, const uint8_t* bytes, uint32_t length);
aobj* ASNxBIT(uint8_t tag, const uint8_t* bytes, uint32_t length, uint8_t unused);
aobj* ASNxBOOL(int value);
aobj* ASNNULL();
aobj* ASNuINT(uint8_t tag, const uint8_t* bytes, uint32_t length);
aobj* ASNxOID(uint8_t tag, const uint8_t* content, uint32_t length);
aobj* oid2obj(int number);
aobj* ASNxDATE(uint8_t tag, const char* text, uint32_t length);
// The tag a time text calls for: kTagGeneralizedTime for 14 characters
// before the zone mark, kTagUtcTime for 12, 0 for any other text.  The mark is
// the first of "Z", "+", "-"; "Z" must end the text and a sign must be
// followed by exactly four characters.
uint8_t date_tag(const char* text, uint32_t length);
// `file` open: the offset is its current position and `offset` is ignored.
aobj* ASNxIND(uint8_t tag, const char* fileName, FHandle* file, uint32_t offset, uint32_t length,
              int deleteWithNode);
// A primitive node of kind 1, 2, 3, 4, 5, 7 or 8 from its content octets as
// they are encoded (for a bit string the first octet is the unused-bit count).
aobj* ASNxVAL(uint32_t kind, uint8_t tag, const uint8_t* bytes, uint32_t length);

// Item and prefix codes of ASNxSEQ.  The list ends with 0.
enum AsnSeqItem : int {
  kSeqEnd = 0,
  kSeqBool = 1,          // int
  kSeqIa5 = 2,           // const char*
  kSeqShared = 3,        // aobj*, stays the caller's too
  kSeqOid = 5,           // int registry number
  kSeqUint = 6,          // uint32_t
  kSeqNode = 7,          // aobj*, handed over
  kSeqPrintable = 8,     // const char*
  kSeqUtc = 9,           // const char*
  kSeqSetTag = 10,       // prefix, int identifier octet
  kSeqName = 13,         // prefix, const char*
  kSeqCall = 14,         // aobj* from a nested constructor, handed over
  kSeqImplicit = 15,     // prefix, int tag number
  kSeqExplicit = 16,     // prefix, int tag number
  kSeqTime = 17,         // const char*, UTCTime or GeneralizedTime from the text
  kSeqSkipNumber = 18,   // prefix-like, int, adds nothing
  kSeqSkipPointer = 19,  // prefix-like, const void*, adds nothing
  kSeqUtf8 = 20,         // const char*
  kSeqAbsent = 21,       // aobj* that must be null
};
// An empty constructed node (of kind CLASSEQ with its child array of 32).
aobj* newConstructed(uint32_t kind, uint8_t tag);
// The same with a child array of `capacity` entries, for readers that make
// millions of small constructed nodes.
aobj* newConstructedSized(uint32_t kind, uint8_t tag, uint32_t capacity);
aobj* ASNxSEQ(uint32_t kind, uint32_t tag, ...);
aobj* ASNvxSEQ(uint32_t kind, uint32_t tag, va_list items);
aobj* ASNxSEQold(uint32_t kind, uint32_t tag, ...);

uint16_t ASNappend(aobj* sequence, const aobj* previous, aobj* child);
uint16_t ASNadd(aobj* sequence, aobj* child);
aobj* ASNdevelop(const aobj* node);
aobj* ASNcopy(const aobj* node);
int ASNdel(aobj* node);
// Gives the capacity of a constructed node's child array back to its count.
void ASNshrink(aobj* node);

void ASNsetname(aobj* node, const char* text);
void ASNvsetname(aobj* node, const char* format, ...) __attribute__((format(printf, 2, 3)));
void ASNclrname(aobj* node);
void ASNclrnames(aobj* tree);

// ---- Navigation: results point into the tree. ------------------------------
aobj* getaobj(const aobj* node, const uint8_t* indices, int depth);
aobj* ASNgetChild(const aobj* node, uint32_t index);
aobj** aobj_children(const aobj* node);
uint32_t aobj_childrenCount(const aobj* node);
// The node at position `index` of the tree in document order (0 = the root).
aobj* ASNgetN(const aobj* tree, uint32_t index);
// Nodes of the tree, the root included.
uint32_t getAobjCount(const aobj* tree);
// Levels of the tree: 1 for a single node.
uint32_t getAobjDepth(const aobj* tree);
aobj* ASNget(const aobj* tree, const char* name);
aobj* ASNgetIndirect(aobj* tree, const char* name, aobj*** slot);
aobj* devExpl(const aobj* node);
aobj* ASNgetbyOID(const aobj* node, int number);

// ---- Tests: absent node = no. ----------------------------------------------
bool isSet(const aobj* node);
bool isSeq(const aobj* node);
bool isIntSeq(const aobj* node);
bool isNULL(const aobj* node);
bool isOID(const aobj* node);
bool isBitStr(const aobj* node);
bool isOct(const aobj* node);
bool isInt(const aobj* node);
bool isBool(const aobj* node);
bool isUTC(const aobj* node);
bool isGeneralized(const aobj* node);
bool isEnum(const aobj* node);
bool isIA5(const aobj* node);
bool isBMP(const aobj* node);
bool isUTF8(const aobj* node);
bool isTag(const aobj* node, uint8_t tag);
bool isExpl(const aobj* node, int number);
bool isImpl(const aobj* node, int number);
bool isCImpl(const aobj* node, int number);
bool isAlgId(const aobj* node);
bool isPBESeq(const aobj* node);
bool isRC2CBC(const aobj* node);
bool isIA5Ch(int c);
bool isPrintableStringCh(int c);
bool isPrintableString(const aobj* node);
bool isPrintableStringEx(const char* text, uint32_t length);

// ---- Encoding. -------------------------------------------------------------
uint32_t DERlen(const aobj* node);
uint8_t* der_make(uint8_t* buffer, const aobj* node);
// A new buffer of DERlen bytes (release with TRFREE).
uint8_t* DERmake(const aobj* node, uint32_t* size);
uint32_t DERwrite(const aobj* node, uint8_t* buffer);
aobj* aobj2derOCT(const aobj* node);
uint16_t der_fmake(FHandle* file, const aobj* node);
int DERfMake(aobj* node, FHandle* file, uint32_t* size);
uint16_t der_fsave(const char* path, uint32_t flags, const aobj* node);
uint16_t DERfSave(const char* path, const aobj* node);
uint16_t DERfSaveData(const char* path, const aobj* node);
void ASNresize(aobj* node);
uint32_t sizeBERIndefiniteBlock(const aobj* node);
uint16_t reduceBERIndefiniteBlock(aobj** slot);

// ---- Read cursor. -----------------------------------------------------------
struct track;
track* new_track(const aobj* node, int wrap);
uint32_t retrieve(track* cursor, uint8_t* buffer, uint32_t n);
int trk_eof(const track* cursor);
void free_track(track* cursor);

// ---- Comparison. ------------------------------------------------------------
int ASNisEqual(const aobj* a, const aobj* b);
// The content octets of two nodes (their values, without identifier and
// length) in octet order: -1, 0 or 1; a shorter value that begins the other
// is the smaller, an absent node the smallest.  A value that cannot be read
// leaves its error on the stack and compares as far as it was read.
int ASNoctcmp(const aobj* a, const aobj* b);

}  // namespace sigillo
