// Every digest written here gives the same result however its input is cut
// into update() calls, including empty calls and pieces that straddle the
// block, word and MAA segment boundaries.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "digest_test_util.h"
#include "primitives/blockhash.h"
#include "primitives/crc.h"
#include "primitives/isomac.h"
#include "primitives/maa.h"
#include "primitives/md2.h"
#include "primitives/md4.h"

namespace sigillo {
namespace {

using test_support::Bytes;
using test_support::digestHex;
using test_support::toHex;

const uint8_t kKey1[8] = {0x01, 0x23, 0x45, 0x67, 0x89, 0xAB, 0xCD, 0xEF};
const uint8_t kKey2[8] = {0xFE, 0xDC, 0xBA, 0x98, 0x76, 0x54, 0x32, 0x10};

struct NamedFactory {
  std::string name;
  std::function<std::unique_ptr<Digest>()> make;
};

std::vector<NamedFactory> allDigests() {
  return {
      {"md2", newMd2},
      {"md4", newMd4},
      {"crc16", newCrc16},
      {"fcs16", newFcs16},
      {"fcs32", newFcs32},
      {"maa", [] { return newMaa(kKey1, kKey1 + 4); }},
      {"isomac1", [] { return newIsoMac1(kKey1); }},
      {"isomac2", [] { return newIsoMac2(kKey1, kKey2); }},
      {"isomac3", [] { return newIsoMac3(kKey1, kKey2); }},
      {"hf1", [] { return newHf1(kKey1); }},
      {"hf2", [] { return newHf2(kKey1, kKey2); }},
  };
}

std::string digestInPieces(Digest& digest, const Bytes& data, const std::vector<size_t>& pieces) {
  size_t offset = 0;
  for (size_t i = 0; offset < data.size(); ++i) {
    const size_t length = std::min(pieces[i % pieces.size()], data.size() - offset);
    digest.update(data.data() + offset, length);
    digest.update(data.data() + offset + length, 0);
    offset += length;
  }
  Bytes out(digest.size());
  digest.finish(out.data());
  return toHex(out);
}

TEST(DigestStreamingTest, PiecesOfAnySizeGiveTheOneShotResult) {
  // 2 * 1024 + 11 bytes: three MAA segments and a partial last word or block.
  Bytes data(2059);
  for (size_t i = 0; i < data.size(); ++i) data[i] = static_cast<uint8_t>(i * 131 + 7);
  const std::vector<std::vector<size_t>> splits = {{1},  {7},    {63},   {64},
                                                   {65}, {1023}, {1025}, {3, 16, 1, 8, 200, 4, 5}};
  for (const NamedFactory& factory : allDigests()) {
    SCOPED_TRACE(factory.name);
    const std::string oneShot = digestHex(*factory.make(), data);
    for (const std::vector<size_t>& pieces : splits) {
      SCOPED_TRACE(pieces.front());
      EXPECT_EQ(digestInPieces(*factory.make(), data, pieces), oneShot);
    }
  }
}

TEST(DigestStreamingTest, EmptyUpdatesLeaveTheEmptyResult) {
  for (const NamedFactory& factory : allDigests()) {
    SCOPED_TRACE(factory.name);
    auto digest = factory.make();
    digest->update(nullptr, 0);
    Bytes out(digest->size());
    digest->finish(out.data());
    EXPECT_EQ(toHex(out), digestHex(*factory.make(), {}));
  }
}

}  // namespace
}  // namespace sigillo
