// Every argument check of every cipher entry point, as one generated table:
// a row spoils one argument (or a few) of an otherwise valid call and gives
// the code and message expected.  Each row is run through the entry point,
// through its Y twin, with recording switched off and with the trace on; a
// failed call must leave the output and the chaining value as they were.
#include <gtest/gtest.h>

#include <array>
#include <cctype>
#include <initializer_list>
#include <optional>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "primitives/drbg.h"
#include "primitives/fips140.h"
#include "sigillo/sigillo.h"
#include "tests/common/testutil.h"

namespace sigillo {
namespace {

using test::Bytes;

// The arguments of the entry points, by the names their messages use.
enum Field : uint8_t {
  kBufi,
  kBufo,
  kInsz,
  kInit,
  kEnd,
  kPssw,
  kPssw1,
  kPssw2,
  kPssw3,
  kLpssw,
  kNbitsk,
  kNbits,
  kRounds,
  kIv,
  kMode,
  kKey,
  kS,
  kSessionIv,  // GENKMM's iv, an output
  kMac,
  kStream,
  kFieldCount
};

struct FieldInfo {
  const char* name;
  uint16_t nullCode;  // the code of a null pointer
};

constexpr FieldInfo kFields[] = {
    {"bufi", 2},    {"bufo", 3},   {"insz", 5},    {"init", 2},  {"end", 2},
    {"pssw", 4},    {"pssw1", 4},  {"pssw2", 4},   {"pssw3", 4}, {"lpssw", 7},
    {"nbitsk", 12}, {"nbits", 12}, {"rounds", 25}, {"iv", 4},    {"mode", 1},
    {"key", 4},     {"s", 3},      {"iv", 3},      {"mac", 3},   {"stream", 2},
};
static_assert(std::size(kFields) == kFieldCount);

constexpr uint8_t kOutPattern = 0xA5;
constexpr uint8_t kIvPattern = 0x3C;
constexpr size_t kOutSize = 64;
constexpr size_t kIvSize = 16;
constexpr size_t kKeySize = 256;
constexpr uint32_t kAll = 0xFFFFFFFF;

// A stream that passes the statistical tests (HMAC_DRBG under a fixed seed).
const Bytes& sampleStream() {
  static const Bytes sample = [] {
    HmacDrbg drbg;
    const std::string seed = "chkkdea-0";
    drbg.instantiate(reinterpret_cast<const uint8_t*>(seed.data()), seed.size());
    Bytes out(fips140::kSampleBytes);
    drbg.generate(out.data(), out.size());
    return out;
  }();
  return sample;
}

// One spoiled argument: a value, or a null pointer.
struct Change {
  Field field;
  std::optional<uint32_t> value;
};

// The arguments of one call; a null field gives a null pointer.
class Args {
 public:
  explicit Args(const std::vector<Change>& defaults)
      : in_(sampleStream()), out_(kOutSize, kOutPattern), iv_(kIvSize, kIvPattern) {
    for (size_t k = 0; k < keys_.size(); ++k) {
      keys_[k].resize(kKeySize);
      for (size_t i = 0; i < kKeySize; ++i)
        keys_[k][i] = static_cast<uint8_t>(i * 37 + k * 91 + 11);
    }
    for (Change c :
         {Change{kInsz, 16}, Change{kInit, 1}, Change{kEnd, 1}, Change{kLpssw, 16},
          Change{kNbitsk, 64}, Change{kNbits, 8}, Change{kRounds, 12}, Change{kMode, 0}}) {
      apply(c);
    }
    for (const Change& c : defaults) apply(c);
  }

  void apply(const Change& c) {
    null_[c.field] = !c.value.has_value();
    if (c.value) {
      u32_[c.field] = *c.value;
      u16_[c.field] = static_cast<uint16_t>(*c.value);
    }
  }

  const uint8_t* in(Field f) const {
    if (null_[f]) return nullptr;
    switch (f) {
      case kPssw2:
        return keys_[1].data();
      case kPssw3:
        return keys_[2].data();
      case kPssw:
      case kPssw1:
      case kKey:
        return keys_[0].data();
      default:
        return in_.data();
    }
  }
  uint8_t* out(Field f) {
    if (null_[f]) return nullptr;
    return f == kIv || f == kSessionIv ? iv_.data() : out_.data();
  }
  const uint32_t* u32(Field f) const { return null_[f] ? nullptr : &u32_[f]; }
  const uint16_t* u16(Field f) const { return null_[f] ? nullptr : &u16_[f]; }
  uint32_t value(Field f) const { return u32_[f]; }

  const Bytes& outBytes() const { return out_; }
  const Bytes& ivBytes() const { return iv_; }

 private:
  Bytes in_, out_, iv_;
  std::array<Bytes, 3> keys_;
  std::array<bool, kFieldCount> null_{};
  std::array<uint32_t, kFieldCount> u32_{};
  std::array<uint16_t, kFieldCount> u16_{};
};

enum class Twin { kEntry, kY };

// Calls the entry point or its Y twin with the same arguments; the twin
// returns nothing, its code is read through the return-code pointer.
template <class... P, class... A>
uint16_t pick(Twin twin, uint16_t (*entry)(P...), void (*y)(P...), A... args) {
  if (twin == Twin::kEntry) return entry(args...);
  y(args...);
  return 0;
}

// How the input length is checked.
enum class Length {
  kBlocks,    // a non-zero multiple of the block
  kSegments,  // a non-zero whole number of nbits-wide feedback steps
  kCts,       // with `end` set more than one block, else a non-zero multiple of it
  kStream,    // not zero
  kAny,       // anything, zero included
  kNone,      // no length argument
};

// Key lengths the cipher accepts and refuses, and the message of a refusal.
struct KeyLengths {
  std::vector<uint32_t> good, bad;
  const char* adjective;  // "Valore %d <adjective>"
};

struct Case {
  std::vector<Change> changes;
  uint16_t code;
  std::string message;
};

struct Param {
  Field field;
  const char* name = nullptr;  // when the messages name it otherwise
  size_t position = 0;         // when the messages number it otherwise
};

struct EntryPoint {
  const char* name;
  std::vector<Param> params;
  uint16_t (*call)(Args&, uint16_t*, Twin);
  Length length = Length::kNone;
  uint32_t block = 0;
  std::optional<KeyLengths> keys = std::nullopt;
  std::vector<Change> defaults = {};
  std::vector<Case> extra = {};
  bool random = false;  // the output differs from call to call
};

const KeyLengths kAesKeys = {{16, 24, 32}, {0, 15, 17, 23, 25, 31, 33, kAll}, "non corretto"};
const KeyLengths kRc2Keys = {{1, 128}, {0, 129, kAll}, "non valido"};
const KeyLengths kRc4Keys = {{1, 256}, {0, 257, kAll}, "non valido"};
const KeyLengths kRc5Keys = {{0, 255}, {256, kAll}, "non valido"};

std::string valore(uint32_t length, const char* adjective) {
  return "Valore " + std::to_string(static_cast<int32_t>(length)) + " " + adjective;
}

std::vector<Case> tdeaKeyCases() {
  std::vector<Case> cases;
  for (uint32_t shortKey : {0u, 1u, 8u, 15u}) {
    cases.push_back({{{kLpssw, shortKey}}, 7, "lpssw (6) troppo breve"});
  }
  for (uint32_t good : {16u, 24u}) cases.push_back({{{kLpssw, good}}, 0, ""});
  for (uint32_t bad : {17u, 23u, 25u, 32u, kAll}) {
    cases.push_back({{{kLpssw, bad}}, 7, valore(bad, "non valido")});
  }
  return cases;
}

// {end, insz, code}: with `end` set the last call steals from the block
// before, so it needs more than one block.
constexpr std::array<std::array<uint32_t, 3>, 13> kCtsLengths = {{
    {1, 0, 5},
    {1, 1, 5},
    {1, 8, 5},
    {1, 9, 0},
    {1, 15, 0},
    {1, 64, 0},
    {2, 9, 0},
    {0, 0, 5},
    {0, 7, 5},
    {0, 8, 0},
    {0, 9, 5},
    {0, 12, 5},
    {0, 16, 0},
}};

std::vector<Case> ctsLengthCases() {
  std::vector<Case> cases;
  for (const auto& [end, insz, code] : kCtsLengths) {
    cases.push_back(
        {{{kEnd, end}, {kInsz, insz}}, static_cast<uint16_t>(code), code == 0 ? "" : "insz (3)"});
  }
  return cases;
}

// The entry points, their arguments in order and how to call them.
const std::vector<EntryPoint>& entryPoints() {
  static const std::vector<EntryPoint> all = {
      {"DEAECB",
       {{kBufi}, {kBufo}, {kInsz}, {kInit}, {kPssw}, {kMode}},
       [](Args& a, uint16_t* rc, Twin t) {
         return pick(t, DEAECB, YDEAECB, a.in(kBufi), a.out(kBufo), a.u32(kInsz), a.u16(kInit),
                     a.in(kPssw), a.u16(kMode), rc);
       },
       Length::kBlocks,
       8},
      {"DEACBC",
       {{kBufi}, {kBufo}, {kInsz}, {kInit}, {kPssw}, {kIv}, {kMode}},
       [](Args& a, uint16_t* rc, Twin t) {
         return pick(t, DEACBC, YDEACBC, a.in(kBufi), a.out(kBufo), a.u32(kInsz), a.u16(kInit),
                     a.in(kPssw), a.out(kIv), a.u16(kMode), rc);
       },
       Length::kBlocks,
       8},
      {"DEASBC",
       {{kBufi}, {kBufo}, {kInsz}, {kInit}, {kPssw}, {kIv}, {kMode}},
       [](Args& a, uint16_t* rc, Twin t) {
         return pick(t, DEASBC, YDEASBC, a.in(kBufi), a.out(kBufo), a.u32(kInsz), a.u16(kInit),
                     a.in(kPssw), a.out(kIv), a.u16(kMode), rc);
       },
       Length::kBlocks,
       8},
      {"DEACFB",
       {{kBufi}, {kBufo}, {kInsz}, {kInit}, {kPssw}, {kNbits}, {kIv, "mode"}, {kMode}},
       [](Args& a, uint16_t* rc, Twin t) {
         return pick(t, DEACFB, YDEACFB, a.in(kBufi), a.out(kBufo), a.u32(kInsz), a.u16(kInit),
                     a.in(kPssw), a.u16(kNbits), a.out(kIv), a.u16(kMode), rc);
       },
       Length::kSegments,
       8},
      {"DEAOFB",
       {{kBufi}, {kBufo}, {kInsz}, {kInit}, {kPssw}, {kNbits}, {kIv}, {kMode}},
       [](Args& a, uint16_t* rc, Twin t) {
         return pick(t, DEAOFB, YDEAOFB, a.in(kBufi), a.out(kBufo), a.u32(kInsz), a.u16(kInit),
                     a.in(kPssw), a.u16(kNbits), a.out(kIv), a.u16(kMode), rc);
       },
       Length::kSegments,
       8},
      {"DEA3ECB",
       {{kBufi}, {kBufo}, {kInsz}, {kInit}, {kPssw1}, {kPssw2}, {kPssw3}, {kMode}},
       [](Args& a, uint16_t* rc, Twin t) {
         return pick(t, DEA3ECB, YDEA3ECB, a.in(kBufi), a.out(kBufo), a.u32(kInsz), a.u16(kInit),
                     a.in(kPssw1), a.in(kPssw2), a.in(kPssw3), a.u16(kMode), rc);
       },
       Length::kBlocks,
       8},
      {"DEA3CBC",
       {{kBufi}, {kBufo}, {kInsz}, {kInit}, {kPssw1}, {kPssw2}, {kPssw3}, {kIv}, {kMode}},
       [](Args& a, uint16_t* rc, Twin t) {
         return pick(t, DEA3CBC, YDEA3CBC, a.in(kBufi), a.out(kBufo), a.u32(kInsz), a.u16(kInit),
                     a.in(kPssw1), a.in(kPssw2), a.in(kPssw3), a.out(kIv), a.u16(kMode), rc);
       },
       Length::kBlocks,
       8},
      {"TDEA",
       {{kBufi}, {kBufo}, {kInsz}, {kInit}, {kPssw}, {kLpssw}, {kMode}},
       [](Args& a, uint16_t* rc, Twin t) {
         return pick(t, TDEA, YTDEA, a.in(kBufi), a.out(kBufo), a.u32(kInsz), a.u16(kInit),
                     a.in(kPssw), a.u32(kLpssw), a.u16(kMode), rc);
       },
       Length::kBlocks,
       8,
       std::nullopt,
       {{kLpssw, 24}},
       tdeaKeyCases()},
      {"DESX",
       {{kBufi}, {kBufo}, {kInsz}, {kInit}, {kPssw1}, {kPssw2}, {kPssw3}, {kMode}},
       [](Args& a, uint16_t* rc, Twin t) {
         return pick(t, DESX, YDESX, a.in(kBufi), a.out(kBufo), a.u32(kInsz), a.u16(kInit),
                     a.in(kPssw1), a.in(kPssw2), a.in(kPssw3), a.u16(kMode), rc);
       },
       Length::kBlocks,
       8},
      {"IDEAECB",
       {{kBufi}, {kBufo}, {kInsz}, {kInit}, {kPssw}, {kMode}},
       [](Args& a, uint16_t* rc, Twin t) {
         return pick(t, IDEAECB, YIDEAECB, a.in(kBufi), a.out(kBufo), a.u32(kInsz), a.u16(kInit),
                     a.in(kPssw), a.u16(kMode), rc);
       },
       Length::kBlocks,
       8},
      {"IDEACBC",
       {{kBufi}, {kBufo}, {kInsz}, {kInit}, {kPssw}, {kMode}, {kIv}},
       [](Args& a, uint16_t* rc, Twin t) {
         return pick(t, IDEACBC, YIDEACBC, a.in(kBufi), a.out(kBufo), a.u32(kInsz), a.u16(kInit),
                     a.in(kPssw), a.u16(kMode), a.out(kIv), rc);
       },
       Length::kBlocks,
       8},
      {"IDEACFB",
       {{kBufi}, {kBufo}, {kInsz}, {kInit}, {kPssw}, {kNbits}, {kIv}, {kMode}},
       [](Args& a, uint16_t* rc, Twin t) {
         return pick(t, IDEACFB, YIDEACFB, a.in(kBufi), a.out(kBufo), a.u32(kInsz), a.u16(kInit),
                     a.in(kPssw), a.u16(kNbits), a.out(kIv), a.u16(kMode), rc);
       },
       Length::kSegments,
       8},
      {"IDEAOFB",
       {{kBufi}, {kBufo}, {kInsz}, {kInit}, {kPssw}, {kNbits}, {kIv}, {kMode}},
       [](Args& a, uint16_t* rc, Twin t) {
         return pick(t, IDEAOFB, YIDEAOFB, a.in(kBufi), a.out(kBufo), a.u32(kInsz), a.u16(kInit),
                     a.in(kPssw), a.u16(kNbits), a.out(kIv), a.u16(kMode), rc);
       },
       Length::kSegments,
       8},
      {"RC2ECB",
       {{kBufi}, {kBufo}, {kInsz}, {kInit}, {kPssw}, {kLpssw}, {kNbitsk}, {kMode}},
       [](Args& a, uint16_t* rc, Twin t) {
         return pick(t, RC2ECB, YRC2ECB, a.in(kBufi), a.out(kBufo), a.u32(kInsz), a.u16(kInit),
                     a.in(kPssw), a.u32(kLpssw), a.u16(kNbitsk), a.u16(kMode), rc);
       },
       Length::kBlocks,
       8,
       kRc2Keys},
      {"RC2CBC",
       {{kBufi}, {kBufo}, {kInsz}, {kInit}, {kPssw}, {kLpssw}, {kNbitsk}, {kIv}, {kMode}},
       [](Args& a, uint16_t* rc, Twin t) {
         return pick(t, RC2CBC, YRC2CBC, a.in(kBufi), a.out(kBufo), a.u32(kInsz), a.u16(kInit),
                     a.in(kPssw), a.u32(kLpssw), a.u16(kNbitsk), a.out(kIv), a.u16(kMode), rc);
       },
       Length::kBlocks,
       8,
       kRc2Keys},
      {"RC2CFB",
       {{kBufi}, {kBufo}, {kInsz}, {kInit}, {kPssw}, {kLpssw}, {kNbitsk}, {kNbits}, {kIv}, {kMode}},
       [](Args& a, uint16_t* rc, Twin t) {
         return pick(t, RC2CFB, YRC2CFB, a.in(kBufi), a.out(kBufo), a.u32(kInsz), a.u16(kInit),
                     a.in(kPssw), a.u32(kLpssw), a.u16(kNbitsk), a.u16(kNbits), a.out(kIv),
                     a.u16(kMode), rc);
       },
       Length::kSegments,
       8,
       kRc2Keys},
      {"RC2OFB",
       {{kBufi}, {kBufo}, {kInsz}, {kInit}, {kPssw}, {kLpssw}, {kNbitsk}, {kNbits}, {kIv}, {kMode}},
       [](Args& a, uint16_t* rc, Twin t) {
         return pick(t, RC2OFB, YRC2OFB, a.in(kBufi), a.out(kBufo), a.u32(kInsz), a.u16(kInit),
                     a.in(kPssw), a.u32(kLpssw), a.u16(kNbitsk), a.u16(kNbits), a.out(kIv),
                     a.u16(kMode), rc);
       },
       Length::kSegments,
       8,
       kRc2Keys},
      {"RC4",
       {{kBufi}, {kBufo}, {kInsz}, {kInit}, {kPssw}, {kLpssw}, {kMode, nullptr, 10}},
       [](Args& a, uint16_t* rc, Twin t) {
         return pick(t, RC4, YRC4, a.in(kBufi), a.out(kBufo), a.u32(kInsz), a.u16(kInit),
                     a.in(kPssw), a.u32(kLpssw), a.u16(kMode), rc);
       },
       Length::kStream,
       0,
       kRc4Keys},
      {"RC5ECB",
       {{kBufi}, {kBufo}, {kInsz}, {kInit}, {kPssw}, {kLpssw}, {kRounds}, {kMode}},
       [](Args& a, uint16_t* rc, Twin t) {
         return pick(t, RC5ECB, YRC5ECB, a.in(kBufi), a.out(kBufo), a.u32(kInsz), a.u16(kInit),
                     a.in(kPssw), a.u32(kLpssw), a.u16(kRounds), a.u16(kMode), rc);
       },
       Length::kBlocks,
       8,
       kRc5Keys},
      {"RC5CBC",
       {{kBufi}, {kBufo}, {kInsz}, {kInit}, {kPssw}, {kLpssw}, {kRounds}, {kIv}, {kMode}},
       [](Args& a, uint16_t* rc, Twin t) {
         return pick(t, RC5CBC, YRC5CBC, a.in(kBufi), a.out(kBufo), a.u32(kInsz), a.u16(kInit),
                     a.in(kPssw), a.u32(kLpssw), a.u16(kRounds), a.out(kIv), a.u16(kMode), rc);
       },
       Length::kBlocks,
       8,
       kRc5Keys},
      {"RC5CTS",
       {{kBufi}, {kBufo}, {kInsz}, {kInit}, {kEnd}, {kPssw}, {kLpssw}, {kRounds}, {kIv}, {kMode}},
       [](Args& a, uint16_t* rc, Twin t) {
         return pick(t, RC5CTS, YRC5CTS, a.in(kBufi), a.out(kBufo), a.u32(kInsz), a.u16(kInit),
                     a.u16(kEnd), a.in(kPssw), a.u32(kLpssw), a.u16(kRounds), a.out(kIv),
                     a.u16(kMode), rc);
       },
       Length::kCts,
       8,
       kRc5Keys,
       {},
       ctsLengthCases()},
      {"AESECB",
       {{kBufi}, {kBufo}, {kInsz}, {kInit}, {kPssw}, {kLpssw}, {kMode}},
       [](Args& a, uint16_t* rc, Twin t) {
         return pick(t, AESECB, YAESECB, a.in(kBufi), a.out(kBufo), a.u32(kInsz), a.u16(kInit),
                     a.in(kPssw), a.u32(kLpssw), a.u16(kMode), rc);
       },
       Length::kBlocks,
       16,
       kAesKeys},
      {"AESCBC",
       {{kBufi}, {kBufo}, {kInsz}, {kInit}, {kPssw}, {kLpssw}, {kIv}, {kMode}},
       [](Args& a, uint16_t* rc, Twin t) {
         return pick(t, AESCBC, YAESCBC, a.in(kBufi), a.out(kBufo), a.u32(kInsz), a.u16(kInit),
                     a.in(kPssw), a.u32(kLpssw), a.out(kIv), a.u16(kMode), rc);
       },
       Length::kBlocks,
       16,
       kAesKeys},
      {"AESCFB",
       {{kBufi}, {kBufo}, {kInsz}, {kInit}, {kPssw}, {kLpssw}, {kIv}, {kMode}},
       [](Args& a, uint16_t* rc, Twin t) {
         return pick(t, AESCFB, YAESCFB, a.in(kBufi), a.out(kBufo), a.u32(kInsz), a.u16(kInit),
                     a.in(kPssw), a.u32(kLpssw), a.out(kIv), a.u16(kMode), rc);
       },
       Length::kBlocks,
       16,
       kAesKeys},
      {"AESOFB",
       {{kBufi}, {kBufo}, {kInsz}, {kInit}, {kPssw}, {kLpssw}, {kIv}, {kMode}},
       [](Args& a, uint16_t* rc, Twin t) {
         return pick(t, AESOFB, YAESOFB, a.in(kBufi), a.out(kBufo), a.u32(kInsz), a.u16(kInit),
                     a.in(kPssw), a.u32(kLpssw), a.out(kIv), a.u16(kMode), rc);
       },
       Length::kBlocks,
       16,
       kAesKeys},
      {"FEAL",
       {{kBufi}, {kBufo}, {kInsz}, {kInit}, {kPssw}, {kMode}},
       [](Args& a, uint16_t* rc, Twin t) {
         return pick(t, FEAL, YFEAL, a.in(kBufi), a.out(kBufo), a.u32(kInsz), a.u16(kInit),
                     a.in(kPssw), a.u16(kMode), rc);
       },
       Length::kBlocks,
       8},
      {"ISWEAK",
       {{kKey}},
       [](Args& a, uint16_t* rc, Twin t) { return pick(t, ISWEAK, YISWEAK, a.in(kKey), rc); }},
      {"GENKMM",
       {{kS}, {kSessionIv}},
       [](Args& a, uint16_t* rc, Twin t) {
         return pick(t, GENKMM, YGENKMM, a.out(kS), a.out(kSessionIv), rc);
       },
       Length::kNone,
       0,
       std::nullopt,
       {},
       {},
       true},
      {"MAC3",
       {{kBufi}, {kInsz}, {kPssw1}, {kPssw2}, {kPssw3}, {kMac}},
       [](Args& a, uint16_t* rc, Twin t) {
         return pick(t, MAC3, YMAC3, a.in(kBufi), a.u32(kInsz), a.in(kPssw1), a.in(kPssw2),
                     a.in(kPssw3), a.out(kMac), rc);
       },
       Length::kAny},
      {"CHKKDEA",
       {{kStream}},
       [](Args& a, uint16_t* rc, Twin t) { return pick(t, CHKKDEA, YCHKKDEA, a.in(kStream), rc); }},
  };
  return all;
}

// ---- The table ----------------------------------------------------------------

struct Row {
  const EntryPoint* entry;
  std::string what;
  Case c;
};

bool has(const EntryPoint& e, Field f) {
  for (const Param& p : e.params) {
    if (p.field == f) return true;
  }
  return false;
}

// "mode (7)": the argument's name in messages and its 1-based position.
std::string label(const EntryPoint& e, size_t index) {
  const Param& p = e.params[index];
  const char* name = p.name != nullptr ? p.name : kFields[p.field].name;
  const size_t position = p.position != 0 ? p.position : index + 1;
  return std::string(name) + " (" + std::to_string(position) + ")";
}

std::string labelOf(const EntryPoint& e, Field f) {
  for (size_t i = 0; i < e.params.size(); ++i) {
    if (e.params[i].field == f) return label(e, i);
  }
  return "";
}

// {nbits, insz}: the length must be a whole number of feedback steps.
constexpr std::array<std::array<uint32_t, 2>, 11> kSegmentLengths = {{
    {8, 0},
    {1, 1},
    {7, 7},
    {7, 8},
    {12, 3},
    {12, 4},
    {12, 6},
    {64, 7},
    {64, 8},
    {64, 9},
    {64, 16},
}};

std::vector<Case> lengthCases(const EntryPoint& e) {
  const std::string insz = labelOf(e, kInsz);
  std::vector<Case> cases;
  auto add = [&](std::vector<Change> changes, bool good) {
    cases.push_back({std::move(changes), static_cast<uint16_t>(good ? 0 : 5), good ? "" : insz});
  };
  const uint32_t b = e.block;
  switch (e.length) {
    case Length::kBlocks:
      for (uint32_t n : {0u, 1u, b - 1, b, b + 1, 2 * b, 4 * b - 1, 4 * b}) {
        add({{kInsz, n}}, n != 0 && n % b == 0);
      }
      break;
    case Length::kSegments:
      for (const auto& [nbits, n] : kSegmentLengths) {
        add({{kNbits, nbits}, {kInsz, n}}, n != 0 && n * 8 % nbits == 0);
      }
      break;
    case Length::kStream:
      for (uint32_t n : {0u, 1u, 63u}) add({{kInsz, n}}, n != 0);
      break;
    case Length::kAny:
      for (uint32_t n : {0u, 1u, 7u, 64u}) add({{kInsz, n}}, true);
      break;
    case Length::kCts:
    case Length::kNone:
      break;
  }
  return cases;
}

// The checks of the values of one entry point.
std::vector<Case> valueCases(const EntryPoint& e) {
  std::vector<Case> cases = lengthCases(e);
  auto range = [&](Field f, std::initializer_list<uint32_t> good,
                   std::initializer_list<uint32_t> bad, uint16_t code) {
    if (!has(e, f)) return;
    for (uint32_t v : good) cases.push_back({{{f, v}}, 0, ""});
    for (uint32_t v : bad) cases.push_back({{{f, v}}, code, labelOf(e, f)});
  };
  range(kMode, {0, 1}, {2, 0xFFFF}, 1);
  range(kInit, {0, 2, 0xFFFF}, {}, 0);
  range(kNbits, {1, 8, 64}, {0, 65, 0xFFFF}, 12);
  range(kRounds, {0, 255}, {256, 0xFFFF}, 25);
  if (has(e, kNbitsk)) {
    for (uint32_t v : {1u, 1024u}) cases.push_back({{{kNbitsk, v}}, 0, ""});
    for (uint32_t v : {0u, 1025u, 0xFFFFu}) {
      cases.push_back({{{kNbitsk, v}}, 12, "Modo " + std::to_string(v) + " non valido"});
    }
    // Without init the kept schedule is used and nbitsk is not read.
    cases.push_back({{{kInit, 0}, {kNbitsk, 0}}, 0, ""});
  }
  if (e.keys) {
    for (uint32_t v : e.keys->good) cases.push_back({{{kLpssw, v}}, 0, ""});
    for (uint32_t v : e.keys->bad) {
      cases.push_back({{{kLpssw, v}}, 7, valore(v, e.keys->adjective)});
      cases.push_back({{{kInit, 0}, {kLpssw, v}}, 0, ""});
    }
  }
  cases.insert(cases.end(), e.extra.begin(), e.extra.end());
  return cases;
}

std::string describe(const std::vector<Change>& changes) {
  std::string what;
  for (const Change& c : changes) {
    if (!what.empty()) what += "_";
    what += kFields[c.field].name;
    what += c.value ? "_" + std::to_string(*c.value) : "_null";
  }
  return what;
}

// A positional failure reported at argument `index` comes before anything
// wrong with the arguments after it: the row again with all of them null.
std::optional<Row> withLaterNulls(const EntryPoint& e, const Case& c) {
  if (c.code == 0 || c.changes.size() != 1) return std::nullopt;
  const Field f = c.changes[0].field;
  // These lengths are judged with a later argument (nbits, end).
  if (f == kInsz && (e.length == Length::kSegments || e.length == Length::kCts)) {
    return std::nullopt;
  }
  for (size_t i = 0; i + 1 < e.params.size(); ++i) {
    if (e.params[i].field != f || c.message.rfind(label(e, i), 0) != 0) continue;
    Case probe = c;
    for (size_t j = i + 1; j < e.params.size(); ++j)
      probe.changes.push_back({e.params[j].field, std::nullopt});
    return Row{&e, describe(c.changes) + "_later_null", probe};
  }
  return std::nullopt;
}

// Each argument null, alone and with every later one null too, then the
// values.
std::vector<Row> rowsFor(const EntryPoint& e) {
  std::vector<Row> rows;
  const size_t n = e.params.size();
  for (size_t i = 0; i < n; ++i) {
    const Field f = e.params[i].field;
    rows.push_back({&e,
                    std::string(kFields[f].name) + "_null",
                    {{{f, std::nullopt}}, kFields[f].nullCode, label(e, i)}});
    if (i + 1 < n) {
      Case all{{}, kFields[f].nullCode, label(e, i)};
      for (size_t j = i; j < n; ++j) all.changes.push_back({e.params[j].field, std::nullopt});
      rows.push_back({&e, std::string(kFields[f].name) + "_null_and_later_null", all});
    }
  }
  for (const Case& c : valueCases(e)) {
    rows.push_back({&e, describe(c.changes), c});
    if (auto probe = withLaterNulls(e, c)) rows.push_back(*probe);
  }
  return rows;
}

// ---- Running a row ------------------------------------------------------------

struct Outcome {
  uint16_t returned;
  uint16_t rc;
  std::vector<test::Recorded> stack;
  Bytes out, iv;
  uint32_t entries, exits;  // trace frames opened and closed by the call
  std::string log;
};

enum class Setting {
  kRecorded,  // as a caller finds the library
  kQuiet,     // recording switched off
  kTraced,    // every entry and exit written to a trace log, arguments included
};

class RecordingOff {
 public:
  RecordingOff() { TRenable(0); }
  ~RecordingOff() { TRenable(1); }
  RecordingOff(const RecordingOff&) = delete;
  RecordingOff& operator=(const RecordingOff&) = delete;
};

class Tracing {
 public:
  explicit Tracing(const std::string& log) : options_(TRgetopts()) {
    TRsetlog(log.c_str());
    TRsetopts(kTrIn | kTrOut | kTrArgsIn | kTrArgsOut);
  }
  ~Tracing() {
    TRsetopts(options_);
    TRsetlog(nullptr);
  }
  Tracing(const Tracing&) = delete;
  Tracing& operator=(const Tracing&) = delete;

 private:
  uint32_t options_;
};

// A valid call first (it builds the key schedule a row with init 0 reuses
// and proves the unspoiled arguments good), then the row's call.
// `log` is a file of its own for the traced call.
Outcome run(const Row& row, Twin twin, Setting setting = Setting::kRecorded,
            const std::string& log = "") {
  const EntryPoint& e = *row.entry;
  Args valid(e.defaults);
  uint16_t rc = 0xBEEF;
  EXPECT_EQ(e.call(valid, &rc, Twin::kEntry), 0) << e.name << ": valid arguments refused";
  EXPECT_EQ(rc, 0) << e.name << ": valid arguments refused";

  Args args(e.defaults);
  for (const Change& c : row.c.changes) args.apply(c);
  rc = 0xBEEF;
  Outcome o{};
  const uint32_t entries = TRincount(), exits = TRoutcount();
  if (setting == Setting::kQuiet) {
    RecordingOff off;
    o.returned = e.call(args, &rc, twin);
  } else if (setting == Setting::kTraced) {
    {
      Tracing tracing(log);
      o.returned = e.call(args, &rc, twin);
    }
    o.log = test::readFile(log);
  } else {
    o.returned = e.call(args, &rc, twin);
  }
  o.entries = TRincount() - entries;
  o.exits = TRoutcount() - exits;
  o.rc = rc;
  o.stack = test::errorStack();
  o.out = args.outBytes();
  o.iv = args.ivBytes();
  return o;
}

size_t occurrences(const std::string& text, const std::string& what) {
  size_t n = 0;
  for (size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + 1)) ++n;
  return n;
}

// Bytes the entry point writes to its output on success.
size_t written(const EntryPoint& e, const Row& row) {
  if (has(e, kBufo)) {
    Args args(e.defaults);
    for (const Change& c : row.c.changes) args.apply(c);
    return args.value(kInsz);
  }
  return has(e, kMac) || has(e, kS) ? 8 : 0;
}

void checkRow(const Row& row, const std::string& log) {
  SCOPED_TRACE(std::string(row.entry->name) + " " + row.what);
  const EntryPoint& e = *row.entry;
  const uint16_t code = row.c.code;
  const Bytes outPattern(kOutSize, kOutPattern), ivPattern(kIvSize, kIvPattern);

  const Outcome direct = run(row, Twin::kEntry);
  EXPECT_EQ(direct.returned, code);
  EXPECT_EQ(direct.rc, code);
  if (code != 0) {
    ASSERT_EQ(direct.stack.size(), 1U);
    EXPECT_EQ(direct.stack[0].file, "ecsym");
    EXPECT_EQ(direct.stack[0].code, code);
    EXPECT_EQ(direct.stack[0].message, row.c.message);
    EXPECT_EQ(direct.out, outPattern) << "output written by a failed call";
    EXPECT_EQ(direct.iv, ivPattern) << "chaining value changed by a failed call";
  } else {
    EXPECT_TRUE(direct.stack.empty()) << direct.stack.front().message;
    const size_t n = written(e, row);
    EXPECT_EQ(Bytes(direct.out.begin() + n, direct.out.end()), Bytes(kOutSize - n, kOutPattern))
        << "written past the " << n << " bytes of output";
    if (n > 0) {
      EXPECT_NE(Bytes(direct.out.begin(), direct.out.begin() + n), Bytes(n, kOutPattern))
          << "output not written";
    }
  }

  const Outcome twin = run(row, Twin::kY);
  EXPECT_EQ(twin.rc, code) << "Y twin";
  ASSERT_EQ(twin.stack.size(), direct.stack.size()) << "Y twin";
  for (size_t i = 0; i < twin.stack.size(); ++i) {
    EXPECT_EQ(twin.stack[i].file, direct.stack[i].file);
    EXPECT_EQ(twin.stack[i].function, direct.stack[i].function);
    EXPECT_EQ(twin.stack[i].code, direct.stack[i].code);
    EXPECT_EQ(twin.stack[i].message, direct.stack[i].message);
  }
  if (!e.random) {
    EXPECT_EQ(twin.out, direct.out) << "Y twin";
    EXPECT_EQ(twin.iv, direct.iv) << "Y twin";
  }

  // Recording off: nothing on the stack, but the call still fails with its
  // code and writes nothing.
  const Outcome quiet = run(row, Twin::kEntry, Setting::kQuiet);
  EXPECT_EQ(quiet.returned, code) << "recording off";
  EXPECT_EQ(quiet.rc, code) << "recording off";
  EXPECT_TRUE(quiet.stack.empty()) << "recording off";
  if (code != 0) {
    EXPECT_EQ(quiet.out, outPattern) << "recording off";
    EXPECT_EQ(quiet.iv, ivPattern) << "recording off";
  }

  // Traced: the call opens one frame under its own name and closes it on
  // every path, and the code is unchanged.
  const Outcome traced = run(row, Twin::kEntry, Setting::kTraced, log);
  EXPECT_EQ(traced.returned, code) << "traced";
  EXPECT_EQ(traced.entries, 1U) << "traced";
  EXPECT_EQ(traced.exits, 1U) << "traced";
  const std::string frame = std::string(" point\n        Code  :\t") + e.name + "\n";
  EXPECT_EQ(occurrences(traced.log, "Action: entry" + frame), 1U) << traced.log;
  EXPECT_EQ(occurrences(traced.log, "Action: exit" + frame), 1U) << traced.log;
}

void PrintTo(const EntryPoint* e, std::ostream* os) { *os << e->name; }

class CipherArgCheck : public ::testing::TestWithParam<const EntryPoint*> {};

TEST_P(CipherArgCheck, EveryArgumentCheck) {
  test::TempDir dir;
  const std::vector<Row> rows = rowsFor(*GetParam());
  for (size_t i = 0; i < rows.size(); ++i) {
    checkRow(rows[i], dir.file("trace" + std::to_string(i) + ".log"));
  }
}

std::vector<const EntryPoint*> allEntryPoints() {
  std::vector<const EntryPoint*> all;
  for (const EntryPoint& e : entryPoints()) all.push_back(&e);
  return all;
}

INSTANTIATE_TEST_SUITE_P(Ecsym, CipherArgCheck, ::testing::ValuesIn(allEntryPoints()),
                         [](const ::testing::TestParamInfo<const EntryPoint*>& info) {
                           return std::string(info.param->name);
                         });

}  // namespace
}  // namespace sigillo
