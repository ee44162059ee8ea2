// Shared nodes, the earlier form of the sequence builder, and the octet
// order of values.
#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "tests/asn1/asn_test_util.h"

namespace sigillo {
namespace {

TEST(AsnShare, The256thFurtherHolderIsRefused) {
  AobjPtr node(ASNxBOOL(1));
  std::vector<AobjPtr> holders;
  for (int i = 0; i < 255; ++i) {
    holders.emplace_back(ASNxSEQ(CLASSEQ, kTagSequence, kSeqShared, node.get(), kSeqEnd));
    ASSERT_NE(holders.back(), nullptr) << i;
  }
  TRclearerrstack(nullptr);
  EXPECT_EQ(ASNxSEQ(CLASSEQ, kTagSequence, kSeqShared, node.get(), kSeqEnd), nullptr);
  const auto stack = test::errorStack();
  ASSERT_FALSE(stack.empty());
  EXPECT_EQ(stack.front().code, 23u);
  EXPECT_EQ(stack.front().message, "Nodo gia' condiviso da 255 alberi oltre al proprietario");
  // Every holder and the owner release it once; the sanitizer sees any double free.
  holders.clear();
  EXPECT_EQ(node->used, 0u);
}

AobjPtr text(uint8_t tag, const char* value) {
  return AobjPtr(
      ASNxSTR(tag, reinterpret_cast<const uint8_t*>(value), static_cast<uint32_t>(strlen(value))));
}

TEST(AsnCompare, ValuesInOctetOrder) {
  const AobjPtr ab = text(kTagOctetString, "ab"), abc = text(kTagOctetString, "abc");
  const AobjPtr abd = text(kTagOctetString, "abd"), ia5 = text(kTagIa5String, "abc");
  const AobjPtr yes(ASNxSEQ(CLASSEQ, kTagSequence, kSeqBool, 1, kSeqEnd));
  const AobjPtr no(ASNxSEQ(CLASSEQ, kTagSequence, kSeqBool, 0, kSeqEnd));
  const struct {
    const aobj* a;
    const aobj* b;
    int order;
  } rows[] = {{ab.get(), abc.get(), -1}, {abc.get(), ab.get(), 1}, {abd.get(), abc.get(), 1},
              {abc.get(), ia5.get(), 0}, {yes.get(), no.get(), 1}, {nullptr, ab.get(), -1},
              {ab.get(), nullptr, 1},    {nullptr, nullptr, 0}};
  for (const auto& row : rows) EXPECT_EQ(ASNoctcmp(row.a, row.b), row.order) << &row - rows;
}

TEST(AsnSeqOld, BuildsWhatTheBuilderBuildsAndFailsAlike) {
  const AobjPtr old(ASNxSEQold(CLASSEQ, kTagSequence, kSeqBool, 1, kSeqIa5, "x", kSeqEnd));
  const AobjPtr now(ASNxSEQ(CLASSEQ, kTagSequence, kSeqBool, 1, kSeqIa5, "x", kSeqEnd));
  ASSERT_NE(old, nullptr);
  EXPECT_EQ(ASNisEqual(old.get(), now.get()), 1);
  TRclearerrstack(nullptr);
  EXPECT_EQ(ASNxSEQold(CLASSEQ, kTagSequence, kSeqBool, 1, 99, kSeqEnd), nullptr);
  EXPECT_EQ(test::errorStack().front().message, "Tipo oggetto ASN.1 (99) non risconosciuto");
}

}  // namespace
}  // namespace sigillo
