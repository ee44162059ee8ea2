// One way to call every cipher entry point: the arguments by the names the
// messages use, each a value or a null pointer, and a table of the entry
// points with their arguments in order.
#pragma once

#include <array>
#include <string>
#include <vector>

#include "sigillo/sigillo.h"
#include "tests/common/testutil.h"

namespace sigillo::test {

// clang-format off
enum Field : uint8_t {
  kBufi, kBufo, kInsz, kInit, kEnd, kPssw, kPssw1, kPssw2, kPssw3, kLpssw,
  kNbitsk, kNbits, kRounds, kIv, kMode, kKey, kS, kSessionIv, kMac, kStream, kFieldCount
};
constexpr struct { const char* name; uint16_t nullCode; } kFields[] = {
    {"bufi", 2},    {"bufo", 3},   {"insz", 5},    {"init", 2},  {"end", 2},
    {"pssw", 4},    {"pssw1", 4},  {"pssw2", 4},   {"pssw3", 4}, {"lpssw", 7},
    {"nbitsk", 12}, {"nbits", 12}, {"rounds", 25}, {"iv", 4},    {"mode", 1},
    {"key", 4},     {"s", 3},      {"iv", 3},      {"mac", 3},   {"stream", 2}};
// clang-format on

// The arguments of one call.  keys[0] is pssw, pssw1 and key; keys[1] and
// keys[2] are pssw2 and pssw3; `out` serves bufo, s and mac; `iv` the
// chaining value and GENKMM's iv.
struct CipherArgs {
  Bytes in, out, iv;
  std::array<Bytes, 3> keys;
  std::array<uint32_t, kFieldCount> u32{};
  std::array<uint16_t, kFieldCount> u16{};
  std::array<bool, kFieldCount> null{};
  bool inPlace = false;  // bufi is bufo

  void set(Field f, uint32_t v) {
    u32[f] = v;
    u16[f] = static_cast<uint16_t>(v);
    null[f] = false;
  }
  const uint8_t* i(Field f) const {
    if (null[f]) return nullptr;
    if (f == kPssw2 || f == kPssw3) return keys[f == kPssw2 ? 1 : 2].data();
    if (f == kPssw || f == kPssw1 || f == kKey) return keys[0].data();
    return inPlace && f == kBufi ? out.data() : in.data();
  }
  uint8_t* o(Field f) {
    if (null[f]) return nullptr;
    return f == kIv || f == kSessionIv ? iv.data() : out.data();
  }
  const uint32_t* l(Field f) const { return null[f] ? nullptr : &u32[f]; }
  const uint16_t* w(Field f) const { return null[f] ? nullptr : &u16[f]; }
};

using CipherInvoke = uint16_t (*)(CipherArgs&, uint16_t*, bool y);

struct CipherEntry {
  const char* name;
  std::vector<Field> params;
  CipherInvoke call;
};

// One argument: an input or output area, a 32-bit or a 16-bit value, by the
// type of the parameter it is passed to.
struct Arg {
  CipherArgs& a;
  Field f;
  operator const uint8_t*() const { return a.i(f); }
  operator uint8_t*() const { return a.o(f); }
  operator const uint32_t*() const { return a.l(f); }
  operator const uint16_t*() const { return a.w(f); }
};

// The entry point F with the arguments `fs` in order, or its Y twin YF (code
// through rc).
template <auto F, auto YF, Field... fs>
CipherEntry entry(const char* name) {
  return {name, {fs...}, [](CipherArgs& a, uint16_t* rc, bool y) -> uint16_t {
            if (!y) return F(Arg{a, fs}..., rc);
            YF(Arg{a, fs}..., rc);
            return 0;
          }};
}

// clang-format off
inline const std::vector<CipherEntry>& cipherEntries() {
  static const std::vector<CipherEntry> all = {
    entry<DEAECB, YDEAECB, kBufi, kBufo, kInsz, kInit, kPssw, kMode>("DEAECB"),
    entry<DEACBC, YDEACBC, kBufi, kBufo, kInsz, kInit, kPssw, kIv, kMode>("DEACBC"),
    entry<DEASBC, YDEASBC, kBufi, kBufo, kInsz, kInit, kPssw, kIv, kMode>("DEASBC"),
    entry<DEACFB, YDEACFB, kBufi, kBufo, kInsz, kInit, kPssw, kNbits, kIv, kMode>("DEACFB"),
    entry<DEAOFB, YDEAOFB, kBufi, kBufo, kInsz, kInit, kPssw, kNbits, kIv, kMode>("DEAOFB"),
    entry<DEA3ECB, YDEA3ECB, kBufi, kBufo, kInsz, kInit, kPssw1, kPssw2, kPssw3, kMode>("DEA3ECB"),
    entry<DEA3CBC, YDEA3CBC, kBufi, kBufo, kInsz, kInit, kPssw1, kPssw2, kPssw3, kIv, kMode>(
        "DEA3CBC"),
    entry<TDEA, YTDEA, kBufi, kBufo, kInsz, kInit, kPssw, kLpssw, kMode>("TDEA"),
    entry<DESX, YDESX, kBufi, kBufo, kInsz, kInit, kPssw1, kPssw2, kPssw3, kMode>("DESX"),
    entry<IDEAECB, YIDEAECB, kBufi, kBufo, kInsz, kInit, kPssw, kMode>("IDEAECB"),
    entry<IDEACBC, YIDEACBC, kBufi, kBufo, kInsz, kInit, kPssw, kMode, kIv>("IDEACBC"),
    entry<IDEACFB, YIDEACFB, kBufi, kBufo, kInsz, kInit, kPssw, kNbits, kIv, kMode>("IDEACFB"),
    entry<IDEAOFB, YIDEAOFB, kBufi, kBufo, kInsz, kInit, kPssw, kNbits, kIv, kMode>("IDEAOFB"),
    entry<RC2ECB, YRC2ECB, kBufi, kBufo, kInsz, kInit, kPssw, kLpssw, kNbitsk, kMode>("RC2ECB"),
    entry<RC2CBC, YRC2CBC, kBufi, kBufo, kInsz, kInit, kPssw, kLpssw, kNbitsk, kIv, kMode>(
        "RC2CBC"),
    entry<RC2CFB, YRC2CFB, kBufi, kBufo, kInsz, kInit, kPssw, kLpssw, kNbitsk, kNbits, kIv,
          kMode>("RC2CFB"),
    entry<RC2OFB, YRC2OFB, kBufi, kBufo, kInsz, kInit, kPssw, kLpssw, kNbitsk, kNbits, kIv,
          kMode>("RC2OFB"),
    entry<RC4, YRC4, kBufi, kBufo, kInsz, kInit, kPssw, kLpssw, kMode>("RC4"),
    entry<RC5ECB, YRC5ECB, kBufi, kBufo, kInsz, kInit, kPssw, kLpssw, kRounds, kMode>("RC5ECB"),
    entry<RC5CBC, YRC5CBC, kBufi, kBufo, kInsz, kInit, kPssw, kLpssw, kRounds, kIv, kMode>(
        "RC5CBC"),
    entry<RC5CTS, YRC5CTS, kBufi, kBufo, kInsz, kInit, kEnd, kPssw, kLpssw, kRounds, kIv, kMode>(
        "RC5CTS"),
    entry<AESECB, YAESECB, kBufi, kBufo, kInsz, kInit, kPssw, kLpssw, kMode>("AESECB"),
    entry<AESCBC, YAESCBC, kBufi, kBufo, kInsz, kInit, kPssw, kLpssw, kIv, kMode>("AESCBC"),
    entry<AESCFB, YAESCFB, kBufi, kBufo, kInsz, kInit, kPssw, kLpssw, kIv, kMode>("AESCFB"),
    entry<AESOFB, YAESOFB, kBufi, kBufo, kInsz, kInit, kPssw, kLpssw, kIv, kMode>("AESOFB"),
    entry<FEAL, YFEAL, kBufi, kBufo, kInsz, kInit, kPssw, kMode>("FEAL"),
    entry<ISWEAK, YISWEAK, kKey>("ISWEAK"),
    entry<GENKMM, YGENKMM, kS, kSessionIv>("GENKMM"),
    entry<MAC3, YMAC3, kBufi, kInsz, kPssw1, kPssw2, kPssw3, kMac>("MAC3"),
    entry<CHKKDEA, YCHKKDEA, kStream>("CHKKDEA"),
  };
  return all;
}
// clang-format on

inline const CipherEntry& cipherEntry(const std::string& name) {
  for (const CipherEntry& e : cipherEntries()) {
    if (name == e.name) return e;
  }
  throw std::out_of_range("no cipher entry point " + name);
}

}  // namespace sigillo::test
