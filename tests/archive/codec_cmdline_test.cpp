// The CODEC command line: every form CODA writes, and what is refused.
#include "archive/codec_cmdline.h"

#include <gtest/gtest.h>

#include "archive/codec_codes.h"
#include "tests/common/vectors.h"

namespace sigillo::codec {
namespace {

// A parsed command as "command level library|target", then each clause it holds.
std::string show(const CodecCommand& c) {
  const char* const commands[] = {"compress", "extract", "delete",     "check",
                                  "dump",     "rebuild", "selfextract"};
  std::string s = commands[static_cast<int>(c.command)] + std::to_string(c.level) + " " +
                  c.library + "|" + c.target;
  const std::pair<const char*, const std::optional<std::string>*> texts[] = {
      {"nn", &c.name},
      {"np", &c.path},
      {"xtbl", &c.table},
      {"y", &c.exclude},
      {"e", &c.report},
      {"pf", &c.memberPassword},
      {"pl", &c.libraryPassword},
      {"pln", &c.newLibraryPassword}};
  for (const auto& [key, value] : texts) s += *value ? " " + std::string(key) + "=" + **value : "";
  s += c.runtime.empty() ? "" : " r=" + c.runtime;
  const std::pair<const char*, bool> flags[] = {
      {"b", c.binary},      {"sorted", c.sorted}, {"attr", c.attributes}, {"a", c.append},
      {"nologo", c.nologo}, {"o", c.overwrite},   {"s", c.quiet},         {"m", c.keepPaths},
      {"nc", c.noClobber},  {"q", c.quick}};
  for (const auto& [key, on] : flags) s += on ? " " + std::string(key) : "";
  return s;
}

TEST(CodecCommandLine, FormsWrittenByTheMacroAndRefusedOnes) {
  for (const auto& v : test::loadVectors("archive/codec_cmdline.txt")) {
    SCOPED_TRACE(v.where());
    // CODA ends every clause with a blank; a line without the last one reads the same.
    for (const std::string& text : {v.text("line"), v.text("line") + " "}) {
      TRclrerr();
      TRclearerrstack(nullptr);
      CodecCommand c;
      EXPECT_EQ(parseCommand(text, &c), v.has("parsed") ? 0 : kSyntax);
      if (v.has("parsed")) EXPECT_EQ(show(c), v.text("parsed"));
      const auto stack = test::errorStack();
      EXPECT_EQ(stack.empty() ? "" : std::to_string(stack.back().code) + " " + stack.back().message,
                v.has("parsed") ? "" : "10 " + v.text("message"));
      EXPECT_EQ(*get_sErroR(), 0);  // detail entries never claim the stack's code
    }
  }
}

}  // namespace
}  // namespace sigillo::codec
