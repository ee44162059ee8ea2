// Configuration files: line syntax, the reader loop, dotted keys, path prefixes.
#include <map>

#include "tests/framework/fwtest.h"

namespace sigillo {
namespace {

using namespace test;

// The settings handed over as "key=value" joined by '|'; a key named "stop" is refused.
int collect(void* context, const char* key, const char* value) {
  auto* pairs = static_cast<std::string*>(context);
  *pairs += (pairs->empty() ? "" : "|") + std::string(key) + "=" + value;
  return strcmp(key, "stop") == 0 ? 1 : 0;
}

const TagEntry kLeaf[] = {
    {"notBefore", nullptr}, {"notAfter", nullptr}, {"keyEncipherment", nullptr}, {}};
const TagEntry kExt[] = {{"basicConstraints", kLeaf}, {"keyUsage", kLeaf}, {}};
const TagEntry kCert[] = {
    {"version", nullptr}, {"signedWith", nullptr}, {"validity", kLeaf}, {"extensions", kExt}, {}};
const TagEntry kDeep[] = {{"a", nullptr}, {"deepest", kCert}, {}};
const TagEntry* const kTables[] = {kCert, nullptr, kDeep};

class Config : public CleanStack {
 protected:
  ~Config() override { setTagTables(nullptr, 0); }
  test::TempDir dir;
};

TEST_F(Config, VectorsNullArgumentsUnregisteredTablesAndPathLength) {
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
      const std::string path =
          v.has("path") ? replaced(v.text("path"), "{dir}", dir.path()) : dir.file("f.cfg");
      const std::string stack = replaced(field(v, "stack"), "{dir}", dir.path());
      if (!v.has("path")) test::writeFile(path, field(v, "content"));
      std::string pairs;
      EXPECT_EQ(readconfig(path.c_str(), &pairs, collect), stack.empty() ? 0 : std::stoi(stack));
      EXPECT_EQ(pairs, field(v, "pairs"));
      EXPECT_EQ(stackText(), stack);
    } else if (v.group == "tag") {
      uint32_t tag = 0xDEADBEEF;
      EXPECT_EQ(rdtag(field(v, "key").c_str(), &tag, v.has("table") ? v.number("table") : 0), rc);
      EXPECT_EQ(tag, v.number("tag"));
      EXPECT_EQ(stackText(), rc == 0 ? "" : "116 rdtag: " + v.text("message"));
    } else {
      const std::map<std::string, int> types = {
          {"sc", kPathSc}, {"conf", kPathConf}, {"cc", kPathCc}, {"file", kPathFile}};
      const int expected = types.at(v.text("type"));
      EXPECT_EQ(getPathType(field(v, "path").c_str()), expected);
      EXPECT_EQ(isSCNCnf(field(v, "path").c_str()), expected != kPathFile);
      EXPECT_EQ(TRgeterrstklen(), 0u);
    }
  }
  uint32_t tag = 0;
  EXPECT_EQ(rdtag(nullptr, &tag, 0), 2);
  EXPECT_EQ(getPathType(nullptr), 0);
  EXPECT_EQ(stackText(), "2 rdtag: label (1) | 304 getPathType: Percorso nullo non valido");
  TRclrerr();
  setTagTables(kTables, 3);
  EXPECT_EQ(rdtag("version", &tag, 1), 304);
  EXPECT_EQ(stackText(), "304 rdtag: Tabella delle etichette 1 non registrata");
  // A path is cut at 254 characters.
  const std::string prefix = dir.file(""), path = prefix + std::string(254 - prefix.size(), 'p');
  ASSERT_LT(prefix.size(), 200u);
  test::writeFile(path, "k = v\n");
  std::string pairs;
  EXPECT_EQ(readconfig((path + "-ignored").c_str(), &pairs, collect), 0);
  EXPECT_EQ(pairs, "k=v");
}

}  // namespace
}  // namespace sigillo
