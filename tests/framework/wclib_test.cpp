// Argument parser: lexer, numbers, sub-command dispatch, accessors, value conversions.
#include "tests/framework/fwtest.h"

namespace sigillo {
namespace {

using namespace test;

using WclibTest = test::CleanStack;

std::string textOf(const WCvalue& v) { return v.type == kWcText ? v.v.str : ""; }

// Sub-command dispatch

int calls = 0;
std::string seen;  // the md5 options given, as the accessors return them
bool hiddenO = false;

uint16_t md5Handler(WCopt* options) {
  ++calls;
  seen.clear();
  for (const WCopt* o = options; o->name != nullptr; ++o) {
    const std::string name = o->name;
    if (!WCoptused(options, o->name) || name == "h" || name == "o" || name == "log") continue;
    seen += (seen.empty() ? "" : " ") + name + "=";
    if (o->type == kWcText) {
      seen += std::string(WCoptstr(options, o->name)) + "/";
    } else if (o->type == kWcFlag) {
      seen += std::to_string(WCoptflag(options, o->name));
      continue;
    } else {
      seen += std::to_string(WCoptint(options, o->name, -99)) + "/" +
              std::to_string(WCoptulong(options, o->name, 99)) + "/";
    }
    seen += std::to_string(WCoptsize(options, o->name));
  }
  hiddenO = WCoptused(options, "o") && WCoptstr(options, "o") == nullptr;
  return 77;
}

uint16_t countingHandler(WCopt*) {
  ++calls;
  return 5;
}

WCopt md5Options[] = {opt("fin", kWcText, 1),
                      opt("fout", kWcText),
                      opt("n", kWcI32),
                      opt("u", kWcI32 | kWcUnsigned),
                      opt("s16", kWcI16),
                      opt("b", kWcI8),
                      opt("d", kWcDouble),
                      opt("v", kWcFlag),
                      opt("u8", kWcI8 | kWcUnsigned),
                      opt("u32", kWcI32b | kWcUnsigned),
                      opt("o", kWcText),
                      opt()};
WCopt noOptions[] = {opt()};
const WCcmd kCommands[] = {{"md5", md5Options, md5Handler},
                           {"sha1", noOptions, countingHandler},
                           {"crc", nullptr, countingHandler},
                           {nullptr, nullptr, nullptr}};

struct CommonTable {
  WCopt rows[4] = {opt("h", kWcFlag), opt("o", kWcFlag), opt("log", kWcText), opt()};
};

// WCcast

const std::map<std::string, uint16_t> kTypes = {
    {"text", kWcText},   {"i8", kWcI8},      {"u8", kWcI8 | kWcUnsigned},
    {"i16", kWcI16},     {"i32", kWcI32},    {"u32", kWcI32 | kWcUnsigned},
    {"i32b", kWcI32b},   {"dbl", kWcDouble}, {"udbl", kWcDouble | kWcUnsigned},
    {"dt", kWcDateTime}, {"flag", kWcFlag},  {"utext", kWcText | kWcUnsigned},
    {"t999", 999}};

// "type:value" as a value.
WCvalue makeValue(const std::string& written) {
  const size_t colon = written.find(':');
  const std::string text = written.substr(colon + 1);
  WCvalue v{};
  v.type = kTypes.at(written.substr(0, colon));
  if (v.type == kWcText) {
    v.length = text.size();
    v.v.str = WCstrnew(text.data(), text.size());
  } else if (v.type == kWcDouble) {
    v.v.d = std::strtod(text.c_str(), nullptr);
  } else if (v.type == kWcDateTime) {
    int f[6] = {};
    std::sscanf(text.c_str(), "%d,%d,%d,%d,%d,%d", &f[0], &f[1], &f[2], &f[3], &f[4], &f[5]);
    v.v.dt = {static_cast<int16_t>(f[0]), static_cast<uint8_t>(f[1]), static_cast<uint8_t>(f[2]),
              static_cast<uint8_t>(f[3]), static_cast<uint8_t>(f[4]), static_cast<uint8_t>(f[5])};
  } else {
    const int64_t n = std::stoll(text);
    if ((v.type & ~kWcUnsigned) == kWcI8) v.v.i8 = static_cast<int8_t>(n);
    if ((v.type & ~kWcUnsigned) == kWcI16) v.v.i16 = static_cast<int16_t>(n);
    if ((v.type & ~kWcUnsigned) > kWcI16) v.v.u32 = static_cast<uint32_t>(n);
  }
  return v;
}

// A value as "type:value", the way the vector file writes it.
std::string show(const WCvalue& v) {
  std::string name = "t" + std::to_string(v.type);
  for (const auto& [typeName, type] : kTypes) {
    if (v.type == type) name = typeName;
  }
  char buf[64];
  if (v.type == kWcText) return "text:" + std::string(v.v.str) + "/" + std::to_string(v.length);
  if ((v.type & ~kWcUnsigned) == kWcDouble) {
    std::snprintf(buf, sizeof buf, "%.17g", v.v.d);
  } else if (v.type == kWcDateTime) {
    std::snprintf(buf, sizeof buf, "%d,%d,%d,%d,%d,%d", v.v.dt.year, v.v.dt.month, v.v.dt.day,
                  v.v.dt.hour, v.v.dt.minute, v.v.dt.second);
  } else {
    std::snprintf(buf, sizeof buf, "%lld", static_cast<long long>(WCinteger(v.type, v.v)));
  }
  return name + ":" + buf;
}

TEST_F(WclibTest, LexerAndParameterStrings) {
  const char* const keywords[] = {"md5", "fin", "fout", nullptr};
  for (const auto& v : test::loadVectors("framework/lexer.txt")) {
    SCOPED_TRACE(v.where());
    TRclrerr();
    const std::string text = field(v, "text");
    WClexer lex;
    WClexinit(&lex, text.c_str(), keywords);
    lex.flags = v.has("flags") ? v.number("flags") : 0;
    lex.escape = field(v, "escape", std::string(1, '\0'))[0];
    const uint16_t rc = v.has("rc") ? v.number("rc") : 0;
    if (v.group == "numbers") {
      EXPECT_EQ(WCnumber(&lex), rc);
      EXPECT_EQ(lex.token, rc == 0 ? v.number("token") : kTokBadNumber);
      if (rc == 0) {
        EXPECT_EQ(lex.value.type, v.number("type"));
        EXPECT_EQ(WCinteger(lex.value.type, lex.value.v), v.number("value"));
      }
    } else {  // every token up to the end or the failure
      std::string tokens;
      uint16_t got = 0;
      for (int guard = 0; guard < 600 && (got = WCtoken(&lex)) == 0; ++guard) {
        EXPECT_EQ(lex.value.type == kWcText ? lex.value.length : 0u, textOf(lex.value).size());
        tokens += (tokens.empty() ? "" : "|") + std::to_string(lex.token) + ":" + textOf(lex.value);
        if (lex.token == kTokEnd) break;
      }
      EXPECT_EQ(tokens, field(v, "tokens"));
      EXPECT_EQ(got, rc);
    }
    EXPECT_EQ(*get_sErroR(), rc);
    if (rc != 0) EXPECT_EQ(firstMessage(), field(v, "message"));
    if (v.group == "numbers" || v.has("after")) {
      // A failure does not consume the text: the next token starts where it stood.
      const uint16_t next = WCtoken(&lex);
      EXPECT_EQ(next != 0 ? "<" + std::to_string(next) + ">" : textOf(lex.value),
                field(v, v.group == "numbers" ? "next" : "after"));
    }
    WClexfree(&lex);
  }
  for (const auto& v : test::loadVectors("framework/params.txt")) {
    SCOPED_TRACE(v.where());
    TRclrerr();
    calls = 0;
    seen = "<none>";
    CommonTable common;
    uint16_t result = 1234;
    const uint16_t status = v.has("status") ? v.number("status") : 0;
    EXPECT_EQ(WCexec(field(v, "text").c_str(), kCommands, common.rows, &result,
                     v.has("flags") ? v.number("flags") : 0),
              status);
    EXPECT_EQ(*get_sErroR(), status);
    EXPECT_EQ(firstMessage(), field(v, "message"));
    if (v.has("stack")) EXPECT_EQ(trimmed(stackText()), field(v, "stack"));
    EXPECT_EQ(std::to_string(calls) + "/" + std::to_string(result), status ? "0/1234" : "1/77");
    EXPECT_EQ(seen, status ? "<none>" : field(v, "options"));
  }
}

TEST_F(WclibTest, CommonOptionsNullArgumentsAccessorsCleaningAndCasts) {
  CommonTable common;
  uint16_t result = 0;
  ASSERT_EQ(WCexec("md5 -fin a -o -h", kCommands, common.rows, &result, 0), 0);
  EXPECT_TRUE(hiddenO);  // the common flag o hides the sub-command's text option o
  // Counts go back to the caller's common table; the sub-command's own table is never written.
  EXPECT_EQ(common.rows[0].count + common.rows[1].count, 2);
  for (const WCopt* o = md5Options; o->name != nullptr; ++o) EXPECT_EQ(o->count, 0) << o->name;
  calls = 0;
  result = 1234;
  EXPECT_EQ(WCexec("sha1 anything -at all", kCommands, nullptr, &result, 0), 0);
  EXPECT_EQ(WCexec("CRC", kCommands, nullptr, &result, 0), 0);
  EXPECT_EQ(std::to_string(calls) + "/" + std::to_string(result), "0/1234");
  // With common options given the handler runs even when the sub-command has none.
  EXPECT_EQ(WCexec("sha1 -h", kCommands, common.rows, &result, 0), 0);
  EXPECT_EQ(std::to_string(calls) + "/" + std::to_string(result), "1/5");
  // Null arguments.
  EXPECT_EQ(WCtoken(nullptr), 30);
  EXPECT_EQ(getargs("-fin a", nullptr, 0, 0), 30);
  EXPECT_EQ(stackText(), "30 WCtoken: Buffer nullo | 30 getargs: Buffer nullo");
  TRclrerr();
  EXPECT_EQ(WCexec("md5 -fin a", kCommands, nullptr, nullptr, 0), 0);  // drops the result
                                                                       // getargs and the accessors
  ASSERT_EQ(getargs("-fin a -v -s16 5", md5Options, 0, 0), 0);
  // An integer asked of a text option ends the process.
  auto print = [](void*, const char*, int, const char* function, uint32_t, uint32_t code,
                  const char* message) {
    fprintf(stderr, "[%u] %s: %s\n", code, function, message);
  };
  EXPECT_EXIT((TRsetcallback(nullptr, print), WCoptint(md5Options, "fin", 0)),
              ::testing::ExitedWithCode(1),
              "\\[301\\] WCoptint: Errore: Parametro 'fin' non convertibile in intero");
  size_t index = 99;
  EXPECT_EQ(WCoptstr(md5Options, "s16"), nullptr);    // not a text
  EXPECT_EQ(WCoptidx(md5Options, "FIN", &index), 0);  // lookups are case-sensitive
  EXPECT_EQ(WCoptint(md5Options, "nope", -42), -42);
  // Cleaning resets the table, which parses again with no duplicate left over.
  WCoptclean(md5Options);
  EXPECT_EQ(getargs("-fin def -v -s16 6", md5Options, 0, 0), 0);
  EXPECT_STREQ(WCoptstr(md5Options, "fin"), "def");
  WCoptclean(md5Options);
  EXPECT_EQ(*get_sErroR(), 0);

  // The engine's first pass takes its own options out of the whole parameter text.
  WCopt first[] = {opt("log", kWcText), opt("log2", kWcText), opt("log2273", kWcText), opt()};
  EXPECT_EQ(getargs("md5 -FIN a.txt -n -5 -log t.log \"q r\" - -\"x\" --log2 u -log2273 1", first,
                    kArgsTolerant, 0),
            0);
  EXPECT_EQ(TRgeterrstklen(), 0u);
  EXPECT_STREQ(WCoptstr(first, "log"), "t.log");
  EXPECT_FALSE(WCoptused(first, "log2"));  // "--log2" is no option
  EXPECT_TRUE(WCoptused(first, "log2273"));
  WCoptclean(first);

  // The count stops at 255.
  EXPECT_EQ(getargs(unescape("\\{-v *300}").c_str(), md5Options, kArgsTolerant, 0), 215);
  EXPECT_EQ(md5Options[7].count, 255);
  WCoptclean(md5Options);
  // Conversions, and round trips through text and back.
  for (const auto& c : test::loadVectors("framework/casts.txt")) {
    SCOPED_TRACE(c.where());
    TRclrerr();
    WCvalue v = makeValue(field(c, "from"));
    const std::string before = show(v);
    const uint16_t type = v.type;
    const uint16_t rc = c.has("rc") ? c.number("rc") : 0;
    if (c.group == "round trip") {
      ASSERT_EQ(WCcast(&v, kWcText), 0);
      EXPECT_EQ(WCcast(&v, type), 0);
    } else {
      EXPECT_EQ(WCcast(&v, kTypes.at(c.text("to"))), rc);
      if (rc != 0) EXPECT_EQ(firstMessage(), c.text("message"));
    }
    EXPECT_EQ(*get_sErroR(), rc);
    EXPECT_EQ(show(v), c.has("result") ? c.text("result") : before);  // a failure keeps it
    WCvaluefree(&v);
  }
}

}  // namespace
}  // namespace sigillo
