// What CODA sends to CODEC and how it reads CODEC's answer.
#include <gtest/gtest.h>

#include <cstring>
#include <deque>
#include <sstream>

#include "archive/coda.h"
#include "tests/common/vectors.h"

namespace sigillo {
namespace {

// A merged option table as the engine hands it to a handler, from the words
// "name=text", "name:number" (16-bit) and "name" (a flag); `text` holds the values.
std::vector<WCopt> tableOf(const std::string& words, std::deque<std::string>* text) {
  std::istringstream in(words);
  std::vector<WCopt> rows;
  for (std::string w; in >> w;) {
    const size_t at = w.find_first_of("=:");
    text->push_back(w.substr(0, at));
    WCopt o{text->back().c_str(), 0, at == std::string::npos ? kWcFlag : kWcI16, 0, {}, 1};
    if (at != std::string::npos && w[at] == ':') o.value.i16 = std::stoi(w.substr(at + 1));
    if (at != std::string::npos && w[at] == '=') {
      text->push_back(w.substr(at + 1));
      o.type = kWcText;
      o.length = text->back().size();
      o.value.str = text->back().data();
    }
    rows.push_back(o);
  }
  rows.push_back({nullptr, 0, 0, 0, {}, 0});
  return rows;
}

TEST(CodaCommandText, HandlerWordsAndCallCodecPartsInTheirOrder) {
  for (const auto& v : test::loadVectors("archive/coda_words.txt")) {
    std::deque<std::string> text;
    std::vector<WCopt> options = tableOf(v.text("options"), &text);
    CodecText command = codaWords(options.data(), v.number("kind"), v.has("selfexp"));
    command += callCodecParts(options.data());
    EXPECT_EQ(std::string(command.begin(), command.end()), v.text("command") + " ") << v.where();
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
      const auto it = mapped.find(code);
      const int expected = code == 6 && kind == kKindRebuild ? 206
                           : it != mapped.end()              ? it->second
                                                             : 30;
      EXPECT_EQ(RemapErr(static_cast<uint16_t>(code), kind), expected) << code << " " << kind;
      const std::string unknown =
          "Errore sconosciuto: Errore CODEC " + std::to_string(code) + " non rimappato";
      EXPECT_EQ(warnings.messages(),
                it == mapped.end() ? std::vector{unknown} : std::vector<std::string>{})
          << code;
    }
  }
}

TEST(CodaCheckFileSize, MissingEmptyFilledAndUnreadableFiles) {
  test::TempDir dir;
  test::writeFile(dir.file("empty"), "");
  test::writeFile(dir.file("one"), "x");
  const std::pair<std::string, int> rows[] = {
      {dir.file("none"), 200}, {dir.file("empty"), 249}, {dir.file("one"), 0}, {dir.file(""), 201}};
  for (const auto& [path, code] : rows) {
    TRclrerr();
    EXPECT_EQ(checkFileSize(path.c_str()), code) << path;  // a folder opens but cannot be read
    const auto stack = test::errorStack();
    EXPECT_EQ(stack.empty() ? "" : std::to_string(stack.back().code) + " " + stack.back().message,
              code == 0 ? "" : std::to_string(code) + " " + path);
  }
}

}  // namespace
}  // namespace sigillo
