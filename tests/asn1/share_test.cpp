// A node shared by sequence builders: its holder count must not wrap.
#include <gtest/gtest.h>

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

}  // namespace
}  // namespace sigillo
