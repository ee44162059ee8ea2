// DER parser: every failure of buffer and file input with its exact stack,
// code, position and path; the trees made from valid BER/DER; warnings and
// notices; the depth limit; the primitive builder; the context record and
// its dump.
#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

#include "tests/asn1/derpar_test_util.h"

namespace sigillo {
namespace {

using test::Bytes;
using test::describe;
using test::fromHex;
using test::stackLines;
using test::TempDir;
using test::TraceCapture;

// A context released at the end of the test.
class Context {
 public:
  Context() { DERPARSER_init(&c); }
  ~Context() { DERPARSER_clean(&c); }
  Context(const Context&) = delete;
  Context& operator=(const Context&) = delete;
  DERPARSER c;
};

const uint8_t kNothing = 0;

AobjPtr parseMemory(DERPARSER* context, const Bytes& input) {
  return AobjPtr(DERPARSER_mparse(context, input.empty() ? &kNothing : input.data(), input.size()));
}

AobjPtr parseFile(DERPARSER* context, const TempDir& dir, const Bytes& input) {
  const std::string path = dir.file("input.der");
  test::writeBytes(path, input);
  return AobjPtr(DERPARSER_fparse(context, path.c_str(), 0));
}

std::string recordedPath(const DERPARSER& context) {
  std::string text;
  for (int32_t i = 0; i < context.error.pathLength; ++i) {
    if (i > 0) text += ".";
    text += std::to_string(context.error.path[i]);
  }
  return text;
}

std::string repeat(const std::string& piece, size_t times) {
  std::string text;
  for (size_t i = 0; i < times; ++i) text += piece;
  return text;
}

class DerParserTest : public ::testing::Test {
 protected:
  void SetUp() override { TRclrerr(); }
  void TearDown() override { TRclrerr(); }
};

const std::string kMemNode = "derpar:DERPARSER_mparse_node:";
const std::string kFileNode = "derpar:DERPARSER_fparse_node:";
const std::string kBuild = "derpar:DERPARSER_build_primitive_node:";
const std::string kMemTree = "derpar:DERPARSER_mparse:29:Albero ASN.1 non valido";
const std::string kFileTree = "derpar:DERPARSER_fparse:29:Errore nell'albero ASN.1";

struct ErrorCase {
  const char* name;
  std::string hex;
  uint32_t flags;
  std::vector<std::string> memoryStack;  // oldest first
  std::vector<std::string> fileStack;
  uint16_t code;
  uint64_t position;
  const char* path;
};

std::vector<ErrorCase> errorCases() {
  const std::string oid16 = repeat("01", 16);
  const std::string date25 = repeat("30", 25);
  return {
      {"empty input",
       "",
       0,
       {kMemNode + "29:Byte TL non presenti", kMemTree},
       {kFileNode + "29:Impossibile leggere coppia TL", kFileTree},
       29,
       0,
       "0"},
      {"identifier only",
       "30",
       0,
       {kMemNode + "29:Byte L non presente", kMemTree},
       {kFileNode + "29:Impossibile leggere coppia TL", kFileTree},
       29,
       0,
       "0"},
      {"indefinite primitive",
       "04800000",
       0,
       {kMemNode + "29:La lunghezza di un tipo ASN1 primitivo non puo' essere indefinita",
        kMemTree},
       {kFileNode + "29:La lunghezza di un tipo ASN1 primitivo non puo' essere indefinita",
        kFileTree},
       29,
       2,
       "0"},
      {"five length octets",
       "3085000000000100",
       0,
       {kMemNode + "29:La codifica di L richiede troppi byte (5)", kMemTree},
       {kFileNode + "29:La codifica di L richiede troppi byte (5)", kFileTree},
       29,
       2,
       "0"},
      {"length octets cut",
       "308201",
       0,
       {kMemNode + "29:I campo L richiede 2 bytes ma solamente 1 sono disponibil", kMemTree},
       {kFileNode + "29:Impossibile leggere byte codifica di L", kFileTree},
       29,
       2,
       "0"},
      {"four length octets cut",
       "0484000000",
       0,
       {kMemNode + "29:I campo L richiede 4 bytes ma solamente 3 sono disponibil", kMemTree},
       {kFileNode + "29:Impossibile leggere byte codifica di L", kFileTree},
       29,
       2,
       "0"},
      {"value cut",
       "04030102",
       0,
       {kMemNode + "29:Sono presenti ancora 2 byte ma il valore del nodo dovrebbe grande 3 byte",
        kMemTree},
       {kFileNode + "29:Impossibile leggere i byte V (3 byte)", kFileTree},
       29,
       2,
       "0"},
      {"huge announced value",
       "0484FFFFFFFF00",
       0,
       {kMemNode +
            "29:Sono presenti ancora 1 byte ma il valore del nodo dovrebbe grande 4294967295 byte",
        kMemTree},
       {kFileNode + "29:Impossibile leggere i byte V (4294967295 byte)", kFileTree},
       29,
       6,
       "0"},
      {"value above the read block cut",
       "04830186A0" + repeat("11", 10),
       0,
       {kMemNode +
            "29:Sono presenti ancora 10 byte ma il valore del nodo dovrebbe grande 100000 byte",
        kMemTree},
       {kFileNode + "29:Impossibile leggere i byte V (100000 byte)", kFileTree},
       29,
       5,
       "0"},
      {"child past the announced length",
       "300302020005",
       0,
       {kMemNode + "29:La dimensione del nodo ASN1 (4) ha superato la dimensione prevista (3)",
        kMemTree},
       {kFileNode + "29:La dimensione del nodo (4) ha superato la dimensione prevista (3)",
        kFileTree},
       29,
       6,
       "0"},
      {"end-of-contents in a definite node",
       "30040201050000",
       0,
       {kMemNode + "29:Nodo ASN1 non valido, figlio 1 EOC non previsto", kMemTree},
       {kFileNode + "29:Nodo ASN1 non valido, nodo figlio 1 EOC non previsto", kFileTree},
       29,
       7,
       "0"},
      {"failing child",
       "3003020500",
       0,
       {kMemNode + "29:Sono presenti ancora 1 byte ma il valore del nodo dovrebbe grande 5 byte",
        kMemNode + "29:Errore nel nodo figlio 0", kMemTree},
       {kFileNode + "29:Impossibile leggere i byte V (5 byte)",
        kFileNode + "29:Nodo ASN1 non valido, errore nel nodo figlio 0", kFileTree},
       29,
       4,
       "0.0"},
      {"indefinite node without end",
       "3080020105",
       0,
       {kMemNode + "29:Byte TL non presenti", kMemNode + "29:Errore nel nodo figlio 1", kMemTree},
       {kFileNode + "29:Impossibile leggere coppia TL",
        kFileNode + "29:Nodo ASN1 non valido, errore nel nodo figlio 1", kFileTree},
       29,
       5,
       "0.1"},
      {"error two levels down",
       "300B020101300602010505 0100",
       0,
       {kBuild + "29:Lunghezza del nodo NULL non valida (1)",
        kMemNode + "29:Errore nel nodo figlio 1", kMemNode + "29:Errore nel nodo figlio 1",
        kMemTree},
       {kBuild + "29:Lunghezza del nodo NULL non valida (1)",
        kFileNode + "29:Nodo ASN1 non valido, errore nel nodo figlio 1",
        kFileNode + "29:Nodo ASN1 non valido, errore nel nodo figlio 1", kFileTree},
       29,
       13,
       "0.1.1"},
      {"BOOLEAN of two octets",
       "01020000",
       0,
       {kBuild + "29:Lunghezza nodo BOOL non valida (2)", kMemTree},
       {kBuild + "29:Lunghezza nodo BOOL non valida (2)", kFileTree},
       29,
       4,
       "0"},
      {"empty INTEGER",
       "0200",
       0,
       {kBuild + "29:La lunghezza del nodo INT e' zero", kMemTree},
       {kBuild + "29:La lunghezza del nodo INT e' zero", kFileTree},
       29,
       2,
       "0"},
      {"empty ENUMERATED",
       "0A00",
       0,
       {kBuild + "29:La lunghezza del nodo ENUM e' zero", kMemTree},
       {kBuild + "29:La lunghezza del nodo ENUM e' zero", kFileTree},
       29,
       2,
       "0"},
      {"empty BIT STRING",
       "0300",
       0,
       {kBuild + "29:Il valore del nodo BSTR e' lungo zero byte", kMemTree},
       {kBuild + "29:Il valore del nodo BSTR e' lungo zero byte", kFileTree},
       29,
       2,
       "0"},
      {"NULL with content",
       "050100",
       0,
       {kBuild + "29:Lunghezza del nodo NULL non valida (1)", kMemTree},
       {kBuild + "29:Lunghezza del nodo NULL non valida (1)", kFileTree},
       29,
       3,
       "0"},
      {"empty OID",
       "0600",
       0,
       {kBuild + "29:Il valore del nodo OID e' lungo zero byte", kMemTree},
       {kBuild + "29:Il valore del nodo OID e' lungo zero byte", kFileTree},
       29,
       2,
       "0"},
      {"empty UTCTime",
       "1700",
       0,
       {kBuild + "29:Il valore del nodo GTIME e' lungo zero byte", kMemTree},
       {kBuild + "29:Il valore del nodo GTIME e' lungo zero byte", kFileTree},
       29,
       2,
       "0"},
      {"empty GeneralizedTime",
       "1800",
       0,
       {kBuild + "29:Il valore del nodo GTIME e' lungo zero byte", kMemTree},
       {kBuild + "29:Il valore del nodo GTIME e' lungo zero byte", kFileTree},
       29,
       2,
       "0"},
      {"OID of sixteen octets",
       "0610" + oid16,
       0,
       {"asn:ASNxOID:5:Codifica OID troppo corta (16 < 16)", kBuild + "301:Esecuzione fallita",
        kMemTree},
       {"asn:ASNxOID:5:Codifica OID troppo corta (16 < 16)", kBuild + "301:Esecuzione fallita",
        kFileTree},
       5,
       18,
       "0"},
      {"time of 25 characters",
       "1819" + date25,
       0,
       {"asn:ASNxDATE:5:Valore troppo corto (25 < 25)", kBuild + "301:Esecuzione fallita",
        kMemTree},
       {"asn:ASNxDATE:5:Valore troppo corto (25 < 25)", kBuild + "301:Esecuzione fallita",
        kFileTree},
       5,
       27,
       "0"},
      {"end-of-contents as the whole input", "0000", 0, {kMemTree}, {kFileTree}, 29, 2, ""},
      {"bytes after the node, strict",
       "3003020105FF",
       kDerStrict,
       {"derpar:DERPARSER_mparse:29:Parsing terminato prima della fine dell'input (posizione 5)"},
       {"derpar:DERPARSER_fparse:29:Parsing terminato prima della fine dell'input (posizione 5)"},
       29,
       5,
       ""},
  };
}

std::string withoutSpaces(std::string text) {
  std::erase(text, ' ');
  return text;
}

TEST_F(DerParserTest, BufferFailuresRecordStackCodePositionAndPath) {
  for (const ErrorCase& c : errorCases()) {
    SCOPED_TRACE(c.name);
    Context context;
    context.c.flags = c.flags;
    AobjPtr tree = parseMemory(&context.c, fromHex(withoutSpaces(c.hex)));
    EXPECT_EQ(tree, nullptr);
    EXPECT_EQ(stackLines(), c.memoryStack);
    EXPECT_EQ(*get_sErroR(), c.code);
    EXPECT_EQ(context.c.error.code, c.code);
    EXPECT_EQ(context.c.error.position, c.position);
    EXPECT_EQ(recordedPath(context.c), c.path);
    EXPECT_EQ(context.c.depth, -1);
  }
}

TEST_F(DerParserTest, FileFailuresRecordStackCodePositionAndPath) {
  TempDir dir;
  for (const ErrorCase& c : errorCases()) {
    SCOPED_TRACE(c.name);
    Context context;
    context.c.flags = c.flags;
    AobjPtr tree = parseFile(&context.c, dir, fromHex(withoutSpaces(c.hex)));
    EXPECT_EQ(tree, nullptr);
    EXPECT_EQ(stackLines(), c.fileStack);
    EXPECT_EQ(*get_sErroR(), c.code);
    EXPECT_EQ(context.c.error.code, c.code);
    EXPECT_EQ(context.c.error.position, c.position);
    EXPECT_EQ(recordedPath(context.c), c.path);
    EXPECT_EQ(context.c.file, nullptr);
  }
}

TEST_F(DerParserTest, WholeParsesAddTheirOwnFrame) {
  const Bytes input = fromHex("3003020500");
  EXPECT_EQ(DERparse(input.data(), input.size()), nullptr);
  char expected[128];
  snprintf(expected, sizeof expected, "Errore nel buffer 0x%p (dimensione 5 byte)",
           static_cast<const void*>(input.data()));
  std::vector<std::string> stack = stackLines();
  ASSERT_EQ(stack.size(), 4u);
  EXPECT_EQ(stack[3], std::string("derpar:DERparse_:29:") + expected);

  TempDir dir;
  const std::string path = dir.file("cut.der");
  test::writeBytes(path, fromHex("FFFF"
                                 "3003020500"));
  EXPECT_EQ(DERfParse(path.c_str(), 2), nullptr);
  stack = stackLines();
  ASSERT_EQ(stack.size(), 4u);
  EXPECT_EQ(stack[0], kFileNode + "29:Impossibile leggere i byte V (5 byte)");
  EXPECT_EQ(stack[3], "derpar:DERfParse_:29:Errore nel file " + path + " (inizio parsing: 2)");

  EXPECT_EQ(DERfLoad(path.c_str()), nullptr);
  stack = stackLines();
  ASSERT_FALSE(stack.empty());
  EXPECT_EQ(stack.back(), "derpar:DERfParse_:29:Errore nel file " + path + " (inizio parsing: 0)");
}

TEST_F(DerParserTest, MissingArgumentsAndFiles) {
  Context context;
  EXPECT_EQ(DERPARSER_mparse(&context.c, nullptr, 4), nullptr);
  EXPECT_EQ(stackLines(), std::vector<std::string>{"derpar:DERPARSER_mparse:2:buffer (2)"});
  EXPECT_EQ(context.c.error.code, 2);

  EXPECT_EQ(DERPARSER_fparse(&context.c, nullptr, 0), nullptr);
  EXPECT_EQ(stackLines(), std::vector<std::string>{"derpar:DERPARSER_fparse:2:fileName (2)"});

  const uint8_t byte = 5;
  EXPECT_EQ(DERPARSER_mparse(nullptr, &byte, 1), nullptr);
  EXPECT_EQ(stackLines(), std::vector<std::string>{"derpar:DERPARSER_mparse:2:context (1)"});

  TempDir dir;
  const std::string missing = dir.file("missing.der");
  EXPECT_EQ(DERfParse(missing.c_str(), 0), nullptr);
  EXPECT_EQ(stackLines(),
            (std::vector<std::string>{
                "unifile:f_open:200:file '" + missing + "' non trovato",
                "derpar:DERPARSER_fparse:301:Impossibile aprire file " + missing,
                "derpar:DERfParse_:29:Errore nel file " + missing + " (inizio parsing: 0)"}));
  EXPECT_EQ(*get_sErroR(), 200);
}

// A memory block of the file layer: u32 little-endian length, then the data.
struct MemoryBlock {
  explicit MemoryBlock(const Bytes& data) : bytes(4 + data.size()) {
    const auto size = static_cast<uint32_t>(data.size());
    for (int i = 0; i < 4; ++i) bytes[i] = static_cast<uint8_t>(size >> (8 * i));
    std::copy(data.begin(), data.end(), bytes.begin() + 4);
    char text[40];
    snprintf(text, sizeof text, "0x%llx",
             static_cast<unsigned long long>(reinterpret_cast<uintptr_t>(bytes.data())));
    name = text;
  }
  Bytes bytes;
  std::string name;
};

TEST_F(DerParserTest, MemoryBlockNamesAreFileInput) {
  MemoryBlock block(
      fromHex("0000"
              "3003020107"));
  AobjPtr tree(DERfParse(block.name.c_str(), 2));
  EXPECT_EQ(describe(tree.get()), "SEQ30:3{INT02:1=07}");
  EXPECT_TRUE(stackLines().empty());

  Context context;
  EXPECT_EQ(DERPARSER_fparse(&context.c, block.name.c_str(), 8), nullptr);
  EXPECT_EQ(stackLines(),
            (std::vector<std::string>{
                "unifile:f_seek:308:Errore di posizionamento nel file '" + block.name + "'",
                "derpar:DERPARSER_fparse:301:Fallito posizionamento sul file " + block.name}));
  EXPECT_EQ(context.c.error.code, 308);
}

TEST_F(DerParserTest, FilePositionsCountFromTheStartOfTheFile) {
  TempDir dir;
  const std::string path = dir.file("offset.der");
  test::writeBytes(path, fromHex("DEADBEEF"
                                 "3003020500"));
  Context context;
  EXPECT_EQ(DERPARSER_fparse(&context.c, path.c_str(), 4), nullptr);
  EXPECT_EQ(context.c.error.position, 8u);
  EXPECT_EQ(recordedPath(context.c), "0.0");

  test::writeBytes(path, fromHex("DEADBEEF"
                                 "3003020105"
                                 "FF"));
  context.c.flags = kDerStrict;
  EXPECT_EQ(DERPARSER_fparse(&context.c, path.c_str(), 4), nullptr);
  EXPECT_EQ(stackLines(), std::vector<std::string>{"derpar:DERPARSER_fparse:29:Parsing terminato "
                                                   "prima della fine dell'input (posizione 9)"});
  EXPECT_EQ(context.c.error.position, 9u);
}

struct TreeCase {
  std::string hex;
  std::string tree;
};

std::vector<TreeCase> treeCases() {
  const std::string ones = repeat("11", 128);
  return {
      {"3080020105 0000", "SEQ30:7{INT02:1=05}"},
      {"3080 0000", "SEQ30:4{}"},
      {"3000", "SEQ30:0{}"},
      {"0481 03 AABBCC", "STR04:3=AABBCC"},
      {"0482 0003 AABBCC", "STR04:3=AABBCC"},
      {"0483 000003 AABBCC", "STR04:3=AABBCC"},
      {"0484 00000003 AABBCC", "STR04:3=AABBCC"},
      {"0481 00", "STR04:0="},
      {"3004 028101 07", "SEQ30:3{INT02:1=07}"},
      {"3007 3080020105 0000", "SEQ30:9{SEQ30:7{INT02:1=05}}"},
      {"3080 3003020105 3080 0101FF 0000 0000",
       "SEQ30:18{SEQ30:3{INT02:1=05},SEQ30:7{BOOL01:1=FF}}"},
      {"2480 0401AA 0401BB 0000", "SEQ24:10{STR04:1=AA,STR04:1=BB}"},
      {"A003 020102", "SEQA0:3{INT02:1=02}"},
      {"3106 020101 020102", "SEQ31:6{INT02:1=01,INT02:1=02}"},
      {"8002 ABCD", "STR80:2=ABCD"},
      {"4101 00", "STR41:1=00"},
      {"C200", "STRC2:0="},
      {"8100", "STR81:0="},
      {"8500", "STR85:0="},
      {"0302 0780", "BIT03:2 u7=80"},
      {"0301 00", "BIT03:1 u0="},
      {"0500", "NULL05:0"},
      {"0603 551D15", "OID06:3=551D15"},
      {"170D 3235303130313132303030305A", "DATE17:13=3235303130313132303030305A"},
      {"180F 32303235303130313132303030305A", "DATE18:15=32303235303130313132303030305A"},
      {"1F01 41", "STR1F:1=41"},
      {"0001 AA", "STR00:1=AA"},
      {"0C02 6869", "STR0C:2=6869"},
      {"0A01 02", "INT0A:1=02"},
      {"0202 FF7F", "INT02:2=FF7F"},
      {"0202 0080", "INT02:2=0080"},
      {"0101 FF", "BOOL01:1=FF"},
      {"0101 00", "BOOL01:1=00"},
      {"0481 80" + ones, "STR04:128=" + ones},
  };
}

TEST_F(DerParserTest, BufferAndFileGiveTheSameTrees) {
  TempDir dir;
  for (const TreeCase& c : treeCases()) {
    SCOPED_TRACE(c.hex);
    const Bytes input = fromHex(withoutSpaces(c.hex));
    Context context;
    context.c.flags = kDerStrict;
    AobjPtr fromBuffer = parseMemory(&context.c, input);
    EXPECT_EQ(describe(fromBuffer.get()), c.tree);
    EXPECT_TRUE(stackLines().empty());
    EXPECT_EQ(context.c.error.code, 0);
    AobjPtr fromFile = parseFile(&context.c, dir, input);
    EXPECT_EQ(describe(fromFile.get()), c.tree);
    EXPECT_TRUE(stackLines().empty());
  }
}

// A node read with an indefinite length stores four octets more than its
// children; once the lengths are recomputed the tree encodes as DER.
TEST_F(DerParserTest, IndefiniteLengthsEncodeAsDerOnceResized) {
  struct Case {
    const char* ber;
    const char* der;
  };
  const Case cases[] = {
      {"3080020105 0000", "3003020105"},
      {"3080 3080 0101FF 0000 0000", "3005 3003 0101FF"},
      {"3007 3080020105 0000", "3005 3003020105"},
      {"2480 0401AA 0401BB 0000", "2406 0401AA 0401BB"},
      {"3004 028101 07", "3003 020107"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.ber);
    const Bytes ber = fromHex(withoutSpaces(c.ber));
    AobjPtr tree(DERparse_(ber.data(), ber.size(), kDerStrict));
    ASSERT_NE(tree, nullptr);
    ASNresize(tree.get());
    EXPECT_EQ(test::toHex(test::encode(tree.get())), withoutSpaces(c.der));
  }
}

TEST_F(DerParserTest, NonDerBooleanIsOnlyAWarning) {
  TraceCapture capture;
  AobjPtr tree(DERparse_(fromHex("010101").data(), 3, kDerStrict));
  EXPECT_EQ(describe(tree.get()), "BOOL01:1=FF");
  EXPECT_EQ(*get_sErroR(), 0);
  EXPECT_TRUE(stackLines().empty());
  EXPECT_EQ(capture.at(4),
            std::vector<std::string>{"Valore nodo BOOL non DER: 01 (valori DER ammessi FF o 00)"});
}

TEST_F(DerParserTest, BytesAfterTheNodeWithoutStrictFlagWarn) {
  const Bytes input = fromHex("3003020105FF");
  TempDir dir;
  {
    TraceCapture capture;
    Context context;
    AobjPtr tree = parseMemory(&context.c, input);
    EXPECT_EQ(describe(tree.get()), "SEQ30:3{INT02:1=05}");
    EXPECT_EQ(capture.at(4),
              std::vector<std::string>{
                  "Parsing ASN.1 terminato prima della fine dell'input (posizione 5)"});
    EXPECT_EQ(context.c.error.code, 0);
  }
  {
    TraceCapture capture;
    Context context;
    AobjPtr tree = parseFile(&context.c, dir, input);
    EXPECT_EQ(describe(tree.get()), "SEQ30:3{INT02:1=05}");
    EXPECT_EQ(capture.at(4),
              std::vector<std::string>{
                  "Parsing ASN.1 terminato prima della fine file dell'input (posizione 5)"});
  }
  EXPECT_TRUE(stackLines().empty());
}

TEST_F(DerParserTest, FirstErrorOnlyAddsThePositionNotice) {
  const Bytes input = fromHex("300B0201013006020105050100");
  TraceCapture capture;
  Context context;
  EXPECT_EQ(parseMemory(&context.c, input), nullptr);
  EXPECT_EQ(capture.at(5),
            std::vector<std::string>{"Posizione errore parsing ASN.1 = 13 (nodo 0.1.1)"});
  EXPECT_EQ(capture.at(3).size(), 4u);
}

std::string nestedIndefinite(size_t levels) {
  return repeat("3080", levels) + repeat("0000", levels);
}

// `levels` SEQUENCEs of definite length around an empty one.
Bytes nestedDefinite(size_t levels) {
  Bytes der = {0x30, 0x00};
  for (size_t i = 1; i < levels; ++i) {
    Bytes outer = {0x30};
    const size_t length = der.size();
    if (length < 0x80) {
      outer.push_back(static_cast<uint8_t>(length));
    } else if (length < 0x100) {
      outer.insert(outer.end(), {0x81, static_cast<uint8_t>(length)});
    } else {
      outer.insert(outer.end(),
                   {0x82, static_cast<uint8_t>(length >> 8), static_cast<uint8_t>(length)});
    }
    outer.insert(outer.end(), der.begin(), der.end());
    der = outer;
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
  for (const Bytes& input : {fromHex(nestedIndefinite(1000)), nestedDefinite(1000)}) {
    Context context;
    AobjPtr tree = parseMemory(&context.c, input);
    EXPECT_EQ(levelsOf(tree.get()), 1000u);
    EXPECT_EQ(context.c.maxDepth, 999);
    AobjPtr fromFile = parseFile(&context.c, dir, input);
    EXPECT_EQ(levelsOf(fromFile.get()), 1000u);
  }
  for (const Bytes& input : {fromHex(nestedIndefinite(1001)), nestedDefinite(1001)}) {
    Context context;
    TraceCapture capture;
    EXPECT_EQ(parseMemory(&context.c, input), nullptr);
    const std::vector<std::string> stack = stackLines();
    ASSERT_EQ(stack.size(), 1002u);
    EXPECT_EQ(stack.front(), kMemNode + "29:Raggiunta massima profondita' gestibile");
    EXPECT_EQ(stack[1000], kMemNode + "29:Errore nel nodo figlio 0");
    EXPECT_EQ(stack.back(), kMemTree);
    EXPECT_EQ(context.c.error.pathLength, 1001);
    EXPECT_EQ(context.c.maxDepth, 1000);
    const std::vector<std::string> notices = capture.at(5);
    ASSERT_EQ(notices.size(), 1u);
    EXPECT_EQ(notices[0].rfind("Posizione errore parsing ASN.1 = ", 0), 0u);
    EXPECT_EQ(notices[0].substr(notices[0].size() - 5), "0...)");

    EXPECT_EQ(parseFile(&context.c, dir, input), nullptr);
    EXPECT_EQ(stackLines().front(), kFileNode + "29:Raggiunta massima profondita' gestibile");
    EXPECT_EQ(context.c.error.pathLength, 1001);
  }
  // The refused node's header has been read.
  Context context;
  EXPECT_EQ(parseMemory(&context.c, fromHex(nestedIndefinite(1001))), nullptr);
  EXPECT_EQ(context.c.error.position, 2002u);
}

TEST_F(DerParserTest, CompleteNodesKeepNoSpareChildSlots) {
  std::string hex = "3078";
  for (int i = 0; i < 40; ++i) hex += "020101";
  AobjPtr tree(DERparse(fromHex(hex).data(), hex.size() / 2));
  ASSERT_NE(tree, nullptr);
  EXPECT_EQ(tree->u.seq.count, 40u);
  EXPECT_EQ(tree->u.seq.capacity, 41u);
  EXPECT_EQ(tree->u.seq.children[40], nullptr);
}

struct BuildCase {
  uint8_t identifier;
  bool withValue;
  uint32_t length;
  std::string message;  // empty: a node is made
};

TEST_F(DerParserTest, PrimitiveBuilderRefusesMissingValues) {
  const uint8_t value[4] = {0, 1, 2, 3};
  const BuildCase cases[] = {
      {0x03, false, 2, "Il buffer contenent il valore del nodo BSTR e' nullo"},
      {0x06, false, 2, "Il buffer contenent il valore del nodo OID e' nullo"},
      {0x17, false, 2, "Il buffer contenent il valore del nodo GTIME e' nullo"},
      {0x18, false, 2, "Il buffer contenent il valore del nodo GTIME e' nullo"},
      {0x01, false, 1, "Il buffer contenent il valore del nodo BOOL e' nullo"},
      {0x01, true, 0, "Lunghezza nodo BOOL non valida (0)"},
      {0x05, true, 2, "Lunghezza del nodo NULL non valida (2)"},
      {0x82, true, 0, ""},
      {0xC6, true, 0, ""},
      {0x04, false, 3, ""},
  };
  for (const BuildCase& c : cases) {
    SCOPED_TRACE(c.identifier);
    TRclrerr();
    Context context;
    AobjPtr node(DERPARSER_build_primitive_node(&context.c, c.identifier,
                                                c.withValue ? value : nullptr, c.length));
    if (c.message.empty()) {
      ASSERT_NE(node, nullptr);
      EXPECT_EQ(node->tag, c.identifier);
      EXPECT_EQ(node->kind, static_cast<uint32_t>(CLASSTR));
      EXPECT_EQ(node->length, c.length);
      EXPECT_TRUE(stackLines().empty());
    } else {
      EXPECT_EQ(node, nullptr);
      EXPECT_EQ(stackLines(), std::vector<std::string>{kBuild + "29:" + c.message});
      EXPECT_EQ(context.c.error.code, 29);
    }
  }
}

TEST_F(DerParserTest, PrimitiveBuilderWithoutContextOnlyRecords) {
  EXPECT_EQ(DERPARSER_build_primitive_node(nullptr, 0x02, nullptr, 0), nullptr);
  EXPECT_EQ(stackLines(),
            std::vector<std::string>{kBuild + "29:La lunghezza del nodo INT e' zero"});
}

TEST_F(DerParserTest, EveryParseClearsTheStackAndTheRecord) {
  Context context;
  EXPECT_EQ(parseMemory(&context.c, fromHex("3003020500")), nullptr);
  EXPECT_EQ(context.c.error.code, 29);
  TRerr("elsewhere", 1, "f", 206, "before");
  AobjPtr tree = parseMemory(&context.c, fromHex("020107"));
  EXPECT_EQ(describe(tree.get()), "INT02:1=07");
  EXPECT_TRUE(stackLines().empty());
  EXPECT_EQ(*get_sErroR(), 0);
  EXPECT_EQ(context.c.error.code, 0);
  EXPECT_EQ(context.c.error.pathLength, 0);
  EXPECT_EQ(context.c.maxDepth, 0);
}

TEST_F(DerParserTest, NodeParsersReportEndOfContentsWithoutANode) {
  Context context;
  const Bytes input = fromHex("0000020105");
  context.c.start = input.data();
  context.c.current = input.data();
  context.c.size = input.size();
  context.c.remaining = input.size();
  aobj sentinel{};
  aobj* node = &sentinel;
  EXPECT_EQ(DERPARSER_mparse_node(&context.c, 3, &node), 0);
  EXPECT_EQ(node, nullptr);
  EXPECT_EQ(DERPARSER_mparse_node(&context.c, 4, &node), 0);
  AobjPtr owned(node);
  EXPECT_EQ(describe(node), "INT02:1=05");
  EXPECT_EQ(context.c.path[0], 4);
  EXPECT_EQ(context.c.depth, -1);
  EXPECT_EQ(DERPARSER_fparse_node(&context.c, 0, &node), 2);
  EXPECT_EQ(stackLines().back(), "derpar:DERPARSER_fparse_node:2:context (1)");
}

std::vector<std::string> dumpLines(const DERPARSER& context) {
  FILE* stream = tmpfile();
  DERPARSER_dumpinfo(&context, stream);
  rewind(stream);
  std::vector<std::string> lines;
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
            (std::vector<std::string>{"DER PARSER INFO: \n",
                                      " - Input:           " + dir.file("input.der") + "   \n",
                                      " - RC:              29   \n", " - Error Pos:       [0.1] \n",
                                      " - Read error pos:  7   \n", " - Max Levels:      1   \n"}));

  AobjPtr tree = parseMemory(&context.c, fromHex("3006300402050000"));
  EXPECT_EQ(tree, nullptr);
  EXPECT_EQ(
      dumpLines(context.c),
      (std::vector<std::string>{"DER PARSER INFO: \n", " - Input:              \n",
                                " - RC:              29   \n", " - Error Pos:       [0.0.0] \n",
                                " - Read error pos:  6   \n", " - Max Levels:      2   \n"}));

  tree = parseMemory(&context.c, fromHex("3003020105"));
  EXPECT_NE(tree, nullptr);
  EXPECT_EQ(dumpLines(context.c),
            (std::vector<std::string>{"DER PARSER INFO: \n", " - Input:              \n",
                                      " - RC:              0   \n", " - Error Pos:       [] \n",
                                      " - Read error pos:  0   \n", " - Max Levels:      1   \n"}));
}

}  // namespace
}  // namespace sigillo
