// Dumps: every node kind line by line, blocks of octets, indentation, the
// writers to streams and files, and integers in decimal and hexadecimal.
#include "asn1/asndump.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <sstream>
#include <string>
#include <vector>

#include "asn1/asnint.h"
#include "asn1/oid.h"
#include "tests/common/testutil.h"

namespace sigillo {
namespace {

using test::errorStack;
using test::TempDir;

const uint8_t* u8(const char* text) { return reinterpret_cast<const uint8_t*>(text); }

std::vector<std::string> lines(const std::string& text) {
  std::vector<std::string> all;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) all.push_back(line);
  return all;
}

void expectLines(const std::string& text, const std::vector<std::string>& expected) {
  ASSERT_FALSE(text.empty());
  EXPECT_EQ(text.back(), '\n');
  const std::vector<std::string> got = lines(text);
  for (size_t i = 0; i < got.size() && i < expected.size(); ++i) {
    EXPECT_EQ(got[i], expected[i]) << "line " << i;
  }
  EXPECT_EQ(got.size(), expected.size());
}

std::string readStream(FILE* stream) {
  std::string text;
  rewind(stream);
  char buffer[4096];
  for (size_t n; (n = fread(buffer, 1, sizeof buffer, stream)) > 0;) text.append(buffer, n);
  return text;
}

// One node of every kind, with names, under one SEQUENCE.
AobjPtr everyKind() {
  const uint8_t twenty[] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 17, 18, 19, 20};
  const uint8_t version[] = {0x01, 0x02};
  const uint8_t high[] = {0x80};
  const uint8_t unknownOid[] = {0x2A, 0x03, 0x04};
  const uint8_t bits[] = {0xA5, 0xF0};
  const uint8_t bmp[] = {0x00, 0x41};
  aobj* odd = ASNNULL();
  odd->kind = 42;
  aobj* root = ASNxSEQ(
      CLASSEQ, kTagSequence,                                                          //
      kSeqName, "version", kSeqNode, ASNuINT(kTagInteger, version, 2),                //
      kSeqName, "neg", kSeqNode, ASNuINT(kTagInteger, high, 1),                       //
      kSeqName, "big", kSeqNode, ASNuINT(kTagInteger, twenty, 20),                    //
      kSeqName, "yes", kSeqBool, 1,                                                   //
      kSeqName, "no", kSeqBool, 0,                                                    //
      kSeqName, "nothing", kSeqNode, ASNNULL(),                                       //
      kSeqName, "cn", kSeqOid, kOidCommonName,                                        //
      kSeqName, "other", kSeqNode, ASNxOID(kTagOid, unknownOid, 3),                   //
      kSeqName, "when", kSeqUtc, "250101120000Z",                                     //
      kSeqName, "greeting", kSeqPrintable, "Hello",                                   //
      kSeqName, "accent", kSeqUtf8, "caf\xC3\xA9",                                    //
      kSeqName, "octets", kSeqNode, ASNxSTR(kTagOctetString, u8("\xDE\xAD\xBE"), 3),  //
      kSeqName, "bits", kSeqNode, ASNxBIT(kTagBitString, bits, 2, 4),                 //
      kSeqExplicit, 0, kSeqName, "inner", kSeqIa5, "x",                               //
      kSeqName, "file", kSeqNode, ASNxIND(kTagOctetString, "/tmp/value.bin", nullptr, 10, 100, 0),
      kSeqName, "empty", kSeqNode, ASNxSTR(kTagOctetString, nullptr, 0),  //
      kSeqName, "odd", kSeqNode, odd,                                     //
      kSeqName, "ctl", kSeqIa5, "a\tb",                                   //
      kSeqName, "bmp", kSeqNode, ASNxSTR(kTagBmpString, bmp, 2),          //
      kSeqName, "impl", kSeqImplicit, 1, kSeqIa5, "x",                    //
      kSeqEnd);
  ASNsetname(root, "root");
  return AobjPtr(root);
}

const std::vector<std::string> kEveryKindDump = {
    "root[0] constructed 30 (size:210) [20,213] {",
    "\tversion[0]value 02 (size:2) [4]: 258 0x00000102",
    "\tneg[1]value 02 (size:2) [4]: -128 0xffffff80",
    "\tbig[2]long value 02 (size:20) [22].",
    "\t[ +++++++++++++++++++++++++++++++++",
    "\t  01 02 03 04 05 06 07 08 09 0A 0B 0C 0D 0E 0F 10",
    "\t  11 12 13 14",
    "\t  +++++++++++++++++++++++++++++++++ ]",
    "\tyes[3] boolean 01 (size:1) [3]: TRUE",
    "\tno[4] boolean 01 (size:1) [3]: FALSE",
    "\tnothing[5] null 05 [2]",
    "\tcn[6] object identifier 170 (3) [5]: 2.5.4.3 commonName",
    "\tother[7] object identifier -1 (3) [5]: 1.2.3.4 UNKNOWN",
    "\twhen[8] date 17 (13) [15]: 250101120000Z",
    "\tgreeting[9] string 13 (size:5) [7]: \"Hello\"",
    "\taccent[10] stream 0c (size:5) [7].",
    "\t[ +++++++++++++++++++++++++++++++++",
    "\t  63 61 66 C3 A9",
    "\t  +++++++++++++++++++++++++++++++++ ]",
    "\toctets[11] octet stream 04 (size:3) [5].",
    "\t[ +++++++++++++++++++++++++++++++++",
    "\t  DE AD BE",
    "\t  +++++++++++++++++++++++++++++++++ ]",
    "\tbits[12] bit stream 03 (size:3) [5] unused 4.",
    "\t[ +++++++++++++++++++++++++++++++++",
    "\t  A5 F0",
    "\t  +++++++++++++++++++++++++++++++++ ]",
    "\t[13] constructed a0 (size:3) [1,5] {",
    "\t\tinner[0] string 16 (size:1) [3]: \"x\"",
    "\t}",
    "\tfile[14] indirect 04 (size:100) [102]: \"/tmp/value.bin\"",
    "\tempty[15] octet stream 04 (size:0) [2].",
    "\todd[16] UNKNOWN 0000002a.05 (0) [2]",
    "\tctl[17] stream 16 (size:3) [5].",
    "\t[ +++++++++++++++++++++++++++++++++",
    "\t  61 09 62",
    "\t  +++++++++++++++++++++++++++++++++ ]",
    "\tbmp[18] stream 1e (size:2) [4].",
    "\t[ +++++++++++++++++++++++++++++++++",
    "\t  00 41",
    "\t  +++++++++++++++++++++++++++++++++ ]",
    "\timpl[19] stream 81 (size:1) [3].",
    "\t[ +++++++++++++++++++++++++++++++++",
    "\t  78",
    "\t  +++++++++++++++++++++++++++++++++ ]",
    "}",
};

TEST(AsnDump, EveryNodeKind) {
  AobjPtr root = everyKind();
  ASSERT_NE(root, nullptr);
  TRclrerr();
  expectLines(ASNtostr(root.get()), kEveryKindDump);
  EXPECT_EQ(TRgeterrstklen(), 0u);
}

TEST(AsnDump, IntegerValuesAndLongValues) {
  struct Case {
    std::string hex;  // content octets as stored
    std::vector<std::string> lines;
  };
  const Case cases[] = {
      {"00", {"[0]value 02 (size:1) [3]: 0 0x00000000"}},
      {"FF", {"[0]value 02 (size:1) [3]: -1 0xffffffff"}},
      {"7FFFFFFF", {"[0]value 02 (size:4) [6]: 2147483647 0x7fffffff"}},
      {"80000000", {"[0]value 02 (size:4) [6]: -2147483648 0x80000000"}},
      {"0080000000",
       {"[0]long value 02 (size:5) [7].", "[ +++++++++++++++++++++++++++++++++", "  00 80 00 00 00",
        "  +++++++++++++++++++++++++++++++++ ]"}},
      {"", {"[0]long value 02 (size:0) [2]."}},
  };
  for (const Case& c : cases) {
    const test::Bytes content = test::fromHex(c.hex);
    AobjPtr node(
        ASNxVAL(CLASVAL, kTagInteger, content.data(), static_cast<uint32_t>(content.size())));
    ASSERT_NE(node, nullptr);
    SCOPED_TRACE(c.hex);
    expectLines(ASNtostr(node.get()), c.lines);
  }
}

TEST(AsnDump, BlocksHoldSixteenOctetsPerLine) {
  struct Case {
    uint32_t length;
    size_t dataLines;
    std::string last;
  };
  const Case cases[] = {
      {1, 1, "  00"},
      {15, 1, "  00 01 02 03 04 05 06 07 08 09 0A 0B 0C 0D 0E"},
      {16, 1, "  00 01 02 03 04 05 06 07 08 09 0A 0B 0C 0D 0E 0F"},
      {17, 2, "  10"},
      {32, 2, "  10 11 12 13 14 15 16 17 18 19 1A 1B 1C 1D 1E 1F"},
      {300, 19, "  20 21 22 23 24 25 26 27 28 29 2A 2B"},
  };
  for (const Case& c : cases) {
    AobjPtr node(ASNxSTR(kTagOctetString, nullptr, c.length));
    for (uint32_t i = 0; i < c.length; ++i) node->value[i] = static_cast<uint8_t>(i);
    const std::vector<std::string> got = lines(ASNtostr(node.get()));
    ASSERT_EQ(got.size(), c.dataLines + 3) << c.length;
    EXPECT_EQ(got[1], "[ +++++++++++++++++++++++++++++++++");
    EXPECT_EQ(got[c.dataLines + 1], c.last) << c.length;
    EXPECT_EQ(got.back(), "  +++++++++++++++++++++++++++++++++ ]");
  }
}

TEST(AsnDump, StringsPrintedAsText) {
  struct Case {
    uint8_t tag;
    std::string value;
    bool asText;
  };
  const Case cases[] = {
      {kTagUtf8String, "plain", true},
      {18, "0123 45", true},
      {kTagPrintableString, "A-Z'()", true},
      {20, "teletex", true},
      {kTagIa5String, "a@b.c ~", true},
      {26, "visible", true},
      {kTagIa5String, "tab\there", false},
      {kTagIa5String, std::string("nul\0", 4), false},
      {kTagUtf8String, "\x7F", false},
      {kTagBmpString, "ab", false},
      {kTagOctetString, "ab", false},
      {0x80, "name", false},
      {kTagUtf8String, "", true},
  };
  for (const Case& c : cases) {
    AobjPtr node(ASNxSTR(c.tag, u8(c.value.data()), static_cast<uint32_t>(c.value.size())));
    const std::vector<std::string> got = lines(ASNtostr(node.get()));
    ASSERT_FALSE(got.empty());
    char head[64];
    snprintf(head, sizeof head, "[0] string %02x (size:%zu) [%zu]: \"", c.tag, c.value.size(),
             c.value.size() + 2);
    if (c.asText) {
      EXPECT_EQ(got, std::vector<std::string>{head + c.value + "\""}) << c.value;
    } else {
      EXPECT_NE(got[0].find("stream"), std::string::npos) << c.value;
    }
  }
}

TEST(AsnDump, IndentationStopsAtNineteenTabs) {
  AobjPtr root(ASNxSEQ(CLASSEQ, kTagSequence, kSeqEnd));
  aobj* deepest = root.get();
  for (int level = 1; level <= 22; ++level) {
    aobj* child = ASNxSEQ(CLASSEQ, kTagSequence, kSeqEnd);
    ASNvsetname(child, "L%d", level);
    ASSERT_EQ(ASNadd(deepest, child), 0);
    deepest = child;
  }
  ASSERT_EQ(ASNadd(deepest, ASNNULL()), 0);
  ASNresize(root.get());
  const std::vector<std::string> got = lines(ASNtostr(root.get()));
  ASSERT_EQ(got.size(), 24u + 23u);
  struct Case {
    size_t line;
    std::string text;
  };
  const Case cases[] = {
      {0, "[0] constructed 30 (size:46) [1,48] {"},
      {1, "\tL1[0] constructed 30 (size:44) [1,46] {"},
      {18, std::string(18, '\t') + "L18[0] constructed 30 (size:10) [1,12] {"},
      {19, std::string(19, '\t') + "L19[0] constructed 30 (size:8) [1,10] {"},
      {20, std::string(19, '\t') + "L20[0] constructed 30 (size:6) [1,8] {"},
      {22, std::string(19, '\t') + "L22[0] constructed 30 (size:2) [1,4] {"},
      {23, std::string(19, '\t') + "[0] null 05 [2]"},
      {24, std::string(19, '\t') + "}"},
      {27, std::string(19, '\t') + "}"},
      {28, std::string(18, '\t') + "}"},
      {46, "}"},
  };
  for (const Case& c : cases) EXPECT_EQ(got[c.line], c.text) << c.line;
}

TEST(AsnDump, WritersAgree) {
  AobjPtr root = everyKind();
  const std::string dump = ASNtostr(root.get());

  FILE* stream = tmpfile();
  ASSERT_NE(stream, nullptr);
  EXPECT_EQ(ASNfdump(stream, root.get()), 0);
  EXPECT_EQ(readStream(stream), dump);
  fclose(stream);

  stream = tmpfile();
  EXPECT_EQ(ASNdumpEx(stream, root.get()), 0);
  EXPECT_EQ(
      readStream(stream),
      "\n-----------------------------------------------------------------------------\n" + dump);
  fclose(stream);

  TempDir dir;
  const std::string path = dir.file("dump.txt");
  EXPECT_EQ(ASNdump2path(path.c_str(), root.get()), 0);
  EXPECT_EQ(test::readFile(path), dump);

  testing::internal::CaptureStdout();
  EXPECT_EQ(ASNdump(root.get()), 0);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), dump);
}

TEST(AsnDump, LargeTreesStreamInPieces) {
  AobjPtr root(ASNxSEQ(CLASSEQ, kTagSequence, kSeqEnd));
  for (uint32_t i = 0; i < 5000; ++i) ASSERT_EQ(ASNadd(root.get(), ASNxUINT32(kTagInteger, i)), 0);
  FILE* stream = tmpfile();
  ASSERT_EQ(ASNfdump(stream, root.get()), 0);
  const std::string text = readStream(stream);
  fclose(stream);
  EXPECT_EQ(text, ASNtostr(root.get()));
  const std::vector<std::string> got = lines(text);
  ASSERT_EQ(got.size(), 5002u);
  EXPECT_EQ(got[4097], "\t[4096]value 02 (size:2) [4]: 4096 0x00001000");
}

TEST(AsnDump, Failures) {
  AobjPtr root = everyKind();
  struct Case {
    const char* what;
    uint16_t (*call)(const aobj*);
    uint16_t code;
    std::string function;
    std::string message;
  };
  const Case cases[] = {
      {"absent node", [](const aobj*) { return ASNdump(nullptr); }, 304, "ASNdump",
       "Oggetto ASN.1 nullo"},
      {"absent stream", [](const aobj* n) { return ASNfdump(nullptr, n); }, 304, "ASNfdump",
       "Oggetto nullo (stream)"},
      {"absent node to a stream", [](const aobj*) { return ASNdumpEx(stdout, nullptr); }, 304,
       "ASNdumpEx", "Oggetto ASN.1 nullo"},
      {"absent path", [](const aobj* n) { return ASNdump2path(nullptr, n); }, 304, "ASNdump2path",
       "Oggetto nullo (path)"},
      {"full device",
       [](const aobj* n) {
         FILE* full = fopen("/dev/full", "w");
         uint16_t rc = ASNfdump(full, n);
         fclose(full);
         return rc;
       },
       204, "ASNfdump", "Scrittura del dump ASN.1 fallita"},
  };
  for (const Case& c : cases) {
    TRclrerr();
    EXPECT_EQ(c.call(root.get()), c.code) << c.what;
    auto stack = errorStack();
    ASSERT_EQ(stack.size(), 1u) << c.what;
    EXPECT_EQ(stack[0].function, c.function);
    EXPECT_EQ(stack[0].code, c.code);
    EXPECT_EQ(stack[0].message, c.message);
  }
  TRclrerr();
  EXPECT_EQ(ASNtostr(nullptr), "");
  EXPECT_EQ(TRgeterrstklen(), 1u);

  TRclrerr();
  TempDir dir;
  const std::string path = dir.file("missing/dump.txt");
  EXPECT_NE(ASNdump2path(path.c_str(), root.get()), 0);
  auto stack = errorStack();
  ASSERT_FALSE(stack.empty());
  EXPECT_EQ(stack.back().function, "ASNdump2path");
  EXPECT_EQ(stack.back().code, 301u);
  EXPECT_FALSE(std::filesystem::exists(path));
}

TEST(AsnDump, IntegersInDecimalAndHexadecimal) {
  struct Case {
    const char* hexText;
    std::string dual;
  };
  const Case cases[] = {
      {"1234", "4660 (0x1234)"},
      {"-5", "-5 (-0x05)"},
      {"0", "0 (0x00)"},
      {"80", "128 (0x80)"},
      {"-80", "-128 (-0x80)"},
      {"0123456789ABCDEF0123", "5373003642731685151011 (0x0123456789ABCDEF0123)"},
  };
  for (const Case& c : cases) {
    AobjPtr node(ASNhex2INT(kTagInteger, c.hexText));
    ASSERT_NE(node, nullptr);
    std::string text;
    EXPECT_EQ(dualIntDump(node.get(), &text), 0);
    EXPECT_EQ(text, c.dual);
  }
  AobjPtr octets(ASNxSTR(kTagOctetString, u8("a"), 1));
  std::string text = "unchanged";
  TRclrerr();
  EXPECT_EQ(dualIntDump(octets.get(), &text), 29);
  EXPECT_EQ(text, "unchanged");
  auto stack = errorStack();
  ASSERT_EQ(stack.size(), 2u);
  EXPECT_EQ(stack[0].message, "TIPO_ERRATO PER questa funzione");
  EXPECT_EQ(stack[1].function, "dualIntDump");
}

}  // namespace
}  // namespace sigillo
