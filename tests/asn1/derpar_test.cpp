// DER parser: every failure of buffer and file input with its exact stack,
// code, position and path; the trees made from valid BER/DER; warnings and
// notices; the depth limit; the primitive builder; the context record and
// its dump.
#include <gtest/gtest.h>

#include "tests/asn1/asn_test_util.h"

namespace sigillo {
namespace {

using test::Bytes;
using test::describe;
using test::fromHex;
using test::stackLines;
using test::TempDir;
using Lines = std::vector<std::string>;

// Messages of every level reach `records` while the capture lives.
class TraceCapture {
 public:
  struct Record {
    uint32_t level;
    std::string text;
  };
  TraceCapture() : level_(TRgetlev()) {
    TRsetlev(9);
    TRsetcallback(this, [](void* arg, const char*, int, const char*, uint32_t level, uint32_t,
                           const char* text) {
      static_cast<TraceCapture*>(arg)->records.push_back(Record{level, text});
    });
  }
  ~TraceCapture() {
    TRsetcallback(nullptr, nullptr);
    TRsetlev(level_);
  }
  TraceCapture(const TraceCapture&) = delete;
  TraceCapture& operator=(const TraceCapture&) = delete;

  // Texts of the records of one level, the code text of 0 taken off.
  std::vector<std::string> at(uint32_t level) const {
    const std::string prefix = std::string(TRerr2str(0)) + ": ";
    std::vector<std::string> texts;
    for (const Record& r : records) {
      if (r.level != level) continue;
      texts.push_back(r.text.rfind(prefix, 0) == 0 ? r.text.substr(prefix.size()) : r.text);
    }
    return texts;
  }
  std::vector<Record> records;

 private:
  uint32_t level_;
};

// A context released at the end of the test.
struct Context {
  Context() { DERPARSER_init(&c); }
  ~Context() { DERPARSER_clean(&c); }
  DERPARSER c;
};

const uint8_t kNothing = 0;

AobjPtr parseMemory(DERPARSER* context, const Bytes& input) {
  return AobjPtr(DERPARSER_mparse(context, input.empty() ? &kNothing : input.data(), input.size()));
}

AobjPtr parseFile(DERPARSER* context, const TempDir& dir, const Bytes& input) {
  test::writeBytes(dir.file("input.der"), input);
  return AobjPtr(DERPARSER_fparse(context, dir.file("input.der").c_str(), 0));
}

std::string recordedPath(const DERPARSER& context) {
  std::string text;
  for (int32_t i = 0; i < context.error.pathLength; ++i) {
    text += (i > 0 ? "." : "") + std::to_string(context.error.path[i]);
  }
  return text;
}

Lines split(const std::string& text) {
  Lines parts;
  for (size_t at = 0; at <= text.size();) {
    const size_t bar = std::min(text.find(" | ", at), text.size());
    parts.push_back(text.substr(at, bar - at));
    at = bar + 3;
  }
  return parts;
}

const std::string kMemNode = "derpar:DERPARSER_mparse_node:";
const std::string kBuild = "derpar:DERPARSER_build_primitive_node:";

class DerParserTest : public ::testing::Test {
 protected:
  void SetUp() override { TRclrerr(); }
  void TearDown() override { TRclrerr(); }
};

TEST_F(DerParserTest, FailuresRecordStackCodePositionAndPath) {
  TempDir dir;
  for (const auto& v : test::loadVectors("asn1/derpar_errors.txt")) {
    if (v.group == "builder") continue;
    for (const bool fromFile : {false, true}) {
      SCOPED_TRACE(v.text("name") + (fromFile ? " (file)" : " (buffer)"));
      Context context;
      context.c.flags = v.has("flags") ? kDerStrict : 0;
      const Bytes input = v.bytes("hex");
      AobjPtr tree = fromFile ? parseFile(&context.c, dir, input) : parseMemory(&context.c, input);
      EXPECT_EQ(tree, nullptr);
      EXPECT_EQ(stackLines(), split(v.text(fromFile ? "file" : "memory")));
      EXPECT_EQ(*get_sErroR(), v.number("code"));
      EXPECT_EQ(context.c.error.code, v.number("code"));
      EXPECT_EQ(context.c.error.position, static_cast<uint64_t>(v.number("position")));
      EXPECT_EQ(recordedPath(context.c), v.text("path"));
      EXPECT_EQ(context.c.depth, -1);
      EXPECT_EQ(context.c.file, nullptr);
    }
  }
}

TEST_F(DerParserTest, BufferAndFileGiveTheSameTrees) {
  TempDir dir;
  for (const auto& v : test::loadVectors("asn1/derpar_trees.txt")) {
    SCOPED_TRACE(v.where());
    if (v.group == "indefinite") {
      // Lengths recomputed, the tree encodes as DER.
      const Bytes ber = v.bytes("ber");
      AobjPtr tree(DERparse_(ber.data(), ber.size(), kDerStrict));
      ASSERT_NE(tree, nullptr);
      ASNresize(tree.get());
      EXPECT_EQ(test::toHex(test::encode(tree.get())), v.text("der"));
      continue;
    }
    Context context;
    context.c.flags = kDerStrict;
    AobjPtr fromBuffer = parseMemory(&context.c, v.bytes("hex"));
    EXPECT_EQ(describe(fromBuffer.get()), v.text("tree"));
    AobjPtr fromFile = parseFile(&context.c, dir, v.bytes("hex"));
    EXPECT_EQ(describe(fromFile.get()), v.text("tree"));
    EXPECT_TRUE(stackLines().empty());
    EXPECT_EQ(context.c.error.code, 0);
  }
}

TEST_F(DerParserTest, WholeParsesArgumentsAndFiles) {
  const Bytes input = fromHex("3003020500");
  EXPECT_EQ(DERparse(input.data(), input.size()), nullptr);
  char expected[128];
  snprintf(expected, sizeof expected,
           "derpar:DERparse_:29:Errore nel buffer 0x%p (dimensione 5 byte)",
           static_cast<const void*>(input.data()));
  Lines stack = stackLines();
  ASSERT_EQ(stack.size(), 4u);
  EXPECT_EQ(stack[3], expected);

  TempDir dir;
  const std::string path = dir.file("cut.der"), missing = dir.file("missing.der");
  test::writeBytes(path, fromHex("DEADBEEF3003020500"));
  EXPECT_EQ(DERfParse(path.c_str(), 4), nullptr);
  stack = stackLines();
  ASSERT_EQ(stack.size(), 4u);
  EXPECT_EQ(stack[0], "derpar:DERPARSER_fparse_node:29:Impossibile leggere i byte V (5 byte)");
  EXPECT_EQ(stack[3], "derpar:DERfParse_:29:Errore nel file " + path + " (inizio parsing: 4)");
  Context context;
  EXPECT_EQ(DERPARSER_fparse(&context.c, path.c_str(), 4), nullptr);
  EXPECT_EQ(context.c.error.position, 8u);  // counted from the start of the file
  EXPECT_EQ(recordedPath(context.c), "0.0");
  EXPECT_EQ(DERfLoad(path.c_str()), nullptr);
  EXPECT_EQ(stackLines().back(),
            "derpar:DERfParse_:29:Errore nel file " + path + " (inizio parsing: 0)");

  EXPECT_EQ(DERPARSER_mparse(nullptr, &kNothing, 1), nullptr);
  EXPECT_EQ(stackLines(), Lines{"derpar:DERPARSER_mparse:2:context (1)"});
  EXPECT_EQ(DERfParse(missing.c_str(), 0), nullptr);
  EXPECT_EQ(stackLines(),
            (Lines{"unifile:f_open:200:file '" + missing + "' non trovato",
                   "derpar:DERPARSER_fparse:301:Impossibile aprire file " + missing,
                   "derpar:DERfParse_:29:Errore nel file " + missing + " (inizio parsing: 0)"}));
  EXPECT_EQ(*get_sErroR(), 200);
}

TEST_F(DerParserTest, WarningsAndNotices) {
  {
    TraceCapture capture;
    AobjPtr tree(DERparse_(fromHex("010101").data(), 3, kDerStrict));
    EXPECT_EQ(describe(tree.get()), "BOOL01:1=FF");
    EXPECT_EQ(capture.at(4), Lines{"Valore nodo BOOL non DER: 01 (valori DER ammessi FF o 00)"});
  }
  const Bytes trailing = fromHex("3003020105FF");
  TempDir dir;
  for (const bool fromFile : {false, true}) {
    TraceCapture capture;
    Context context;
    AobjPtr tree =
        fromFile ? parseFile(&context.c, dir, trailing) : parseMemory(&context.c, trailing);
    EXPECT_EQ(describe(tree.get()), "SEQ30:3{INT02:1=05}");
    EXPECT_EQ(capture.at(4), Lines{std::string("Parsing ASN.1 terminato prima della fine ") +
                                   (fromFile ? "file " : "") + "dell'input (posizione 5)"});
  }
  EXPECT_TRUE(stackLines().empty());
  TraceCapture capture;
  Context context;
  EXPECT_EQ(parseMemory(&context.c, fromHex("300B0201013006020105050100")), nullptr);
  EXPECT_EQ(capture.at(5), Lines{"Posizione errore parsing ASN.1 = 13 (nodo 0.1.1)"});
  // Every parse clears the stack and the record.
  TRerr("elsewhere", 1, "f", 206, "before");
  AobjPtr tree = parseMemory(&context.c, fromHex("020107"));
  EXPECT_EQ(describe(tree.get()), "INT02:1=07");
  EXPECT_TRUE(stackLines().empty());
  EXPECT_EQ(*get_sErroR(), 0);
  EXPECT_EQ(context.c.error.code, 0);
  EXPECT_EQ(context.c.error.pathLength, 0);
}

// `levels` SEQUENCEs around an empty one, of indefinite or definite length.
Bytes nested(size_t levels, bool indefinite) {
  if (indefinite) {
    Bytes ber;
    for (size_t i = 0; i < levels; ++i) ber.insert(ber.begin(), {0x30, 0x80});
    ber.resize(4 * levels, 0x00);
    return ber;
  }
  Bytes der = {0x30, 0x00};
  for (size_t i = 1; i < levels; ++i) {
    const size_t n = der.size();
    Bytes head = {0x30};
    if (n >= 0x100) head.insert(head.end(), {0x82, static_cast<uint8_t>(n >> 8)});
    if (n >= 0x80 && n < 0x100) head.push_back(0x81);
    head.push_back(static_cast<uint8_t>(n));
    der.insert(der.begin(), head.begin(), head.end());
  }
  return der;
}

uint32_t levelsOf(const aobj* node) {
  uint32_t levels = 0;
  for (; node != nullptr; node = node->u.seq.count > 0 ? node->u.seq.children[0] : nullptr) {
    ++levels;
  }
  return levels;
}

TEST_F(DerParserTest, ThousandLevelsParseAndOneMoreFails) {
  TempDir dir;
  for (const bool indefinite : {true, false}) {
    Context context;
    AobjPtr tree = parseMemory(&context.c, nested(1000, indefinite));
    EXPECT_EQ(levelsOf(tree.get()), 1000u);
    EXPECT_EQ(context.c.maxDepth, 999);
    AobjPtr fromFile = parseFile(&context.c, dir, nested(1000, indefinite));
    EXPECT_EQ(levelsOf(fromFile.get()), 1000u);

    const Bytes input = nested(1001, indefinite);
    TraceCapture capture;
    EXPECT_EQ(parseMemory(&context.c, input), nullptr);
    const Lines stack = stackLines();
    ASSERT_EQ(stack.size(), 1002u);
    EXPECT_EQ(stack.front(), kMemNode + "29:Raggiunta massima profondita' gestibile");
    EXPECT_EQ(stack[1000], kMemNode + "29:Errore nel nodo figlio 0");
    EXPECT_EQ(context.c.error.pathLength, 1001);
    EXPECT_EQ(context.c.maxDepth, 1000);
    if (indefinite) EXPECT_EQ(context.c.error.position, 2002u);  // the header was read
    const Lines notices = capture.at(5);
    ASSERT_EQ(notices.size(), 1u);
    EXPECT_EQ(notices[0].rfind("Posizione errore parsing ASN.1 = ", 0), 0u);
    EXPECT_EQ(notices[0].substr(notices[0].size() - 5), "0...)");
    EXPECT_EQ(parseFile(&context.c, dir, input), nullptr);
    EXPECT_EQ(stackLines().front(),
              "derpar:DERPARSER_fparse_node:29:Raggiunta massima profondita' gestibile");
    EXPECT_EQ(context.c.error.pathLength, 1001);
  }
}

TEST_F(DerParserTest, PrimitiveBuilder) {
  for (const auto& v : test::loadVectors("asn1/derpar_errors.txt")) {
    if (v.group != "builder") continue;
    TRclrerr();
    Context context;
    const Bytes value = v.has("value") ? v.bytes("value") : Bytes{};
    const auto identifier = static_cast<uint8_t>(std::stoi(v.text("identifier"), nullptr, 16));
    AobjPtr node(DERPARSER_build_primitive_node(&context.c, identifier,
                                                v.has("value") ? value.data() : nullptr,
                                                static_cast<uint32_t>(v.number("length"))));
    if (!v.has("error")) {
      ASSERT_NE(node, nullptr) << v.where();
      EXPECT_EQ(node->kind, static_cast<uint32_t>(CLASSTR));
      EXPECT_EQ(node->length, v.number("length"));
      continue;
    }
    EXPECT_EQ(node, nullptr) << v.where();
    EXPECT_EQ(stackLines(), Lines{kBuild + "29:" + v.text("error")});
    EXPECT_EQ(context.c.error.code, 29);
  }
  TRclrerr();
  EXPECT_EQ(DERPARSER_build_primitive_node(nullptr, 0x02, nullptr, 0), nullptr);
  EXPECT_EQ(stackLines(), Lines{kBuild + "29:La lunghezza del nodo INT e' zero"});
}

Lines dumpLines(const DERPARSER& context) {
  FILE* stream = tmpfile();
  DERPARSER_dumpinfo(&context, stream);
  rewind(stream);
  Lines lines;
  char line[512];
  while (fgets(line, sizeof line, stream) != nullptr) lines.emplace_back(line);
  fclose(stream);
  return lines;
}

TEST_F(DerParserTest, DumpShowsInputRecordAndDepth) {
  TempDir dir;
  Context context;
  EXPECT_EQ(parseFile(&context.c, dir, fromHex("30800201050201")), nullptr);
  EXPECT_EQ(dumpLines(context.c),
            (Lines{"DER PARSER INFO: \n", " - Input:           " + dir.file("input.der") + "   \n",
                   " - RC:              29   \n", " - Error Pos:       [0.1] \n",
                   " - Read error pos:  7   \n", " - Max Levels:      1   \n"}));
  AobjPtr tree = parseMemory(&context.c, fromHex("3003020105"));
  EXPECT_NE(tree, nullptr);
  EXPECT_EQ(dumpLines(context.c)[3], " - Error Pos:       [] \n");
}

}  // namespace
}  // namespace sigillo
