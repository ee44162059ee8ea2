// libFuzzer target for the configuration reader: the input is written to a
// file and read with readconfig; the line splitter and the tag reader are
// also run on the raw bytes. Broken invariants abort.
#include <unistd.h>

#include <cctype>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "framework/config.h"
#include "framework/trace.h"
#include "fuzz/fuzz_tempfile.h"

namespace {

using sigillo::TagEntry;

const TagEntry kValidity[] = {{"notBefore", nullptr}, {"notAfter", nullptr}, {nullptr, nullptr}};
const TagEntry kKeyUsage[] = {{"digitalSignature", nullptr},
                              {"nonRepudiation", nullptr},
                              {"keyEncipherment", nullptr},
                              {nullptr, nullptr}};
const TagEntry kName[] = {{"countryName", nullptr}, {"commonName", nullptr}, {nullptr, nullptr}};
const TagEntry kExtensions[] = {
    {"keyUsage", kKeyUsage}, {"issuerAltName", kName}, {nullptr, nullptr}};
const TagEntry kCert[] = {{"version", nullptr},    {"signedWith", nullptr},     {"issuer", kName},
                          {"validity", kValidity}, {"extensions", kExtensions}, {nullptr, nullptr}};
const TagEntry* const kTables[] = {kCert};

void check(bool ok) {
  if (!ok) abort();
}

bool blank(char c) { return std::isspace(static_cast<unsigned char>(c)) != 0; }

struct Seen {
  size_t settings = 0;
};

// Accepts a setting unless its value holds '!' or its key is not a known tag.
int onSetting(void* context, const char* key, const char* value) {
  auto* seen = static_cast<Seen*>(context);
  ++seen->settings;
  check(key[0] != '\0' && !blank(key[0]) && !blank(key[strlen(key) - 1]));
  check(strchr(key, '=') == nullptr && strchr(key, '\n') == nullptr);
  uint32_t tag = 0;
  sigillo::TRenable(0);  // an unknown key is this callback's business, not an error
  bool known = sigillo::rdtag(key, &tag, 0) == 0;
  sigillo::TRenable(1);
  return strchr(value, '!') != nullptr || (key[0] == 'z' && !known) ? 1 : 0;
}

using sigillo::fuzz::tempPath;

void splitOnce(const std::string& text) {
  std::string line = text.substr(0, text.find('\n'));
  line.resize(strlen(line.c_str()));
  bool allBlank = true;
  for (char c : line) allBlank = allBlank && blank(c);
  check(!allBlank || sigillo::iscfgemptyline(line.c_str()));
  char* value = nullptr;
  if (sigillo::spline(line.data(), &value) != 0) {
    check(value == nullptr);
    return;
  }
  check(!allBlank);
  check(value >= line.data() && value <= line.data() + line.size());
  check(line[0] != '\0' && !blank(line[strlen(line.c_str()) - 1]));
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  sigillo::setTagTables(kTables, 1);
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  sigillo::TRclrerr();
  FILE* out = fopen(tempPath(), "wb");
  if (out == nullptr) abort();
  if (size > 0) fwrite(data, 1, size, out);
  fclose(out);

  Seen seen;
  uint16_t rc = sigillo::readconfig(tempPath(), &seen, &onSetting);
  check(rc == 0 || rc == 36);
  uint32_t code = 0;
  sigillo::TRgeterr(&code, nullptr, 0);
  check(code == rc);

  std::string text(reinterpret_cast<const char*>(data), size);
  sigillo::TRclrerr();
  splitOnce(text);
  std::string label = text.substr(0, 64);
  uint32_t tag = 0;
  uint16_t tagRc = sigillo::rdtag(label.c_str(), &tag, 0);
  check(tagRc == 0 || tagRc == 116);
  int type = sigillo::getPathType(label.c_str());
  check(type >= sigillo::kPathFile && type <= sigillo::kPathCc);
  check(sigillo::isSCNCnf(label.c_str()) == (type != sigillo::kPathFile));
  sigillo::TRclrerr();
  return 0;
}
