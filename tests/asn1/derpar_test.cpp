// DER parser: failures with their exact stack, code, position and path, the
// trees of valid BER/DER from buffers and files, warnings, the depth limit,
// the context dump, real certificates and large values; the ASN1 macro.
#include <gtest/gtest.h>

#include <cstring>
#include <fstream>

#include "asn1/asndump.h"
#include "asn1/derload.h"
#include "sigillo/sigillo.h"
#include "tests/asn1/asn_test_util.h"

namespace sigillo {
namespace {

using namespace test;

// Messages of every level, by level, kept while the capture lives; the code
// text of 0 is taken off.
class TraceCapture {
 public:
  TraceCapture() : level_(TRgetlev()) {
    TRsetlev(9);
    TRsetcallback(&records_, [](void* records, const char*, int, const char*, uint32_t level,
                                uint32_t, const char* text) {
      const size_t skip = strncmp(text, "Errore sconosciuto: ", 20) == 0 ? 20 : 0;
      static_cast<std::vector<Lines>*>(records)->at(level).push_back(text + skip);
    });
  }
  ~TraceCapture() { TRsetcallback(nullptr, nullptr), TRsetlev(level_); }
  const Lines& at(uint32_t level) const { return records_.at(level); }

 private:
  uint32_t level_;
  std::vector<Lines> records_ = std::vector<Lines>(10);
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
  writeBytes(dir.file("input.der"), input);
  return AobjPtr(DERPARSER_fparse(context, dir.file("input.der").c_str(), 0));
}

std::string recordedPath(const DERPARSER& context) {
  std::string text;
  for (int32_t i = 0; i < context.error.pathLength; ++i)
    text += (i > 0 ? "." : "") + std::to_string(context.error.path[i]);
  return text;
}

const std::string kMemNode = "derpar:DERPARSER_mparse_node:";
const std::string kBuild = "derpar:DERPARSER_build_primitive_node:";

// Failures of the parser and of its primitive node builder, and the trees of
// valid input, from buffers and from files.
// `levels` SEQUENCEs around an empty one, of indefinite length or, as this
// library encodes them, of definite length.
Bytes nested(size_t levels, bool indefinite) {
  Bytes ber;
  for (size_t i = 0; i < levels; ++i) ber.insert(ber.begin(), {0x30, 0x80});
  ber.resize(4 * levels, 0x00);
  AobjPtr root(ASNxSEQ(CLASSEQ, kTagSequence, kSeqEnd));
  for (aobj* at = root.get(); --levels > 0; at = at->u.seq.children[0]) {
    EXPECT_EQ(ASNadd(at, ASNxSEQ(CLASSEQ, kTagSequence, kSeqEnd)), 0);
  }
  ASNresize(root.get());
  return indefinite ? ber : encode(root.get());
}

TEST(DerParser, VectorsWholeParsesWarningsDepthLimitLargeValuesAndCertificates) {
  TempDir dir;
  for (const auto& v : loadVectors("asn1/derpar_errors.txt")) {
    if (v.group == "builder") {  // the primitive node builder alone
      TRclrerr();
      Context context;
      const Bytes value = v.has("value") ? v.bytes("value") : Bytes{};
      const auto identifier = static_cast<uint8_t>(std::stoi(v.text("identifier"), nullptr, 16));
      AobjPtr node(DERPARSER_build_primitive_node(&context.c, identifier,
                                                  v.has("value") ? value.data() : nullptr,
                                                  static_cast<uint32_t>(v.number("length"))));
      if (v.has("error")) {
        EXPECT_EQ(node, nullptr) << v.where();
        EXPECT_EQ(stackLines(), Lines{kBuild + "29:" + v.text("error")});
        EXPECT_EQ(context.c.error.code, 29);
      } else {
        ASSERT_NE(node, nullptr) << v.where();
        EXPECT_EQ(node->kind, static_cast<uint32_t>(CLASSTR));
        EXPECT_EQ(node->length, v.number("length"));
      }
      continue;
    }
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
  TRclrerr();
  EXPECT_EQ(DERPARSER_build_primitive_node(nullptr, 0x02, nullptr, 0), nullptr);
  EXPECT_EQ(stackLines(), Lines{kBuild + "29:La lunghezza del nodo INT e' zero"});
  for (const auto& v : loadVectors("asn1/derpar_trees.txt")) {
    SCOPED_TRACE(v.where());
    if (v.group == "indefinite") {
      // Lengths recomputed, the tree encodes as DER.
      const Bytes ber = v.bytes("ber");
      AobjPtr tree(DERparse_(ber.data(), ber.size(), kDerStrict));
      ASSERT_NE(tree, nullptr);
      ASNresize(tree.get());
      EXPECT_EQ(toHex(encode(tree.get())), v.text("der"));
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
  const Bytes input = fromHex("3003020500");
  EXPECT_EQ(DERparse(input.data(), input.size()), nullptr);
  char expected[128];
  snprintf(expected, sizeof expected,
           "derpar:DERparse_:29:Errore nel buffer 0x%p (dimensione 5 byte)",
           static_cast<const void*>(input.data()));
  Lines stack = stackLines();
  ASSERT_EQ(stack.size(), 4u);
  EXPECT_EQ(stack[3], expected);

  const std::string path = dir.file("cut.der"), missing = dir.file("missing.der");
  writeBytes(path, fromHex("DEADBEEF3003020500"));
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
  Context record;
  EXPECT_EQ(parseFile(&record.c, dir, fromHex("30800201050201")), nullptr);
  const auto dump = [&](FILE* s) { DERPARSER_dumpinfo(&record.c, s); };
  EXPECT_EQ(written(dump), "DER PARSER INFO: \n - Input:           " + dir.file("input.der") +
                               "   \n - RC:              29   \n - Error Pos:       [0.1] \n"
                               " - Read error pos:  7   \n - Max Levels:      1   \n");
  AobjPtr tree = parseMemory(&record.c, fromHex("3003020105"));
  EXPECT_NE(tree, nullptr);
  EXPECT_EQ(split(written(dump), "\n").at(3), " - Error Pos:       [] ");
  {
    TraceCapture capture;
    AobjPtr tree(DERparse_(fromHex("010101").data(), 3, kDerStrict));
    EXPECT_EQ(describe(tree.get()), "BOOL01:1=FF");
    EXPECT_EQ(capture.at(4), Lines{"Valore nodo BOOL non DER: 01 (valori DER ammessi FF o 00)"});
  }
  const Bytes trailing = fromHex("3003020105FF");
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
  EXPECT_EQ(parseMemory(&context.c, fromHex("300B0201013006020105050100")), nullptr);
  EXPECT_EQ(capture.at(5), Lines{"Posizione errore parsing ASN.1 = 13 (nodo 0.1.1)"});
  // Every parse clears the stack and the record.
  TRerr("elsewhere", 1, "f", 206, "before");
  tree = parseMemory(&context.c, fromHex("020107"));
  EXPECT_EQ(describe(tree.get()), "INT02:1=07");
  EXPECT_TRUE(stackLines().empty());
  EXPECT_EQ(*get_sErroR(), 0);
  EXPECT_EQ(context.c.error.code, 0);
  EXPECT_EQ(context.c.error.pathLength, 0);
  for (const bool indefinite : {true, false}) {
    Context context;
    AobjPtr tree = parseMemory(&context.c, nested(1000, indefinite));
    EXPECT_EQ(getAobjDepth(tree.get()), 1000u);
    EXPECT_EQ(context.c.maxDepth, 999);
    AobjPtr fromFile = parseFile(&context.c, dir, nested(1000, indefinite));
    EXPECT_EQ(getAobjDepth(fromFile.get()), 1000u);

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
  const std::string large = dir.file("value.der");
  // Up to 655360 octets a value is read into the tree.
  for (const uint32_t length : {655360u, 655361u}) {
    const uint32_t n = length + 5;
    Bytes der = {0x30, 0x83, uint8_t(n >> 16),      uint8_t(n >> 8),      uint8_t(n),
                 0x04, 0x83, uint8_t(length >> 16), uint8_t(length >> 8), uint8_t(length)};
    der.resize(der.size() + length, 0x5A);
    writeBytes(large, der);
    AobjPtr tree(DERfLoad(large.c_str()));
    ASSERT_NE(tree, nullptr);
    const aobj* value = tree->u.seq.children[0];
    EXPECT_EQ(value->kind, length > 655360 ? CLASINDIR : CLASSTR) << length;
    if (length > 655360) EXPECT_EQ(describe(value), "IND04:655361@10");
    EXPECT_EQ(encode(tree.get()), der);
  }
  const std::string sparse = dir.file("sparse.der");
  // Two values of 2^31 - 1 octets: the second one no longer fits the
  // 32-bit length of their parent.
  {
    std::ofstream out(sparse, std::ios::binary);
    out.write("\x30\x80\x04\x84\x7F\xFF\xFF\xFF", 8);
    out.seekp(0x80000007);
    out.write("\x04\x84\x7F\xFF\xFF\xFF", 6);
  }
  std::filesystem::resize_file(sparse, 0x10000000Cull);
  TRclrerr();
  EXPECT_EQ(DERPARSER_fparse(&context.c, sparse.c_str(), 0), nullptr);
  EXPECT_EQ(stackLines(),
            (Lines{"asn:insertChild:5:Valore troppo grande (2147483653 byte)",
                   "derpar:DERPARSER_fparse_node:301:Fallita aggiunta del nodo figlio n. 1",
                   "derpar:DERPARSER_fparse:29:Errore nell'albero ASN.1"}));
  EXPECT_EQ(context.c.error.position, 0x10000000Cull);
  // Certificates of the system CA bundle and one made by the openssl command
  // re-encode to the same bytes, from a buffer and from a file.
  const std::string all = certificateDir().file("all.der");
  test::run("cd '" + certificateDir().path().string() +
            "' && (cat c.der; for f in $(ls /etc/ssl/certs/*.pem | sort | head -40); do openssl "
            "x509 -in $f -outform DER; done) > all.der");
  const Bytes bytes = fileBytes(all);
  size_t count = 0;
  for (size_t at = 0, size = 0; at + 4 <= bytes.size(); at += size, ++count) {
    ASSERT_EQ(bytes[at + 1], 0x82);  // every certificate is 256 to 65535 bytes long
    size = 4 + (bytes[at + 2] << 8 | bytes[at + 3]);
    const Bytes der(bytes.begin() + at, bytes.begin() + at + size);
    AobjPtr fromBuffer(DERparse_(der.data(), size, kDerStrict));
    ASSERT_NE(fromBuffer, nullptr) << ::testing::PrintToString(stackLines());
    EXPECT_EQ(encode(fromBuffer.get()), der);
    AobjPtr fromFile(DERfParse_(all.c_str(), at, 0));  // the next ones follow
    EXPECT_EQ(describe(fromFile.get()), describe(fromBuffer.get()));
  }
  EXPECT_GE(count, 2u);
  // A SEQUENCE of 300 NULLs keeps every child.
  Bytes many = {0x30, 0x82, 0x02, 0x58};
  for (int i = 0; i < 300; ++i) many.insert(many.end(), {0x05, 0x00});
  tree.reset(DERparse(many.data(), many.size()));
  ASSERT_NE(tree, nullptr);
  EXPECT_EQ(tree->u.seq.count, 300u);
}

std::string file(const char* name) { return certificateDir().file(name); }

// The entry and its twin give the same code (a dump file is written once).
uint16_t run(const std::string& params) {
  const auto length = static_cast<uint32_t>(params.size());
  uint16_t rc = 0, twin = 0;
  ASN1(params.c_str(), &length, &rc);
  if (params.find("-fdump") == std::string::npos) {
    YASN1(params.c_str(), &length, &twin);
    EXPECT_EQ(twin, rc) << params;
  }
  return rc;
}

TEST(Asn1Macro, DumpAndParseOfDerPemAndBrokenInput) {
  ASSERT_EQ(run("dump -fin " + file("c.der") + " -fdump " + file("der.txt")), 0);
  ASSERT_EQ(run("dump -fin " + file("c.pem") + " -fdump " + file("pem.txt")), 0);
  // The dump of the library's own parser, as the writers make it.
  AobjPtr tree(DERfLoad(file("c.der").c_str()));
  ASSERT_NE(tree, nullptr);
  const std::string dump = readFile(file("der.txt"));
  EXPECT_EQ(dump, written([&](FILE* s) { ASNdumpEx(s, tree.get()); }));
  EXPECT_EQ(dump, readFile(file("pem.txt")));
  // An existing dump file is replaced only with -o.
  writeFile(file("old.txt"), "old");
  EXPECT_EQ(run("dump -fin " + file("c.der") + " -fdump " + file("old.txt")), 206);
  EXPECT_EQ(errorStack().front().message, file("old.txt"));
  EXPECT_EQ(readFile(file("old.txt")), "old");
  EXPECT_EQ(run("dump -o -fin " + file("c.der") + " -fdump " + file("old.txt")), 0);
  EXPECT_EQ(readFile(file("old.txt")), dump);
  const std::string der = readFile(file("c.der"));
  writeFile(file("cut.der"), der.substr(0, der.size() - 10));
  writeFile(file("tail.der"), der + std::string("\0\0", 2));
  testing::internal::CaptureStdout();
  ASSERT_EQ(run("parse -fin " + file("c.der")), 0);
  EXPECT_GT(getAobjCount(tree.get()), 20u);
  const std::string line = "Nodi ASN.1: " + std::to_string(getAobjCount(tree.get())) +
                           ", livelli: " + std::to_string(getAobjDepth(tree.get())) + "\n";
  EXPECT_EQ(testing::internal::GetCapturedStdout(), line + line);  // the entry and its twin
  testing::internal::CaptureStdout();
  EXPECT_EQ(run("parse -fin " + file("cut.der")), 29);
  EXPECT_EQ(errorStack().back().function, "asn1_parse");
  EXPECT_EQ(errorStack().back().code, 29u);
  const std::string out = testing::internal::GetCapturedStdout();
  EXPECT_NE(out.find("DER PARSER INFO: \n - Input:           " + file("cut.der")),
            std::string::npos);
  EXPECT_NE(out.find(" - RC:              29   \n"), std::string::npos);
  testing::internal::CaptureStdout();
  EXPECT_EQ(run("parse -fin " + file("tail.der")), 0);
  EXPECT_EQ(run("parse -fin " + file("tail.der") + " -strict"), 29);
  EXPECT_NE(run("parse -fin " + file("absent.der")), 0);
  testing::internal::GetCapturedStdout();
  EXPECT_EQ(run("dump"), 214);
  EXPECT_EQ(run("verify -fin " + file("c.der")), 212);
}

}  // namespace
}  // namespace sigillo
