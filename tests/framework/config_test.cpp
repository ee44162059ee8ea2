// Configuration files: line syntax, the reader loop, dotted keys, path prefixes.
#include "framework/config.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <utility>
#include <vector>

#include "framework/trace.h"
#include "tests/common/testutil.h"

namespace sigillo {
namespace {

namespace fs = std::filesystem;
using Pairs = std::vector<std::pair<std::string, std::string>>;

using test::Recorded;
constexpr auto Stack = test::errorStack;

void ExpectStack(const std::vector<Recorded>& expected) {
  std::vector<Recorded> stack = Stack();
  ASSERT_EQ(stack.size(), expected.size());
  for (size_t i = 0; i < stack.size(); ++i) {
    SCOPED_TRACE(i);
    EXPECT_EQ(stack[i].file, expected[i].file);
    EXPECT_EQ(stack[i].function, expected[i].function);
    EXPECT_EQ(stack[i].code, expected[i].code);
    EXPECT_EQ(stack[i].message, expected[i].message);
  }
  uint32_t code = 0;
  TRgeterr(&code, nullptr, 0);
  EXPECT_EQ(code, expected.empty() ? 0u : expected[0].code);
}

// Collects the pairs; refuses a key named "stop" and records nothing itself.
struct Collector {
  Pairs pairs;
  static int Take(void* context, const char* key, const char* value) {
    auto* self = static_cast<Collector*>(context);
    self->pairs.emplace_back(key, value);
    return strcmp(key, "stop") == 0 ? 1 : 0;
  }
};

class ConfigFile : public ::testing::Test {
 protected:
  void SetUp() override {
    TRclrerr();
    const auto* info = ::testing::UnitTest::GetInstance()->current_test_info();
    dir_ = fs::temp_directory_path() /
           (std::string("sigillo-config-") + std::to_string(getpid()) + "-" + info->name());
    fs::remove_all(dir_);
    fs::create_directories(dir_);
  }
  void TearDown() override {
    TRclrerr();
    fs::remove_all(dir_);
  }
  std::string Write(const std::string& leaf, const std::string& content) const {
    std::string path = (dir_ / leaf).string();
    std::ofstream(path, std::ios::binary) << content;
    return path;
  }
  fs::path dir_;
};

// ---------------------------------------------------------------- line syntax

TEST(ConfigLine, Spline) {
  struct Row {
    const char* line;
    uint16_t rc;
    const char* key;
    const char* value;
  } rows[] = {
      {"key=value", 0, "key", "value"},
      {"key   =   value  ", 0, "key", "value"},
      {"key\t=\tvalue\t", 0, "key", "value"},
      {"subject.commonName = \"  Mario  Rossi  \"   ", 0, "subject.commonName", "  Mario  Rossi  "},
      {"a=b=c", 0, "a", "b=c"},
      {"a = b = c ", 0, "a", "b = c"},
      {"k = value\r", 0, "k", "value"},
      {"k = \"", 0, "k", ""},
      {"k = \"\"", 0, "k", ""},
      {"k = \"abc", 0, "k", "\"abc"},
      {"k = abc\"", 0, "k", "abc\""},
      {"k = \"a\\\"b\"", 0, "k", "a\\\"b"},  // nothing inside is unescaped
      {"k = \"x\" y", 0, "k", "\"x\" y"},
      {"k=#not a comment", 0, "k", "#not a comment"},
      {"=value", 36, nullptr, nullptr},
      {"= value", 36, nullptr, nullptr},
      {"key=", 36, nullptr, nullptr},
      {"key =   \t", 36, nullptr, nullptr},
      {"key = \r", 36, nullptr, nullptr},
      {"no separator", 36, nullptr, nullptr},
      {"   = value", 36, nullptr, nullptr},
      {"", 36, nullptr, nullptr},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.line);
    char line[128];
    snprintf(line, sizeof line, "%s", row.line);
    char* value = nullptr;
    EXPECT_EQ(spline(line, &value), row.rc);
    if (row.rc == 0) {
      EXPECT_STREQ(line, row.key);
      ASSERT_NE(value, nullptr);
      EXPECT_STREQ(value, row.value);
    } else {
      EXPECT_STREQ(line, row.line);  // a refused line is left as it was
      EXPECT_EQ(value, nullptr);
    }
  }
  EXPECT_EQ(TRgeterrstklen(), 0u);  // spline reports through its result only
}

TEST(ConfigLine, SplineNullArguments) {
  TRclrerr();
  char* value = nullptr;
  EXPECT_EQ(spline(nullptr, &value), 2);
  ExpectStack({{"config", "spline", 2, "line (1)"}});
  TRclrerr();
  char line[] = "k=v";
  EXPECT_EQ(spline(line, nullptr), 2);
  ExpectStack({{"config", "spline", 2, "value (2)"}});
  TRclrerr();
}

TEST(ConfigLine, EmptyAndCommentLines) {
  struct Row {
    const char* line;
    bool skipped;
  } rows[] = {
      {"", true},
      {"   ", true},
      {"\t\r\n", true},
      {"#comment", true},
      {"  # comment", true},
      {"/x", true},
      {"//c++ style", true},
      {"\t/", true},
      {"k=v", false},
      {" k = v", false},
      {"=", false},
      {"k=#v", false},
      {nullptr, true},
  };
  for (const Row& row : rows) {
    EXPECT_EQ(iscfgemptyline(row.line), row.skipped) << (row.line ? row.line : "(null)");
  }
}

TEST_F(ConfigFile, Fgets2StripsIndentAndLineFeed) {
  std::string path = Write("lines", "   abc  \n\t\tk = v\r\n \n\nlast");
  FILE* stream = fopen(path.c_str(), "r");
  ASSERT_NE(stream, nullptr);
  std::vector<std::string> lines;
  char buffer[64];
  while (fgets2(buffer, sizeof buffer, stream) != nullptr) lines.push_back(buffer);
  fclose(stream);
  EXPECT_EQ(lines, (std::vector<std::string>{"abc  ", "k = v\r", "", "", "last"}));
}

// ---------------------------------------------------------------- readconfig

TEST_F(ConfigFile, ReadsPairsInFileOrder) {
  std::string path = Write("ok.cfg",
                           "# certificate settings\n"
                           "\n"
                           "   version = 3\n"
                           "subject.commonName   =   \"Mario Rossi \"   \n"
                           "/ another comment\n"
                           "\t\n"
                           "a=b=c\n"
                           "crlf = yes\r\n"
                           "\r\n"
                           "quote = \"\n"
                           "last=no newline");
  Collector collector;
  EXPECT_EQ(readconfig(path.c_str(), &collector, &Collector::Take), 0);
  EXPECT_EQ(collector.pairs, (Pairs{{"version", "3"},
                                    {"subject.commonName", "Mario Rossi "},
                                    {"a", "b=c"},
                                    {"crlf", "yes"},
                                    {"quote", ""},
                                    {"last", "no newline"}}));
  EXPECT_EQ(TRgeterrstklen(), 0u);
}

TEST_F(ConfigFile, FailuresNameTheLine) {
  const std::string longValue(1500, 'x');
  struct Row {
    const char* label;
    std::string content;
    size_t callbacks;  // settings handed over before the stop
    std::string message;
  } rows[] = {
      {"starts_with_equal", "k=v\n\n# c\n=bad\nz=1\n", 1, "Errore di formattazione alla riga 4"},
      {"empty_value", "k=v\nempty=  \n", 1, "Errore di formattazione alla riga 2"},
      {"no_equal", "/ c\n# c\n\nk=v\nnoequal\n", 1, "Errore di formattazione alla riga 5"},
      {"refused", "a=1\nstop = now \nb=2\n", 2, "Errore sul valore 'stop'='now' (linea 2)"},
      {"refused_after_comments", "# 1\n# 2\n\n\nstop=\"q v\"\n", 1,
       "Errore sul valore 'stop'='q v' (linea 5)"},
      // 1022 characters fit the buffer; the rest of the line is read as line 2.
      {"long_line", "k=" + longValue + "\n", 1, "Errore di formattazione alla riga 2"},
      // A line of exactly 1022 characters leaves its line feed as an empty line 2.
      {"exact_buffer", "k=" + std::string(1020, 'y') + "\nbad\n", 1,
       "Errore di formattazione alla riga 3"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.label);
    TRclrerr();
    std::string path = Write(row.label, row.content);
    Collector collector;
    EXPECT_EQ(readconfig(path.c_str(), &collector, &Collector::Take), 36);
    EXPECT_EQ(collector.pairs.size(), row.callbacks);
    ExpectStack({{"config", "readconfig", 36, row.message}});
  }
}

TEST_F(ConfigFile, LongLineFirstPartIsASetting) {
  std::string path = Write("long", "k=" + std::string(1500, 'x') + "\n");
  Collector collector;
  readconfig(path.c_str(), &collector, &Collector::Take);
  ASSERT_EQ(collector.pairs.size(), 1u);
  EXPECT_EQ(collector.pairs[0].second, std::string(1020, 'x'));
}

TEST_F(ConfigFile, OpenAndReadFailures) {
  std::string missing = (dir_ / "missing.cfg").string();
  struct Row {
    std::string path;
    uint16_t code;
    std::vector<Recorded> stack;
  } rows[] = {
      {missing,
       104,
       {{"config", "openConfig", 104, missing},
        {"config", "readconfig", 301, "Esecuzione fallita"}}},
      {dir_.string(),
       104,
       {{"config", "openConfig", 104, dir_.string()},
        {"config", "readconfig", 301, "Esecuzione fallita"}}},
      // Reading the start of the process's own address space fails with EIO.
      {"/proc/self/mem", 112, {{"config", "readconfig", 112, "Errore alla riga 1"}}},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.path);
    TRclrerr();
    Collector collector;
    EXPECT_EQ(readconfig(row.path.c_str(), &collector, &Collector::Take), row.code);
    EXPECT_TRUE(collector.pairs.empty());
    ExpectStack(row.stack);
  }
  TRclrerr();
  char text[512];
  readconfig(missing.c_str(), nullptr, &Collector::Take);
  TRgeterr(nullptr, text, sizeof text);
  EXPECT_EQ(std::string(text), "Impossibile aprire file di configurazione: " + missing);

  TRclrerr();
  EXPECT_EQ(readconfig(nullptr, nullptr, &Collector::Take), 2);
  ExpectStack({{"config", "readconfig", 2, "path (1)"}});
  TRclrerr();
  EXPECT_EQ(readconfig(missing.c_str(), nullptr, nullptr), 2);
  ExpectStack({{"config", "readconfig", 2, "callback (3)"}});
}

TEST_F(ConfigFile, PathIsCutAt254Characters) {
  std::string prefix = (dir_ / "").string();
  ASSERT_LT(prefix.size(), 200u);
  std::string leaf(254 - prefix.size(), 'p');
  std::string path = Write(leaf, "k = v\n");
  ASSERT_EQ(path.size(), 254u);
  Collector collector;
  EXPECT_EQ(readconfig((path + "-ignored").c_str(), &collector, &Collector::Take), 0);
  EXPECT_EQ(collector.pairs, (Pairs{{"k", "v"}}));
}

struct DebugLog {
  std::vector<std::string> messages;
  static void Collect(void* arg, const char*, int, const char* function, uint32_t level, uint32_t,
                      const char* message) {
    if (level == 7 && strcmp(function, "readconfig") == 0) {
      static_cast<DebugLog*>(arg)->messages.push_back(message);
    }
  }
};

TEST_F(ConfigFile, PairsAreTracedAtDebugLevel) {
  std::string path = Write("dbg", "alpha = 1\n beta= \"due\"\n");
  DebugLog log;
  const uint32_t level = TRgetlev();
  TRsetcallback(&log, &DebugLog::Collect);
  TRsetlev(6);
  Collector quiet;
  readconfig(path.c_str(), &quiet, &Collector::Take);
  EXPECT_TRUE(log.messages.empty());
  TRsetlev(7);
  Collector collector;
  readconfig(path.c_str(), &collector, &Collector::Take);
  TRsetcallback(nullptr, nullptr);
  TRsetlev(level);
  ASSERT_EQ(log.messages.size(), 2u);
  for (size_t i = 0; i < 2; ++i) {
    const std::string expected = i == 0 ? "alpha = 1" : "beta = due";
    const std::string& got = log.messages[i];
    ASSERT_GE(got.size(), expected.size());
    EXPECT_EQ(got.substr(got.size() - expected.size()), expected);
  }
}

// ---------------------------------------------------------------- rdtag

const TagEntry kRdn[] = {{"countryName", nullptr},
                         {"stateOrProvinceName", nullptr},
                         {"localityName", nullptr},
                         {"organizationName", nullptr},
                         {"organizationalUnitName", nullptr},
                         {"commonName", nullptr},
                         {nullptr, nullptr}};
const TagEntry kValidity[] = {{"notBefore", nullptr}, {"notAfter", nullptr}, {nullptr, nullptr}};
const TagEntry kKeyUsage[] = {{"digitalSignature", nullptr},
                              {"nonRepudiation", nullptr},
                              {"keyEncipherment", nullptr},
                              {nullptr, nullptr}};
const TagEntry kBasic[] = {{"isCA", nullptr}, {"pathLenConstraint", nullptr}, {nullptr, nullptr}};
const TagEntry kPolicy[] = {{"poliID", nullptr}, {"cPSuri", nullptr}, {nullptr, nullptr}};
const TagEntry kCertExt[] = {{"basicConstraints", kBasic},
                             {"certificatePolicy", kPolicy},
                             {"keyUsage", kKeyUsage},
                             {nullptr, nullptr}};
const TagEntry kCert[] = {{"version", nullptr},
                          {"algorithm", nullptr},
                          {"signedWith", nullptr},
                          {"issuer", kRdn},
                          {"validity", kValidity},
                          {"extensions", kCertExt},
                          {"userTranslationTable", nullptr},
                          {nullptr, nullptr}};
// Four levels deep: positions 1, 2, 3 and 4.
const TagEntry kLevel4[] = {{"a", nullptr}, {"b", nullptr}, {"c", nullptr},
                            {"d", nullptr}, {"e", nullptr}, {nullptr, nullptr}};
const TagEntry kLevel3[] = {
    {"a", nullptr}, {"b", nullptr}, {"c", nullptr}, {"deep", kLevel4}, {nullptr, nullptr}};
const TagEntry kLevel2[] = {
    {"a", nullptr}, {"b", nullptr}, {"deeper", kLevel3}, {nullptr, nullptr}};
const TagEntry kDeep[] = {{"a", nullptr}, {"deepest", kLevel2}, {nullptr, nullptr}};
const TagEntry* const kTables[] = {kCert, nullptr, kDeep};

class TagReader : public ::testing::Test {
 protected:
  void SetUp() override {
    TRclrerr();
    setTagTables(kTables, 3);
  }
  void TearDown() override {
    setTagTables(nullptr, 0);
    TRclrerr();
  }
};

TEST_F(TagReader, PacksOneBytePerLevel) {
  struct Row {
    const char* key;
    size_t table;
    uint32_t tag;
  } rows[] = {
      {"version", 0, 0x0},
      {"signedWith", 0, 0x2},
      {"userTranslationTable", 0, 0x6},
      {"issuer", 0, 0x3},
      {"issuer.commonName", 0, 0x305},
      {"validity.notBefore", 0, 0x400},
      {"validity.notAfter", 0, 0x401},
      {"VALIDITY.NOTAFTER", 0, 0x401},
      {"Extensions.KeyUsage.keyencipherment", 0, 0x50202},
      {"extensions.keyUsage", 0, 0x502},
      {"extensions.basicConstraints.pathLenConstraint", 0, 0x50001},
      {"deepest.deeper.deep.e", 2, 0x01020304},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.key);
    uint32_t tag = 0xDEADBEEF;
    EXPECT_EQ(rdtag(row.key, &tag, row.table), 0);
    EXPECT_EQ(tag, row.tag);
  }
  EXPECT_EQ(TRgeterrstklen(), 0u);
}

TEST_F(TagReader, UnknownLabels) {
  struct Row {
    const char* key;
    uint32_t tag;  // built before the failing label
  } rows[] = {
      {"unknown", 0x0},
      {"", 0x0},
      {"versionx", 0x0},
      {"versio", 0x0},
      {"validity.notNow", 0x400},
      {"validity.", 0x400},
      {".validity", 0x0},
      {"validity..notAfter", 0x400},
      {"version.sub", 0x0},  // no sub-table under "version"
      {"signedWith.x", 0x2},
      {"validity.notAfter.more", 0x401},
      {"extensions.keyUsage.bogus", 0x50200},
      {"deepest.deeper.deep.f", 0x01020300},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.key);
    TRclrerr();
    uint32_t tag = 0xDEADBEEF;
    EXPECT_EQ(rdtag(row.key, &tag, strncmp(row.key, "deepest", 7) == 0 ? 2 : 0), 116);
    EXPECT_EQ(tag, row.tag);
    char expected[256];
    snprintf(expected, sizeof expected, "Label-tag '%s' non riconosciuta (Tag:0x%08X)", row.key,
             row.tag);
    ExpectStack({{"config", "rdtag", 116, expected}});
  }
}

TEST_F(TagReader, TableChoiceAndArguments) {
  struct Row {
    const char* key;
    uint32_t* tag;
    size_t table;
    uint16_t code;
    const char* message;
  };
  uint32_t tag = 0;
  const Row rows[] = {
      {"version", &tag, 1, 304, "Tabella delle etichette 1 non registrata"},
      {"version", &tag, 3, 304, "Tabella delle etichette 3 non registrata"},
      {nullptr, &tag, 0, 2, "label (1)"},
      {"version", nullptr, 0, 2, "tag (2)"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.message);
    TRclrerr();
    EXPECT_EQ(rdtag(row.key, row.tag, row.table), row.code);
    ExpectStack({{"config", "rdtag", row.code, row.message}});
  }
  TRclrerr();
  setTagTables(nullptr, 3);
  EXPECT_EQ(rdtag("version", &tag, 0), 304);
}

// ---------------------------------------------------------------- path prefixes

TEST(ConfigPath, PrefixTypes) {
  struct Row {
    const char* path;
    int type;
  } rows[] = {
      {"sc:reader", kPathSc},
      {"SC:reader", kPathSc},
      {"sC:", kPathSc},
      {"conf:key.cfg", kPathConf},
      {"CONF:key.cfg", kPathConf},
      {"Conf:", kPathConf},
      {"cc:icsf", kPathCc},
      {"CC:", kPathCc},
      {"key.der", kPathFile},
      {"sc", kPathFile},
      {"conf", kPathFile},
      {"cc", kPathFile},
      {"", kPathFile},
      {"/etc/sc:x", kPathFile},
      {"scx:", kPathFile},
      {" conf:x", kPathFile},
      {"confx:", kPathFile},
  };
  TRclrerr();
  for (const Row& row : rows) {
    SCOPED_TRACE(row.path);
    EXPECT_EQ(getPathType(row.path), row.type);
    EXPECT_EQ(isSCNCnf(row.path), row.type != kPathFile);
  }
  EXPECT_EQ(TRgeterrstklen(), 0u);
}

TEST(ConfigPath, NullPath) {
  TRclrerr();
  EXPECT_EQ(getPathType(nullptr), 0);
  ExpectStack({{"config", "getPathType", 304, "Percorso nullo non valido"}});
  TRclrerr();
  EXPECT_FALSE(isSCNCnf(nullptr));
  ExpectStack({{"config", "isSCNCnf", 304, "Percorso nullo non valido"}});
  TRclrerr();
}

}  // namespace
}  // namespace sigillo
