// DES against the known-answer tables of NIST SP 800-17 (variable plaintext,
// variable key, permutation operation, substitution table), the FIPS 81 ECB
// example, and OpenSSL's DES on pseudo-random keys and blocks.
#include "primitives/des.h"

#include <gtest/gtest.h>

#include <random>
#include <string>

#include "digest_test_util.h"
#include "openssl_legacy_reference.h"

namespace sigillo {
namespace {

using test_support::Bytes;
using test_support::fromHex;
using test_support::toHex;

Bytes encrypt(const Bytes& key, const Bytes& block) {
  Des des;
  des.setKey(key.data());
  Bytes out(Des::kBlockSize);
  des.encryptBlock(block.data(), out.data());
  return out;
}

Bytes decrypt(const Bytes& key, const Bytes& block) {
  Des des;
  des.setKey(key.data());
  Bytes out(Des::kBlockSize);
  des.decryptBlock(block.data(), out.data());
  return out;
}

struct KnownAnswer {
  std::string key;
  std::string plaintext;
  std::string ciphertext;
};

void expectKnownAnswer(const KnownAnswer& answer) {
  const Bytes key = fromHex(answer.key);
  EXPECT_EQ(toHex(encrypt(key, fromHex(answer.plaintext))), answer.ciphertext);
  EXPECT_EQ(toHex(decrypt(key, fromHex(answer.ciphertext))), answer.plaintext);
}

std::string hex64(uint64_t value) {
  Bytes bytes(8);
  for (int i = 0; i < 8; ++i) bytes[i] = static_cast<uint8_t>(value >> (56 - 8 * i));
  return toHex(bytes);
}

// SP 800-17 Table 1: key 0101010101010101, plaintext bit i (from the left) set.
constexpr const char* kVariablePlaintext[64] = {
    "95F8A5E5DD31D900", "DD7F121CA5015619", "2E8653104F3834EA", "4BD388FF6CD81D4F",
    "20B9E767B2FB1456", "55579380D77138EF", "6CC5DEFAAF04512F", "0D9F279BA5D87260",
    "D9031B0271BD5A0A", "424250B37C3DD951", "B8061B7ECD9A21E5", "F15D0F286B65BD28",
    "ADD0CC8D6E5DEBA1", "E6D5F82752AD63D1", "ECBFE3BD3F591A5E", "F356834379D165CD",
    "2B9F982F20037FA9", "889DE068A16F0BE6", "E19E275D846A1298", "329A8ED523D71AEC",
    "E7FCE22557D23C97", "12A9F5817FF2D65D", "A484C3AD38DC9C19", "FBE00A8A1EF8AD72",
    "750D079407521363", "64FEED9C724C2FAF", "F02B263B328E2B60", "9D64555A9A10B852",
    "D106FF0BED5255D7", "E1652C6B138C64A5", "E428581186EC8F46", "AEB5F5EDE22D1A36",
    "E943D7568AEC0C5C", "DF98C8276F54B04B", "B160E4680F6C696F", "FA0752B07D9C4AB8",
    "CA3A2B036DBC8502", "5E0905517BB59BCF", "814EEB3B91D90726", "4D49DB1532919C9F",
    "25EB5FC3F8CF0621", "AB6A20C0620D1C6F", "79E90DBC98F92CCA", "866ECEDD8072BB0E",
    "8B54536F2F3E64A8", "EA51D3975595B86B", "CAFFC6AC4542DE31", "8DD45A2DDF90796C",
    "1029D55E880EC2D0", "5D86CB23639DBEA9", "1D1CA853AE7C0C5F", "CE332329248F3228",
    "8405D1ABE24FB942", "E643D78090CA4207", "48221B9937748A23", "DD7C0BBD61FAFD54",
    "2FBC291A570DB5C4", "E07C30D7E4E26E12", "0953E2258E8E90A1", "5B711BC4CEEBF2EE",
    "CC083F1E6D9E85F6", "D2FD8867D50D2DFE", "06E7EA22CE92708F", "166B40B44ABA4BD6"};

TEST(DesTest, VariablePlaintextTable) {
  for (int bit = 0; bit < 64; ++bit) {
    SCOPED_TRACE(bit);
    expectKnownAnswer(
        {"0101010101010101", hex64(uint64_t{1} << (63 - bit)), kVariablePlaintext[bit]});
  }
}

// SP 800-17 Table 2: plaintext zero, key bit i of the 56 key bits set (the
// other bytes are 01, so that every byte but that one has odd parity).
constexpr const char* kVariableKey[56] = {
    "95A8D72813DAA94D", "0EEC1487DD8C26D5", "7AD16FFB79C45926", "D3746294CA6A6CF3",
    "809F5F873C1FD761", "C02FAFFEC989D1FC", "4615AA1D33E72F10", "2055123350C00858",
    "DF3B99D6577397C8", "31FE17369B5288C9", "DFDD3CC64DAE1642", "178C83CE2B399D94",
    "50F636324A9B7F80", "A8468EE3BC18F06D", "A2DC9E92FD3CDE92", "CAC09F797D031287",
    "90BA680B22AEB525", "CE7A24F350E280B6", "882BFF0AA01A0B87", "25610288924511C2",
    "C71516C29C75D170", "5199C29A52C9F059", "C22F0A294A71F29F", "EE371483714C02EA",
    "A81FBD448F9E522F", "4F644C92E192DFED", "1AFA9A66A6DF92AE", "B3C1CC715CB879D8",
    "19D032E64AB0BD8B", "3CFAA7A7DC8720DC", "B7265F7F447AC6F3", "9DB73B3C0D163F54",
    "8181B65BABF4A975", "93C9B64042EAA240", "5570530829705592", "8638809E878787A0",
    "41B9A79AF79AC208", "7A9BE42F2009A892", "29038D56BA6D2745", "5495C6ABF1E5DF51",
    "AE13DBD561488933", "024D1FFA8904E389", "D1399712F99BF02E", "14C1D7C1CFFEC79E",
    "1DE5279DAE3BED6F", "E941A33F85501303", "DA99DBBC9A03F379", "B7FC92F91D8E92E9",
    "AE8E5CAA3CA04E85", "9CC62DF43B6EED74", "D863DBB5C59A91A0", "A1AB2190545B91D7",
    "0875041E64C570F7", "5A594528BEBEF1CC", "FCDB3291DE21F0C0", "869EFD7F9F265A09"};

TEST(DesTest, VariableKeyTable) {
  for (int bit = 0; bit < 56; ++bit) {
    SCOPED_TRACE(bit);
    Bytes key(8, 0x01);
    key[bit / 7] = static_cast<uint8_t>(0x80 >> (bit % 7));
    expectKnownAnswer({toHex(key), "0000000000000000", kVariableKey[bit]});
  }
}

// SP 800-17 Table 3: plaintext zero.
TEST(DesTest, PermutationOperationTable) {
  const KnownAnswer answers[] = {
      {"1046913489980131", "0000000000000000", "88D55E54F54C97B4"},
      {"1007103489988020", "0000000000000000", "0C0CC00C83EA48FD"},
      {"10071034C8980120", "0000000000000000", "83BC8EF3A6570183"},
      {"1046103489988020", "0000000000000000", "DF725DCAD94EA2E9"},
      {"1086911519190101", "0000000000000000", "E652B53B550BE8B0"},
      {"1086911519580101", "0000000000000000", "AF527120C485CBB0"},
      {"5107B01519580101", "0000000000000000", "0F04CE393DB926D5"},
      {"1007B01519190101", "0000000000000000", "C9F00FFC74079067"},
      {"3107915498080101", "0000000000000000", "7CFD82A593252B4E"},
      {"3107919498080101", "0000000000000000", "CB49A2F9E91363E3"},
      {"10079115B9080140", "0000000000000000", "00B588BE70D23F56"},
      {"3107911598080140", "0000000000000000", "406A9A6AB43399AE"},
      {"1007D01589980101", "0000000000000000", "6CB773611DCA9ADA"},
      {"9107911589980101", "0000000000000000", "67FD21C17DBB5D70"},
      {"9107D01589190101", "0000000000000000", "9592CB4110430787"},
      {"1007D01598980120", "0000000000000000", "A6B7FF68A318DDD3"},
      {"1007940498190101", "0000000000000000", "4D102196C914CA16"},
      {"0107910491190401", "0000000000000000", "2DFA9F4573594965"},
      {"0107910491190101", "0000000000000000", "B46604816C0E0774"},
      {"0107940491190401", "0000000000000000", "6E7E6221A4F34E87"},
      {"19079210981A0101", "0000000000000000", "AA85E74643233199"},
      {"1007911998190801", "0000000000000000", "2E5A19DB4D1962D6"},
      {"10079119981A0801", "0000000000000000", "23A866A809D30894"},
      {"1007921098190101", "0000000000000000", "D812D961F017D320"},
      {"100791159819010B", "0000000000000000", "055605816E58608F"},
      {"1004801598190101", "0000000000000000", "ABD88E8B1B7716F1"},
      {"1004801598190102", "0000000000000000", "537AC95BE69DA1E1"},
      {"1004801598190108", "0000000000000000", "AED0F6AE3C25CDD8"},
      {"1002911598100104", "0000000000000000", "B3E35A5EE53E7B8D"},
      {"1002911598190104", "0000000000000000", "61C79C71921A2EF8"},
      {"1002911598100201", "0000000000000000", "E2F5728F0995013C"},
      {"1002911698100101", "0000000000000000", "1AEAC39A61F0A464"},
  };
  for (const KnownAnswer& answer : answers) {
    SCOPED_TRACE(answer.key);
    expectKnownAnswer(answer);
  }
}

// SP 800-17 Table 4.
TEST(DesTest, SubstitutionTableTest) {
  const KnownAnswer answers[] = {
      {"7CA110454A1A6E57", "01A1D6D039776742", "690F5B0D9A26939B"},
      {"0131D9619DC1376E", "5CD54CA83DEF57DA", "7A389D10354BD271"},
      {"07A1133E4A0B2686", "0248D43806F67172", "868EBB51CAB4599A"},
      {"3849674C2602319E", "51454B582DDF440A", "7178876E01F19B2A"},
      {"04B915BA43FEB5B6", "42FD443059577FA2", "AF37FB421F8C4095"},
      {"0113B970FD34F2CE", "059B5E0851CF143A", "86A560F10EC6D85B"},
      {"0170F175468FB5E6", "0756D8E0774761D2", "0CD3DA020021DC09"},
      {"43297FAD38E373FE", "762514B829BF486A", "EA676B2CB7DB2B7A"},
      {"07A7137045DA2A16", "3BDD119049372802", "DFD64A815CAF1A0F"},
      {"04689104C2FD3B2F", "26955F6835AF609A", "5C513C9C4886C088"},
      {"37D06BB516CB7546", "164D5E404F275232", "0A2AEEAE3FF4AB77"},
      {"1F08260D1AC2465E", "6B056E18759F5CCA", "EF1BF03E5DFA575A"},
      {"584023641ABA6176", "004BD6EF09176062", "88BF0DB6D70DEE56"},
      {"025816164629B007", "480D39006EE762F2", "A1F9915541020B56"},
      {"49793EBC79B3258F", "437540C8698F3CFA", "6FBF1CAFCFFD0556"},
      {"4FB05E1515AB73A7", "072D43A077075292", "2F22E49BAB7CA1AC"},
      {"49E95D6D4CA229BF", "02FE55778117F12A", "5A6B612CC26CCE4A"},
      {"018310DC409B26D6", "1D9D5C5018F728C2", "5F4C038ED12B2E41"},
      {"1C587F1C13924FEF", "305532286D6F295A", "63FAC0D034D9F793"},
  };
  for (const KnownAnswer& answer : answers) {
    SCOPED_TRACE(answer.key);
    expectKnownAnswer(answer);
  }
}

// FIPS 81 Appendix B, ECB example: "Now is the time for all ".
TEST(DesTest, Fips81EcbExample) {
  const KnownAnswer answers[] = {
      {"0123456789ABCDEF", "4E6F772069732074", "3FA40E8A984D4815"},
      {"0123456789ABCDEF", "68652074696D6520", "6A271787AB8883F9"},
      {"0123456789ABCDEF", "666F7220616C6C20", "893D51EC4B563B53"},
  };
  for (const KnownAnswer& answer : answers) expectKnownAnswer(answer);
}

TEST(DesTest, ParityBitsAreIgnored) {
  const Bytes block = fromHex("4E6F772069732074");
  const Bytes flipped = fromHex("0022446688AACCEE");
  EXPECT_EQ(toHex(encrypt(flipped, block)), "3FA40E8A984D4815");
}

TEST(DesTest, InPlaceEncryptionAndDecryption) {
  Des des;
  des.setKey(fromHex("0123456789ABCDEF").data());
  Bytes block = fromHex("4E6F772069732074");
  des.encryptBlock(block.data(), block.data());
  EXPECT_EQ(toHex(block), "3FA40E8A984D4815");
  des.decryptBlock(block.data(), block.data());
  EXPECT_EQ(toHex(block), "4E6F772069732074");
}

TEST(DesTest, RekeyingReplacesTheWholeSchedule) {
  Des des;
  des.setKey(fromHex("FFFFFFFFFFFFFFFF").data());
  des.setKey(fromHex("0123456789ABCDEF").data());
  Bytes out(8);
  des.encryptBlock(fromHex("4E6F772069732074").data(), out.data());
  EXPECT_EQ(toHex(out), "3FA40E8A984D4815");
}

TEST(DesTest, MatchesOpensslOnPseudoRandomInputs) {
  const test_support::OpensslLegacy reference;
  if (!reference.available()) GTEST_SKIP() << "OpenSSL legacy provider not available";
  std::mt19937_64 generator(20240611);
  for (int trial = 0; trial < 500; ++trial) {
    const std::string keyHex = hex64(generator());
    const Bytes key = fromHex(keyHex);
    const Bytes block = fromHex(hex64(generator()));
    const auto expected = reference.encryptEcb(key, block);
    ASSERT_TRUE(expected.has_value());
    SCOPED_TRACE(keyHex);
    EXPECT_EQ(toHex(encrypt(key, block)), toHex(*expected));
    EXPECT_EQ(toHex(decrypt(key, *expected)), toHex(block));
  }
}

}  // namespace
}  // namespace sigillo
