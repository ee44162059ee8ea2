// What CODA sends to CODEC and how it reads CODEC's answer.
#include <gtest/gtest.h>

#include <cstring>

#include "archive/coda.h"
#include "tests/common/testutil.h"

namespace sigillo {
namespace {

// A merged option table as the engine hands it to a handler.
class Table {
 public:
  Table& text(const char* name, const char* value) {
    WCopt o{name, 0, kWcText, strlen(value), {}, 1};
    o.value.str = const_cast<char*>(value);
    rows_.push_back(o);
    return *this;
  }
  Table& flag(const char* name) {
    rows_.push_back({name, 0, kWcFlag, 0, {}, 1});
    return *this;
  }
  Table& number(const char* name, int16_t value) {
    WCopt o{name, 0, kWcI16, 0, {}, 1};
    o.value.i16 = value;
    rows_.push_back(o);
    return *this;
  }
  WCopt* get() {
    rows_.push_back({nullptr, 0, 0, 0, {}, 0});
    return rows_.data();
  }

 private:
  std::vector<WCopt> rows_;
};

std::string text(const CodecText& t) { return std::string(t.begin(), t.end()); }

TEST(CodaCommandText, HandlerWordsAndCallCodecPartsInTheirOrder) {
  struct Row {
    const char* what;
    Table table;
    int kind;
    bool selfexp;
    const char* expected;
  };
  std::vector<Row> rows;
  rows.push_back({"cmp without mode", Table().text("lib", "l.cdl").text("fin", "a.txt"), kKindCmp,
                  false, "-c5 \"l.cdl\" \"a.txt\" -nologo "});
  rows.push_back({"cmp with everything",
                  Table()
                      .text("lib", "l")
                      .text("fin", "d")
                      .number("mode", 0)
                      .text("nn", "N")
                      .text("np", "P")
                      .flag("path")
                      .text("pf", "F")
                      .text("pl", "L")
                      .text("pln", "LN")
                      .text("excl", "*.o")
                      .text("result", "r.txt")
                      .flag("o")
                      .flag("s"),
                  kKindCmp, false,
                  "-c0 \"l\" \"d\" -nologo -nn \"N\" -o -s -np \"P\" -m -y \"*.o\" -e \"r.txt\" "
                  "-pf \"F\" -pl \"L\" -pln \"LN\" "});
  rows.push_back({"dcp plain", Table().text("lib", "l").text("fout", "o"), kKindDcp, false,
                  "-d  \"l\" \"o\" -nologo "});
  rows.push_back({"dcp binary append",
                  Table()
                      .text("lib", "l")
                      .text("fout", "o")
                      .flag("dcpbin")
                      .flag("append")
                      .flag("nc")
                      .text("dcptbl", "t.bin")
                      .text("pf", "F"),
                  kKindDcp, false, "-db \"l\" \"o\" -a -nologo -nc -xtbl \"t.bin\" -pf \"F\" "});
  rows.push_back({"dcp table from the handler option and dcptbl",
                  Table().text("lib", "l").text("fout", "o").text("xtbl", "x").text("dcptbl", "y"),
                  kKindDcp, false, "-d  \"l\" \"o\" -nologo -xtbl \"x\" -xtbl \"y\" "});
  rows.push_back({"del", Table().text("lib", "l").text("fcmp", "*").flag("path").text("pl", "L"),
                  kKindDel, false, "-k \"l\" \"*\" -nologo -m -pl \"L\" "});
  rows.push_back({"chk", Table().text("lib", "l").text("fcmp", "a*").text("excl", "b"), kKindChk,
                  false, "-x \"l\" \"a*\" -nologo -y \"b\" "});
  rows.push_back({"dump sorted quick",
                  Table().text("lib", "l").text("fcmp", "*").flag("sort").flag("quick"), kKindDump,
                  false, "-vs \"l\" \"*\" -nologo -q "});
  rows.push_back({"dump plain", Table().text("lib", "l").text("fcmp", "*"), kKindDump, false,
                  "-v  \"l\" \"*\" -nologo "});
  rows.push_back({"rebuild", Table().text("lib", "l").text("libout", "m").flag("o"), kKindRebuild,
                  false, "-r \"l\" \"m\" -nologo -o "});
  rows.push_back(
      {"selfexp",
       Table().text("lib", "l").text("libexe", "x").text("frt", "rt").text("result", "r"),
       kKindRebuild, true, "-e \"l\" \"x\" -r \"rt\" -nologo -e \"r\" "});
  for (Row& row : rows) {
    WCopt* options = row.table.get();
    CodecText command = codaWords(options, row.kind, row.selfexp);
    command += callCodecParts(options);
    EXPECT_EQ(text(command), row.expected) << row.what;
  }
}

TEST(CodaRemapErr, EveryCodeFrom0To70) {
  // Expected macro code of each CODEC code for a kind other than 5.
  std::map<int, int> mapped = {
      {1, 151},  {2, 152},  {3, 153},  {4, 154},  {5, 155},  {6, 156},  {8, 158},  {9, 159},
      {10, 160}, {11, 161}, {12, 162}, {13, 163}, {14, 203}, {15, 203}, {16, 203}, {17, 10},
      {18, 10},  {19, 10},  {20, 170}, {25, 175}, {26, 176}, {27, 177}, {28, 178}, {29, 179},
      {30, 180}, {31, 181}, {32, 182}, {33, 183}, {34, 184}, {35, 185}, {36, 186}, {37, 187},
      {39, 169}, {45, 164}, {46, 165}, {47, 166}, {48, 188}, {49, 174}, {50, 157}, {51, 171},
      {52, 172}, {53, 173}, {54, 167}, {55, 168}, {56, 148}, {57, 149}, {58, 150}};
  for (int kind = kKindCmp; kind <= kKindRebuild; ++kind) {
    for (int code = 1; code <= 70; ++code) {
      test::WarningCapture warnings;
      auto it = mapped.find(code);
      int expected = it != mapped.end() ? it->second : 30;
      if (code == 6 && kind == kKindRebuild) expected = 206;
      EXPECT_EQ(RemapErr(static_cast<uint16_t>(code), kind), expected)
          << "code " << code << " kind " << kind;
      if (it == mapped.end()) {
        ASSERT_EQ(warnings.messages().size(), 1u) << code;
        EXPECT_EQ(warnings.messages()[0],
                  "Errore sconosciuto: Errore CODEC " + std::to_string(code) + " non rimappato");
      } else {
        EXPECT_TRUE(warnings.messages().empty()) << code;
      }
    }
  }
}

TEST(CodaCheckFileSize, MissingEmptyAndFilledFiles) {
  test::TempDir dir;
  test::writeFile(dir.file("empty"), "");
  test::writeFile(dir.file("one"), "x");
  struct Row {
    std::string path;
    uint16_t code;
  } rows[] = {{dir.file("none"), 200}, {dir.file("empty"), 249}, {dir.file("one"), 0}};
  for (const Row& row : rows) {
    TRclrerr();
    EXPECT_EQ(checkFileSize(row.path.c_str()), row.code) << row.path;
    if (row.code != 0) {
      auto stack = test::errorStack();
      ASSERT_FALSE(stack.empty());
      EXPECT_EQ(stack.back().message, row.path);
      EXPECT_EQ(stack.back().code, row.code);
    }
  }
  TRclrerr();
  EXPECT_EQ(checkFileSize(dir.path().c_str()), 201);  // a folder opens but cannot be read
}

}  // namespace
}  // namespace sigillo
