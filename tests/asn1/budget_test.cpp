// The parser's memory budget: 64 bytes of tree per input octet plus 65,536,
// whatever the way in (buffer, file from an offset, PEM, a developed node).
#include <gtest/gtest.h>

#include <string>

#include "asn1/derload.h"
#include "asn1/pem.h"
#include "tests/asn1/asn_test_util.h"

namespace sigillo {
namespace {

using test::Bytes;
using test::stackLines;
using test::TempDir;

// A definite-length header with a two- or four-octet length.
Bytes header(uint8_t tag, size_t length) {
  if (length <= 0xFFFF) {
    return {tag, 0x82, static_cast<uint8_t>(length >> 8), static_cast<uint8_t>(length)};
  }
  return {tag,
          0x84,
          static_cast<uint8_t>(length >> 24),
          static_cast<uint8_t>(length >> 16),
          static_cast<uint8_t>(length >> 8),
          static_cast<uint8_t>(length)};
}

Bytes sequenceOf(const Bytes& body) {
  Bytes out = header(0x30, body.size());
  out.insert(out.end(), body.begin(), body.end());
  return out;
}

// The shape of a CRL's revoked list: SEQUENCE OF SEQUENCE { INTEGER, UTCTime }.
Bytes revokedList(size_t count) {
  Bytes body;
  body.reserve(count * 22);
  const std::string time = "260101120000Z";
  for (size_t i = 0; i < count; ++i) {
    const Bytes entry = {0x30,
                         0x14,
                         0x02,
                         0x03,
                         static_cast<uint8_t>(i >> 16),
                         static_cast<uint8_t>(i >> 8),
                         static_cast<uint8_t>(i),
                         0x17,
                         0x0D};
    body.insert(body.end(), entry.begin(), entry.end());
    body.insert(body.end(), time.begin(), time.end());
  }
  return sequenceOf(body);
}

// A SEQUENCE of `count` empty SEQUENCEs: 176 bytes charged per 2 octets.
Bytes emptySequences(size_t count) {
  Bytes body;
  for (size_t i = 0; i < count; ++i) body.insert(body.end(), {0x30, 0x00});
  return sequenceOf(body);
}

TEST(DerBudget, RevokedListOf300000EntriesParses) {
  const Bytes input = revokedList(300000);
  TempDir dir;
  test::writeBytes(dir.file("crl.der"), input);
  AobjPtr fromMemory(DERparse_(input.data(), input.size(), kDerStrict));
  AobjPtr fromFile(DERfParse_(dir.file("crl.der").c_str(), 0, kDerStrict));
  for (const aobj* tree : {fromMemory.get(), fromFile.get()}) {
    ASSERT_NE(tree, nullptr);
    ASSERT_EQ(tree->u.seq.count, 300000u);
    EXPECT_EQ(test::describe(tree->u.seq.children[299999]),
              "SEQ30:20{INT02:3=0493DF,DATE17:13=3236303130313132303030305A}");
  }
}

// The refusal of the 1,368 empty SEQUENCEs: 64 * 2,740 input octets + 65,536.
std::string refusal(const char* function) {
  return std::string("derpar:") + function +
         ":29:Superato il limite di memoria del parsing ASN.1 (240896 byte: 64 per byte di input "
         "piu' 65536)";
}

// 176 * (count + 1) <= 64 * (4 + 2 * count) + 65536 holds up to 1367 children.
TEST(DerBudget, EmptySequencesUpToTheBudget) {
  struct Case {
    size_t count;
    bool parses;
  };
  for (const Case& c : {Case{1367, true}, Case{1368, false}}) {
    SCOPED_TRACE(c.count);
    const Bytes input = emptySequences(c.count);
    DERPARSER context;
    DERPARSER_init(&context);
    AobjPtr tree(DERPARSER_mparse(&context, input.data(), input.size()));
    EXPECT_EQ(tree != nullptr, c.parses);
    if (!c.parses) {
      EXPECT_EQ(context.error.code, 29);
      ASSERT_EQ(context.error.pathLength, 2);
      EXPECT_EQ(context.error.path[1], 1367);
      EXPECT_EQ(stackLines().front(), refusal("DERPARSER_mparse_node"));
    }
    DERPARSER_clean(&context);
  }
}

TEST(DerBudget, EveryWayInIsBounded) {
  const size_t count = 1368;
  const Bytes input = emptySequences(count);
  const std::string inMemory = refusal("DERPARSER_mparse_node");
  TempDir dir;

  // A file from an offset: the octets before it do not count.
  Bytes shifted = {0xDE, 0xAD, 0xBE};
  shifted.insert(shifted.end(), input.begin(), input.end());
  test::writeBytes(dir.file("shifted.der"), shifted);
  EXPECT_EQ(DERfParse(dir.file("shifted.der").c_str(), 3), nullptr);
  EXPECT_EQ(stackLines().front(), refusal("DERPARSER_fparse_node"));
  test::writeBytes(dir.file("fits.der"), emptySequences(count - 1));
  EXPECT_NE(AobjPtr(DERfLoad(dir.file("fits.der").c_str())), nullptr);

  // PEM: the decoded DER is the input.
  std::string pem;
  ASSERT_EQ(pemEncode("DATI", input.data(), input.size(), &pem), 0);
  test::writeFile(dir.file("input.pem"), pem);
  DERPARSER context;
  DERPARSER_init(&context);
  EXPECT_EQ(DERfLoadAny(&context, dir.file("input.pem").c_str()), nullptr);
  EXPECT_EQ(context.error.code, 29);
  EXPECT_EQ(stackLines().front(), inMemory);
  DERPARSER_clean(&context);

  // A developed node: its value is the input.
  AobjPtr wrapper(ASNxSTR(kTagOctetString, input.data(), static_cast<uint32_t>(input.size())));
  ASSERT_NE(wrapper, nullptr);
  EXPECT_EQ(ASNdevelop(wrapper.get()), nullptr);
  EXPECT_EQ(stackLines().front(), inMemory);
}

}  // namespace
}  // namespace sigillo
