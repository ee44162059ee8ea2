// Wycheproof AES-CBC with PKCS #5 padding through AESCBC and PADPKCS5.
#include <gtest/gtest.h>

#include <regex>

#include "sigillo/sigillo.h"
#include "tests/common/testutil.h"

namespace sigillo {
namespace {

using test::Bytes;
using test::fromHex;

struct CbcCase {
  int id;
  Bytes key, iv, msg, ct;
  bool valid;
};

std::vector<CbcCase> loadCases() {
  std::string text =
      test::readFile(std::string(SIGILLO_TESTDATA) + "/wycheproof/aes_cbc_pkcs5_test.json");
  static const std::regex token(R"re("(tcId|key|iv|msg|ct|result)"\s*:\s*("([^"]*)"|[0-9]+))re");
  std::vector<CbcCase> cases;
  CbcCase current{};
  for (auto it = std::sregex_iterator(text.begin(), text.end(), token);
       it != std::sregex_iterator(); ++it) {
    const std::string name = (*it)[1];
    const std::string value = (*it)[3].matched ? (*it)[3].str() : (*it)[2].str();
    if (name == "tcId") current = CbcCase{std::stoi(value), {}, {}, {}, {}, false};
    if (name == "key") current.key = fromHex(value);
    if (name == "iv") current.iv = fromHex(value);
    if (name == "msg") current.msg = fromHex(value);
    if (name == "ct") current.ct = fromHex(value);
    if (name == "result") {
      current.valid = value == "valid";
      cases.push_back(current);
    }
  }
  return cases;
}

// Deciphers with AESCBC and removes the padding with PADPKCS5; the codes of
// the two steps and the message.
struct Opened {
  uint16_t decipher;
  uint16_t unpad;
  Bytes msg;
};

Opened open(const CbcCase& c) {
  Bytes out(c.ct.size() + 16), iv = c.iv;
  uint32_t len = static_cast<uint32_t>(c.ct.size()), keyLen = static_cast<uint32_t>(c.key.size());
  uint16_t init = 1, decipher = 1, rc = 0;
  Opened o{AESCBC(c.ct.data(), out.data(), &len, &init, c.key.data(), &keyLen, iv.data(), &decipher,
                  &rc),
           0,
           {}};
  if (o.decipher != 0) return o;
  uint32_t plainLen = len;
  o.unpad = PADPKCS5(out.data(), &plainLen, &decipher, &rc);
  o.msg.assign(out.begin(), out.begin() + plainLen);
  return o;
}

// PADPKCS5 pads to 8-byte blocks (1 to 8 bytes of padding); AES needs 16.
// Where the 16-byte padding of a message is 8 bytes or fewer the two agree,
// and the case is checked both ways; a longer padding is refused by
// PADPKCS5 with code 14, as an 8-byte padding must be.
TEST(WycheproofAesCbc, ThroughAescbcAndPadpkcs5) {
  const std::vector<CbcCase> cases = loadCases();
  ASSERT_EQ(cases.size(), 216u);
  int bothWays = 0;
  for (const CbcCase& c : cases) {
    SCOPED_TRACE("tcId " + std::to_string(c.id));
    Opened o = open(c);
    const size_t padding = 16 - c.msg.size() % 16;
    if (!c.valid) {
      EXPECT_TRUE(o.decipher != 0 || o.unpad != 0 || o.msg != c.msg);
      continue;
    }
    ASSERT_EQ(o.decipher, 0);
    if (padding > 8) {
      EXPECT_EQ(o.unpad, 14);
      continue;
    }
    EXPECT_EQ(o.unpad, 0);
    EXPECT_EQ(o.msg, c.msg);
    Bytes buf = c.msg;
    buf.resize(c.msg.size() + 8);
    uint32_t len = static_cast<uint32_t>(c.msg.size()),
             keyLen = static_cast<uint32_t>(c.key.size());
    uint16_t pad = 0, init = 1, encipher = 0, rc = 0;
    ASSERT_EQ(PADPKCS5(buf.data(), &len, &pad, &rc), 0);
    ASSERT_EQ(len, c.ct.size());
    Bytes ct(len), iv = c.iv;
    ASSERT_EQ(AESCBC(buf.data(), ct.data(), &len, &init, c.key.data(), &keyLen, iv.data(),
                     &encipher, &rc),
              0);
    EXPECT_EQ(ct, c.ct);
    ++bothWays;
  }
  EXPECT_EQ(bothWays, 30);
}

}  // namespace
}  // namespace sigillo
