// libsigillo.so exports exactly the entry points its header declares.
#include <gtest/gtest.h>

#include <cstdio>
#include <regex>
#include <set>

#include "tests/common/testutil.h"

namespace sigillo {
namespace {

std::set<std::string> declaredEntryPoints() {
  std::string header =
      test::readFile(std::string(SIGILLO_SOURCE_DIR) + "/include/sigillo/sigillo.h");
  std::set<std::string> names;
  static const std::regex decl(R"(SIGILLO_API\s+[a-z0-9_]+\s+\*?\s*([A-Za-z0-9_]+)\s*\()");
  for (auto it = std::sregex_iterator(header.begin(), header.end(), decl);
       it != std::sregex_iterator(); ++it) {
    names.insert((*it)[1]);
  }
  return names;
}

std::set<std::string> exportedSymbols() {
  std::string command = "nm -D --defined-only '" + std::string(SIGILLO_LIB_DIR) + "/libsigillo.so'";
  FILE* pipe = popen(command.c_str(), "r");
  std::set<std::string> names;
  if (pipe == nullptr) return names;
  char line[1024];
  while (fgets(line, sizeof line, pipe) != nullptr) {
    char type = 0;
    char name[900];
    if (sscanf(line, "%*s %c %899s", &type, name) == 2 && (type == 'T' || type == 'W')) {
      names.insert(name);
    }
  }
  pclose(pipe);
  return names;
}

TEST(Abi, ExportsAreExactlyTheHeaderEntryPoints) {
  std::set<std::string> declared = declaredEntryPoints();
  ASSERT_GT(declared.size(), 50u);
  std::set<std::string> exported = exportedSymbols();
  // Sanitizer runtimes add their own interface functions to instrumented builds.
  std::erase_if(exported, [](const std::string& s) {
    return s.rfind("__asan", 0) == 0 || s.rfind("__ubsan", 0) == 0 ||
           s.rfind("__sanitizer", 0) == 0 || s.rfind("__lsan", 0) == 0 || s == "_init" ||
           s == "_fini";
  });
  EXPECT_EQ(exported, declared);
  for (const std::string& name : declared) {
    EXPECT_TRUE(name.size() <= 8 || name == "HMCSHA256" || name == "HMCSHA512" ||
                name == "TRLOGPATH")
        << name;
  }
}

}  // namespace
}  // namespace sigillo
