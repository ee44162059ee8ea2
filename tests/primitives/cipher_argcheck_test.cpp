// Every argument check of every cipher entry point, as one generated table:
// a row spoils one argument (or a few) of an otherwise valid call and gives
// the code and message expected.  Each row is run through the entry point,
// its Y twin and with recording switched off; a failed call leaves the output
// and the chaining value as they were.
#include <gtest/gtest.h>

#include <optional>
#include <sstream>

#include "primitives/drbg.h"
#include "primitives/fips140.h"
#include "tests/common/vectors.h"
#include "tests/primitives/cipher_call.h"

namespace sigillo {
namespace {

using namespace test;

constexpr uint8_t kOutPattern = 0xA5, kIvPattern = 0x3C;

struct Change {
  Field field;
  std::optional<uint32_t> value;  // none: a null pointer
};
struct Case {
  std::vector<Change> changes;
  uint16_t code;
  std::string message;
};

// Valid arguments: a stream that passes the statistical tests, 64 bytes of
// output and 16 of chaining value in known patterns, 256-byte keys.
CipherArgs validArgs(const std::string& entry) {
  static const Bytes sample = [] {
    HmacDrbg drbg;
    drbg.instantiate(reinterpret_cast<const uint8_t*>("chkkdea-0"), 9);
    Bytes out(fips140::kSampleBytes);
    drbg.generate(out.data(), out.size());
    return out;
  }();
  CipherArgs a;
  a.in = sample;
  a.out.assign(64, kOutPattern);
  a.iv.assign(16, kIvPattern);
  for (size_t k = 0; k < 3; ++k) {
    for (size_t i = 0; i < 256; ++i)
      a.keys[k].push_back(static_cast<uint8_t>(i * 37 + k * 91 + 11));
  }
  a.set(kInsz, 16), a.set(kInit, 1), a.set(kEnd, 1), a.set(kLpssw, entry == "TDEA" ? 24 : 16);
  a.set(kNbitsk, 64), a.set(kNbits, 8), a.set(kRounds, 12), a.set(kMode, 0);
  return a;
}

void apply(CipherArgs& a, const Change& c) {
  if (c.value) a.set(c.field, *c.value);
  a.null[c.field] = !c.value;
}

bool has(const CipherEntry& e, Field f) {
  return std::find(e.params.begin(), e.params.end(), f) != e.params.end();
}

// "mode (7)": the argument's name in messages and its 1-based position.
std::string label(const CipherEntry& e, size_t index) {
  const Field f = e.params[index];
  const std::string name = e.name == std::string("DEACFB") && f == kIv ? "mode" : kFields[f].name;
  const size_t position = e.name == std::string("RC4") && f == kMode ? 10 : index + 1;
  return name + " (" + std::to_string(position) + ")";
}
std::string labelOf(const CipherEntry& e, Field f) {
  return label(e, std::find(e.params.begin(), e.params.end(), f) - e.params.begin());
}

// The checks of the values of one entry point.
std::vector<Case> valueCases(const CipherEntry& e) {
  const std::string name = e.name, insz = has(e, kInsz) ? labelOf(e, kInsz) : "";
  std::vector<Case> cases;
  auto add = [&](std::vector<Change> changes, bool good, uint16_t code, const std::string& msg) {
    cases.push_back({std::move(changes), static_cast<uint16_t>(good ? 0 : code), good ? "" : msg});
  };
  const bool aes = name.rfind("AES", 0) == 0,
             feedback = !aes && (name.find("CFB") != std::string::npos ||
                                 name.find("OFB") != std::string::npos);
  const uint32_t b = aes ? 16 : 8;
  if (name == "RC5CTS") {
    // {end, insz}: with `end` set the last call steals from the block before.
    for (auto [end, n] : {std::pair{1u, 8u}, {1u, 9u}, {2u, 9u}, {0u, 0u}, {0u, 7u}, {0u, 16u}}) {
      add({{kEnd, end}, {kInsz, n}}, end != 0 ? n > 8 : n != 0 && n % 8 == 0, 5, insz);
    }
  } else if (feedback) {
    for (auto [nbits, n] : {std::pair{8u, 0u}, {12u, 3u}, {12u, 4u}, {64u, 7u}, {64u, 8u}}) {
      add({{kNbits, nbits}, {kInsz, n}}, n != 0 && n * 8 % nbits == 0, 5, insz);
    }
  } else if (name == "RC4") {
    for (uint32_t n : {0u, 1u, 63u}) add({{kInsz, n}}, n != 0, 5, insz);
  } else if (name == "MAC3") {
    for (uint32_t n : {0u, 1u, 7u, 64u}) add({{kInsz, n}}, true, 5, insz);
  } else if (has(e, kBufo)) {
    for (uint32_t n : {0u, b - 1, b, b + 1, 4 * b})
      add({{kInsz, n}}, n != 0 && n % b == 0, 5, insz);
  }
  for (const Vector& v : loadVectors("primitives/cipher_values.txt")) {
    const Field f = static_cast<Field>(
        std::find_if(std::begin(kFields), std::end(kFields),
                     [&](const auto& field) { return v.text("field") == field.name; }) -
        std::begin(kFields));
    EXPECT_LT(f, kFieldCount) << v.where();
    if (!has(e, f) || (v.text("entry") != "*" && name.rfind(v.text("entry"), 0) != 0)) continue;
    auto values = [&](const char* key) {
      std::vector<uint32_t> all;
      std::istringstream in(v.has(key) ? v.text(key) : "");
      for (long long x = 0; in >> x;) all.push_back(static_cast<uint32_t>(x));
      return all;
    };
    for (uint32_t x : values("good")) add({{f, x}}, true, 0, "");
    for (uint32_t x : values("bad")) {
      std::string message = v.text("message");
      if (message == "label") message = labelOf(e, f);
      if (message.find("{}") != std::string::npos)
        message.replace(message.find("{}"), 2, std::to_string(static_cast<int32_t>(x)));
      add({{f, x}}, false, static_cast<uint16_t>(v.number("code")), message);
      if (v.has("unread")) add({{kInit, 0}, {f, x}}, true, 0, "");
    }
  }
  return cases;
}

// Each argument null alone and with every later one null (the first is
// reported), then the values, each bad one again with every later argument
// null (a bad value is reported before the nulls after it).
std::vector<Case> rowsFor(const CipherEntry& e) {
  std::vector<Case> rows;
  const size_t n = e.params.size();
  for (size_t i = 0; i < n; ++i) {
    Case c{{}, kFields[e.params[i]].nullCode, label(e, i)};
    for (size_t j = i; j < n; ++j) {
      c.changes.push_back({e.params[j], std::nullopt});
      if (j == i || j + 1 == n) rows.push_back(c);
    }
  }
  const std::string name = e.name;
  for (const Case& c : valueCases(e)) {
    rows.push_back(c);
    if (c.code == 0 || c.changes.size() != 1) continue;
    const Field f = c.changes[0].field;
    if (f == kInsz && (name == "RC5CTS" || name.find("FB") != std::string::npos)) continue;
    const size_t i = std::find(e.params.begin(), e.params.end(), f) - e.params.begin();
    if (i + 1 >= n || c.message.rfind(label(e, i), 0) != 0) continue;
    Case probe = c;
    for (size_t j = i + 1; j < n; ++j) probe.changes.push_back({e.params[j], std::nullopt});
    rows.push_back(probe);
  }
  return rows;
}

struct Outcome {
  uint16_t returned, rc;
  std::vector<Recorded> stack;
  Bytes out, iv;
};

// A valid call first (it builds the schedule a row with init 0 reuses and
// proves the other arguments good), then the row's call, direct, through the
// Y twin or with recording off.
Outcome run(const CipherEntry& e, const Case& c, bool y, bool quiet = false) {
  CipherArgs valid = validArgs(e.name), args = validArgs(e.name);
  uint16_t rc = 0xBEEF;
  EXPECT_EQ(e.call(valid, &rc, false), 0) << e.name << ": valid arguments refused";
  for (const Change& change : c.changes) apply(args, change);
  rc = 0xBEEF;
  if (quiet) TRenable(0);
  const uint16_t returned = e.call(args, &rc, y);
  if (quiet) TRenable(1);
  return {returned, rc, errorStack(), args.out, args.iv};
}

void checkRow(const CipherEntry& e, const Case& c) {
  const Bytes outPattern(64, kOutPattern), ivPattern(16, kIvPattern);
  const Outcome direct = run(e, c, false);
  EXPECT_EQ(direct.returned, c.code);
  EXPECT_EQ(direct.rc, c.code);
  if (c.code != 0) {
    ASSERT_EQ(direct.stack.size(), 1U);
    EXPECT_EQ(direct.stack[0].file + std::to_string(direct.stack[0].code) + direct.stack[0].message,
              "ecsym" + std::to_string(c.code) + c.message);
    EXPECT_EQ(direct.out, outPattern) << "output written by a failed call";
    EXPECT_EQ(direct.iv, ivPattern) << "chaining value changed by a failed call";
  } else {
    EXPECT_TRUE(direct.stack.empty()) << direct.stack.front().message;
    CipherArgs args = validArgs(e.name);
    for (const Change& change : c.changes) apply(args, change);
    const size_t n = has(e, kBufo) ? args.u32[kInsz] : has(e, kMac) || has(e, kS) ? 8 : 0;
    EXPECT_EQ(Bytes(direct.out.begin() + n, direct.out.end()), Bytes(64 - n, kOutPattern))
        << "written past the " << n << " bytes of output";
    if (n > 0) EXPECT_NE(Bytes(direct.out.begin(), direct.out.begin() + n), Bytes(n, kOutPattern));
  }
  const Outcome twin = run(e, c, true);
  EXPECT_EQ(twin.rc, c.code) << "Y twin";
  auto trail = [](const Outcome& o) {
    std::string all;
    for (const Recorded& r : o.stack) all += r.function + ": " + r.message + "\n";
    return all;
  };
  EXPECT_EQ(trail(twin), trail(direct)) << "Y twin";
  if (e.name != std::string("GENKMM")) EXPECT_EQ(twin.out, direct.out) << "Y twin";
  const Outcome quiet = run(e, c, false, true);
  EXPECT_EQ(quiet.returned + quiet.rc + quiet.stack.size(), 2u * c.code) << "recording off";
}

class CipherArgCheck : public ::testing::TestWithParam<size_t> {};

TEST_P(CipherArgCheck, EveryArgumentCheck) {
  const CipherEntry& e = cipherEntries()[GetParam()];
  for (const Case& row : rowsFor(e)) {
    std::string what = e.name;
    for (const Change& c : row.changes)
      what += std::string(" ") + kFields[c.field].name + "=" +
              (c.value ? std::to_string(*c.value) : "null");
    SCOPED_TRACE(what);
    checkRow(e, row);
  }
}

INSTANTIATE_TEST_SUITE_P(Ecsym, CipherArgCheck, ::testing::Range<size_t>(0, cipherEntries().size()),
                         [](const auto& info) {
                           return std::string(cipherEntries()[info.param].name);
                         });

}  // namespace
}  // namespace sigillo
