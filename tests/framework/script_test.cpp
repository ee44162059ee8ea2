// -script files: text appended to the parameters, at most 1 MiB of it.
#include <sys/stat.h>
#include <unistd.h>

#include <thread>

#include "tests/framework/fwtest.h"

namespace sigillo {
namespace {

using namespace test;

std::string seen;  // the -val the handler got

WCopt valueOptions[] = {opt("val", kWcText), opt()};

uint16_t valueHandler(WCopt* options) {
  const char* value = WCoptstr(options, "val");
  seen = value != nullptr ? value : "(none)";
  return 0;
}

const WCcmd kCommands[] = {{"show", valueOptions, valueHandler}, {nullptr, nullptr, nullptr}};

constexpr size_t kLimit = 1 << 20;

// A script of exactly `size` bytes: the option, then lines of blanks.
std::string script(size_t size) {
  std::string text = "-val dallo_script\n";
  const std::string line = std::string(63, ' ') + "\n";
  while (text.size() + line.size() <= size) text += line;
  text += std::string(size - text.size(), ' ');
  return text;
}

class ScriptFiles : public CleanStack {
 protected:
  TempDir dir;
  uint16_t run(const std::string& params) {
    seen.clear();
    uint32_t length = static_cast<uint32_t>(params.size());
    uint16_t rc = 999;
    EXPECT_EQ(macro("PROVA", kCommands, params.c_str(), &length, &rc), rc);
    return rc;
  }
  std::string refusal(const std::string& name, size_t size) {
    return "Il file di script '" + name + "' (" + std::to_string(size) +
           " byte) supera il limite di 1048576 byte";
  }
};

TEST_F(ScriptFiles, UpToOneMebibyte) {
  struct Case {
    size_t size;
    uint16_t code;
  };
  for (const Case& c : {Case{kLimit, 0}, Case{kLimit + 1, 216}, Case{8 * kLimit, 216}}) {
    SCOPED_TRACE(c.size);
    const std::string name = dir.file("s.txt");
    writeFile(name, script(c.size));
    EXPECT_EQ(run("show -script " + name), c.code);
    EXPECT_EQ(seen, c.code == 0 ? "dallo_script" : "");
    if (c.code != 0) EXPECT_EQ(firstMessage(), refusal(name, c.size));
  }
}

// A memory file's length is known before reading, like a disk file's.
TEST_F(ScriptFiles, MemoryFileByItsLength) {
  std::string block(4 + kLimit + 1, ' ');
  const uint32_t length = kLimit + 1;
  memcpy(block.data(), &length, 4);
  const std::string name = memoryName(block.data());
  EXPECT_EQ(run("show -script " + name), 216);
  EXPECT_EQ(firstMessage(), refusal(name, kLimit + 1));
}

// A pipe's size is only known once read: it is refused then.
TEST_F(ScriptFiles, PipeOnceRead) {
  const std::string name = dir.file("fifo");
  ASSERT_EQ(mkfifo(name.c_str(), 0600), 0);
  const std::string text = script(kLimit + 1);
  std::thread writer([&] {
    FILE* out = fopen(name.c_str(), "w");
    if (out == nullptr) return;
    fwrite(text.data(), 1, text.size(), out);
    fclose(out);
  });
  EXPECT_EQ(run("show -script " + name), 216);
  writer.join();
  EXPECT_EQ(seen, "");
  EXPECT_EQ(firstMessage(), refusal(name, kLimit + 1));
}

}  // namespace
}  // namespace sigillo
