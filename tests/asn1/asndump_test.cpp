// Dumps: every node kind line by line, blocks of octets, indentation, the
// writers to streams and files, and integers in decimal and hexadecimal.
#include "asn1/asndump.h"

#include <gtest/gtest.h>

#include <sstream>

#include "asn1/asnint.h"
#include "asn1/oid.h"
#include "tests/asn1/asn_test_util.h"

namespace sigillo {
namespace {

using test::stackCodes;
using Lines = std::vector<std::string>;

const uint8_t* u8(const char* text) { return reinterpret_cast<const uint8_t*>(text); }

Lines lines(const std::string& text) {
  Lines all;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) all.push_back(line);
  return all;
}

std::string readStream(FILE* stream) {
  std::string text;
  rewind(stream);
  char buffer[4096];
  for (size_t n; (n = fread(buffer, 1, sizeof buffer, stream)) > 0;) text.append(buffer, n);
  fclose(stream);
  return text;
}

// One node of every kind, with names, under one SEQUENCE.
AobjPtr everyKind() {
  const uint8_t twenty[] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 17, 18, 19, 20};
  const uint8_t bits[] = {0xA5, 0xF0};
  aobj* odd = ASNNULL();
  odd->kind = 42;
  aobj* root = ASNxSEQ(
      CLASSEQ, kTagSequence, kSeqName, "version", kSeqNode, ASNuINT(kTagInteger, u8("\1\2"), 2),
      kSeqName, "neg", kSeqNode, ASNuINT(kTagInteger, u8("\x80"), 1), kSeqName, "big", kSeqNode,
      ASNuINT(kTagInteger, twenty, 20), kSeqName, "yes", kSeqBool, 1, kSeqName, "no", kSeqBool, 0,
      kSeqName, "nothing", kSeqNode, ASNNULL(), kSeqName, "cn", kSeqOid, kOidCommonName, kSeqName,
      "other", kSeqNode, ASNxOID(kTagOid, u8("\x2A\x03\x04"), 3), kSeqName, "when", kSeqUtc,
      "250101120000Z", kSeqName, "greeting", kSeqPrintable, "Hello", kSeqName, "accent", kSeqUtf8,
      "caf\xC3\xA9", kSeqName, "octets", kSeqNode, ASNxSTR(kTagOctetString, u8("\xDE\xAD\xBE"), 3),
      kSeqName, "bits", kSeqNode, ASNxBIT(kTagBitString, bits, 2, 4), kSeqExplicit, 0, kSeqName,
      "inner", kSeqIa5, "x", kSeqName, "file", kSeqNode,
      ASNxIND(kTagOctetString, "/tmp/value.bin", nullptr, 10, 100, 0), kSeqName, "empty", kSeqNode,
      ASNxSTR(kTagOctetString, nullptr, 0), kSeqName, "odd", kSeqNode, odd, kSeqName, "ctl",
      kSeqIa5, "a\tb", kSeqName, "bmp", kSeqNode, ASNxSTR(kTagBmpString, u8("\0A"), 2), kSeqName,
      "impl", kSeqImplicit, 1, kSeqIa5, "x", kSeqEnd);
  ASNsetname(root, "root");
  return AobjPtr(root);
}

TEST(AsnDump, EveryNodeKindAndEveryWriter) {
  AobjPtr root = everyKind();
  ASSERT_NE(root, nullptr);
  std::string expected;
  for (const std::string& line : lines(
           test::readFile(std::string(SIGILLO_SOURCE_DIR) + "/tests/data/asn1/every_kind.dump"))) {
    if (line.rfind("#", 0) == 0) continue;
    std::string text = line;
    for (size_t at; (at = text.find("\\t")) != std::string::npos;) text.replace(at, 2, "\t");
    expected += text + "\n";
  }
  TRclrerr();
  const std::string dump = ASNtostr(root.get());
  EXPECT_EQ(lines(dump), lines(expected));
  EXPECT_EQ(dump, expected);
  EXPECT_TRUE(stackCodes().empty());

  FILE* stream = tmpfile();
  EXPECT_EQ(ASNfdump(stream, root.get()), 0);
  EXPECT_EQ(readStream(stream), dump);
  stream = tmpfile();
  EXPECT_EQ(ASNdumpEx(stream, root.get()), 0);
  EXPECT_EQ(
      readStream(stream),
      "\n-----------------------------------------------------------------------------\n" + dump);
  test::TempDir dir;
  EXPECT_EQ(ASNdump2path(dir.file("dump.txt").c_str(), root.get()), 0);
  EXPECT_EQ(test::readFile(dir.file("dump.txt")), dump);

  // Large trees are written in pieces.
  AobjPtr large(ASNxSEQ(CLASSEQ, kTagSequence, kSeqEnd));
  for (uint32_t i = 0; i < 5000; ++i) ASSERT_EQ(ASNadd(large.get(), ASNxUINT32(kTagInteger, i)), 0);
  stream = tmpfile();
  ASSERT_EQ(ASNfdump(stream, large.get()), 0);
  const Lines got = lines(readStream(stream));
  ASSERT_EQ(got.size(), 5002u);
  EXPECT_EQ(got[4097], "\t[4096]value 02 (size:2) [4]: 4096 0x00001000");
  EXPECT_EQ(got, lines(ASNtostr(large.get())));
}

TEST(AsnDump, ValuesBlocksAndStrings) {
  for (const auto& v : test::loadVectors("asn1/dump_values.txt")) {
    const test::Bytes content = v.has("content") ? v.bytes("content") : test::Bytes{};
    const std::string text = v.has("text") ? test::unescape(v.text("text")) : "";
    const auto tag = static_cast<uint8_t>(v.has("tag") ? std::stoi(v.text("tag"), nullptr, 16) : 0);
    AobjPtr node(
        v.group == "integers"
            ? ASNxVAL(CLASVAL, kTagInteger, content.data(), static_cast<uint32_t>(content.size()))
            : ASNxSTR(tag, u8(text.data()), static_cast<uint32_t>(text.size())));
    const Lines got = lines(ASNtostr(node.get()));
    if (v.group == "integers") {
      Lines expected;
      for (size_t at = 0, bar; at <= v.text("dump").size(); at = bar + 3) {
        bar = std::min(v.text("dump").find(" | ", at), v.text("dump").size());
        expected.push_back(v.text("dump").substr(at, bar - at));
      }
      EXPECT_EQ(got, expected) << v.where();
    } else if (v.text("form") == "text") {
      char head[64];
      snprintf(head, sizeof head, "[0] string %02x (size:%zu) [%zu]: \"", tag, text.size(),
               text.size() + 2);
      EXPECT_EQ(got, Lines{head + text + "\""}) << v.where();
    } else {
      EXPECT_NE(got.at(0).find("stream"), std::string::npos) << v.where();
    }
  }
  // Sixteen octets a line.
  const std::tuple<uint32_t, size_t, std::string> blocks[] = {
      {16, 1, "  00 01 02 03 04 05 06 07 08 09 0A 0B 0C 0D 0E 0F"},
      {17, 2, "  10"},
      {300, 19, "  20 21 22 23 24 25 26 27 28 29 2A 2B"},
  };
  for (const auto& [length, dataLines, last] : blocks) {
    AobjPtr node(ASNxSTR(kTagOctetString, nullptr, length));
    for (uint32_t i = 0; i < length; ++i) node->value[i] = static_cast<uint8_t>(i);
    const Lines got = lines(ASNtostr(node.get()));
    ASSERT_EQ(got.size(), dataLines + 3) << length;
    EXPECT_EQ(got[dataLines + 1], last) << length;
    EXPECT_EQ(got.back(), "  +++++++++++++++++++++++++++++++++ ]");
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
  const Lines got = lines(ASNtostr(root.get()));
  ASSERT_EQ(got.size(), 47u);
  const std::string t18(18, '\t'), t19(19, '\t');
  EXPECT_EQ(got[0], "[0] constructed 30 (size:46) [1,48] {");
  EXPECT_EQ(got[18], t18 + "L18[0] constructed 30 (size:10) [1,12] {");
  EXPECT_EQ(got[19], t19 + "L19[0] constructed 30 (size:8) [1,10] {");
  EXPECT_EQ(got[22], t19 + "L22[0] constructed 30 (size:2) [1,4] {");
  EXPECT_EQ(got[23], t19 + "[0] null 05 [2]");
  EXPECT_EQ(got[28], t18 + "}");
}

TEST(AsnDump, Failures) {
  AobjPtr root = everyKind();
  FILE* full = fopen("/dev/full", "w");
  TRclrerr();
  EXPECT_EQ(ASNdump(nullptr), 304);
  EXPECT_EQ(ASNfdump(nullptr, root.get()), 304);
  EXPECT_EQ(ASNdumpEx(stdout, nullptr), 304);
  EXPECT_EQ(ASNdump2path(nullptr, root.get()), 304);
  EXPECT_EQ(ASNfdump(full, root.get()), 204);
  fclose(full);
  EXPECT_EQ(
      test::stackLines(),
      (Lines{"asn:ASNdump:304:Oggetto ASN.1 nullo", "asn:ASNfdump:304:Oggetto nullo (stream)",
             "asn:ASNdumpEx:304:Oggetto ASN.1 nullo", "asn:ASNdump2path:304:Oggetto nullo (path)",
             "asn:ASNfdump:204:Scrittura del dump ASN.1 fallita"}));
  TRclrerr();
  EXPECT_EQ(ASNtostr(nullptr), "");
  EXPECT_EQ(TRgeterrstklen(), 1u);
  test::TempDir dir;
  const std::string path = dir.file("missing/dump.txt");
  TRclrerr();
  EXPECT_NE(ASNdump2path(path.c_str(), root.get()), 0);
  EXPECT_EQ(test::errorStack().back().function, "ASNdump2path");
  EXPECT_EQ(test::errorStack().back().code, 301u);
  EXPECT_FALSE(std::filesystem::exists(path));
}

TEST(AsnDump, IntegersInDecimalAndHexadecimal) {
  const std::pair<const char*, const char*> cases[] = {
      {"1234", "4660 (0x1234)"},
      {"-5", "-5 (-0x05)"},
      {"-80", "-128 (-0x80)"},
      {"0123456789ABCDEF0123", "5373003642731685151011 (0x0123456789ABCDEF0123)"},
  };
  for (const auto& [hex, dual] : cases) {
    AobjPtr node(ASNhex2INT(kTagInteger, hex));
    std::string text;
    EXPECT_EQ(dualIntDump(node.get(), &text), 0);
    EXPECT_EQ(text, dual);
  }
  AobjPtr octets(ASNxSTR(kTagOctetString, u8("a"), 1));
  std::string text = "unchanged";
  TRclrerr();
  EXPECT_EQ(dualIntDump(octets.get(), &text), 29);
  EXPECT_EQ(text, "unchanged");
  EXPECT_EQ(stackCodes().at(0), "29:TIPO_ERRATO PER questa funzione");
}

}  // namespace
}  // namespace sigillo
