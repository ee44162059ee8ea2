// Configuration files: line syntax, the reader loop, dotted keys, path prefixes.
#include "framework/config.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "framework/trace.h"
#include "tests/framework/fwtest.h"

namespace sigillo {
namespace {

using test::field;
using test::stackText;

// The settings handed over as "key=value" joined by '|'; a key named "stop" is refused.
int collect(void* context, const char* key, const char* value) {
  auto* pairs = static_cast<std::string*>(context);
  *pairs += (pairs->empty() ? "" : "|") + std::string(key) + "=" + value;
  return strcmp(key, "stop") == 0 ? 1 : 0;
}

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
const TagEntry kCertExt[] = {{"basicConstraints", kBasic},
                             {"certificatePolicy", nullptr},
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
const TagEntry kLevel4[] = {{"a", nullptr}, {"b", nullptr}, {"c", nullptr},
                            {"d", nullptr}, {"e", nullptr}, {nullptr, nullptr}};
const TagEntry kLevel3[] = {
    {"a", nullptr}, {"b", nullptr}, {"c", nullptr}, {"deep", kLevel4}, {nullptr, nullptr}};
const TagEntry kLevel2[] = {
    {"a", nullptr}, {"b", nullptr}, {"deeper", kLevel3}, {nullptr, nullptr}};
const TagEntry kDeep[] = {{"a", nullptr}, {"deepest", kLevel2}, {nullptr, nullptr}};
const TagEntry* const kTables[] = {kCert, nullptr, kDeep};

class Config : public ::testing::Test {
 protected:
  void SetUp() override { TRclrerr(); }
  void TearDown() override {
    setTagTables(nullptr, 0);
    TRsetcallback(nullptr, nullptr);
    TRsetlev(3);
    TRclrerr();
  }
  test::TempDir dir;
};

TEST_F(Config, Vectors) {
  setTagTables(kTables, 3);
  for (const auto& v : test::loadVectors("framework/config.txt")) {
    SCOPED_TRACE(v.where());
    TRclrerr();
    const uint16_t rc = v.has("rc") ? v.number("rc") : 0;
    if (v.group == "line") {
      char line[128];
      snprintf(line, sizeof line, "%s", field(v, "line").c_str());
      char* value = nullptr;
      EXPECT_EQ(spline(line, &value), rc);
      EXPECT_STREQ(line, rc == 0 ? field(v, "key").c_str() : field(v, "line").c_str());
      EXPECT_STREQ(value, rc == 0 ? field(v, "value").c_str() : nullptr);
      EXPECT_EQ(TRgeterrstklen(), 0u);  // reported through the result only
    } else if (v.group == "skipped") {
      EXPECT_EQ(iscfgemptyline(field(v, "line").c_str()), v.number("skipped") == 1);
    } else if (v.group == "file") {
      const std::string path = dir.file("f.cfg");
      test::writeFile(path, field(v, "content"));
      std::string pairs;
      EXPECT_EQ(readconfig(path.c_str(), &pairs, collect), v.has("message") ? 36 : 0);
      EXPECT_EQ(pairs, field(v, "pairs"));
      EXPECT_EQ(stackText(), v.has("message") ? "36 readconfig: " + field(v, "message") : "");
    } else if (v.group == "tag") {
      uint32_t tag = 0xDEADBEEF;
      EXPECT_EQ(rdtag(field(v, "key").c_str(), &tag, v.has("table") ? v.number("table") : 0), rc);
      EXPECT_EQ(tag, v.number("tag"));
      char expected[256] = "";
      if (rc != 0) {
        snprintf(expected, sizeof expected,
                 "116 rdtag: Label-tag '%s' non riconosciuta (Tag:0x%08X)", field(v, "key").c_str(),
                 static_cast<unsigned>(v.number("tag")));
      }
      EXPECT_EQ(stackText(), expected);
    } else {
      const std::string type = v.text("type");
      const int expected = type == "sc"     ? kPathSc
                           : type == "conf" ? kPathConf
                           : type == "cc"   ? kPathCc
                                            : kPathFile;
      EXPECT_EQ(getPathType(field(v, "path").c_str()), expected);
      EXPECT_EQ(isSCNCnf(field(v, "path").c_str()), expected != kPathFile);
      EXPECT_EQ(TRgeterrstklen(), 0u);
    }
  }
}

TEST_F(Config, NullArgumentsAndUnregisteredTables) {
  char line[] = "k=v";
  char* value = nullptr;
  uint32_t tag = 0;
  std::string pairs;
  EXPECT_EQ(spline(nullptr, &value), 2);
  EXPECT_EQ(spline(line, nullptr), 2);
  EXPECT_EQ(readconfig(nullptr, &pairs, collect), 2);
  EXPECT_EQ(readconfig("x.cfg", nullptr, nullptr), 2);
  EXPECT_EQ(rdtag(nullptr, &tag, 0), 2);
  EXPECT_EQ(rdtag("version", nullptr, 0), 2);
  EXPECT_EQ(getPathType(nullptr), 0);
  EXPECT_FALSE(isSCNCnf(nullptr));
  EXPECT_TRUE(iscfgemptyline(nullptr));
  EXPECT_EQ(stackText(),
            "2 spline: line (1) | 2 spline: value (2) | 2 readconfig: path (1) | "
            "2 readconfig: callback (3) | 2 rdtag: label (1) | 2 rdtag: tag (2) | "
            "304 getPathType: Percorso nullo non valido | 304 isSCNCnf: Percorso nullo non valido");
  setTagTables(kTables, 3);
  for (size_t table : {1, 3}) {
    TRclrerr();
    EXPECT_EQ(rdtag("version", &tag, table), 304);
    EXPECT_EQ(stackText(),
              "304 rdtag: Tabella delle etichette " + std::to_string(table) + " non registrata");
  }
  setTagTables(nullptr, 3);
  EXPECT_EQ(rdtag("version", &tag, 0), 304);
}

TEST_F(Config, OpenAndReadFailures) {
  const std::string missing = dir.file("missing.cfg"), folder = dir.path().string();
  for (const std::string& path : {missing, folder}) {
    TRclrerr();
    std::string pairs;
    EXPECT_EQ(readconfig(path.c_str(), &pairs, collect), 104);
    EXPECT_EQ(stackText(), "104 openConfig: " + path + " | 301 readconfig: Esecuzione fallita");
  }
  EXPECT_EQ(test::currentText(), "Impossibile aprire file di configurazione: " + folder);
  // Reading the start of the process's own address space fails with EIO.
  TRclrerr();
  std::string pairs;
  EXPECT_EQ(readconfig("/proc/self/mem", &pairs, collect), 112);
  EXPECT_EQ(stackText(), "112 readconfig: Errore alla riga 1");
  EXPECT_EQ(pairs, "");
}

TEST_F(Config, PathIsCutAt254Characters) {
  const std::string prefix = dir.file("");
  ASSERT_LT(prefix.size(), 200u);
  const std::string path = prefix + std::string(254 - prefix.size(), 'p');
  test::writeFile(path, "k = v\n");
  std::string pairs;
  EXPECT_EQ(readconfig((path + "-ignored").c_str(), &pairs, collect), 0);
  EXPECT_EQ(pairs, "k=v");
}

TEST_F(Config, LinesAndPairsTracedAtDebugLevel) {
  const std::string path = dir.file("dbg");
  test::writeFile(path, "   abc  \n\t\tk = v\r\n \n\nlast");
  FILE* stream = fopen(path.c_str(), "r");
  ASSERT_NE(stream, nullptr);
  std::string lines;
  char buffer[64];
  while (fgets2(buffer, sizeof buffer, stream) != nullptr) lines += std::string(buffer) + "|";
  fclose(stream);
  EXPECT_EQ(lines, "abc  |k = v\r|||last|");  // indent and line feed go

  // At debug level each setting is traced.
  test::writeFile(path, "alpha = 1\n beta= \"due\"\n");
  static std::string log;
  TRsetcallback(nullptr, [](void*, const char*, int, const char* function, uint32_t level, uint32_t,
                            const char* message) {
    if (level == 7 && strcmp(function, "readconfig") == 0) log += std::string(message) + "|";
  });
  for (uint32_t level : {6u, 7u}) {
    TRsetlev(level);
    std::string pairs;
    readconfig(path.c_str(), &pairs, collect);
  }
  EXPECT_EQ(log, "Errore sconosciuto: alpha = 1|Errore sconosciuto: beta = due|");  // no code
}

}  // namespace
}  // namespace sigillo
