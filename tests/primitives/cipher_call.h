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

// The entry point F with these arguments, or its Y twin (code through rc).
#define SIGILLO_CIPHER(F, ...)                          \
  [](CipherArgs& a, uint16_t* rc, bool y) -> uint16_t { \
    if (!y) return F(__VA_ARGS__, rc);                  \
    Y##F(__VA_ARGS__, rc);                              \
    return 0;                                           \
  }
#define SIGILLO_HEAD a.i(kBufi), a.o(kBufo), a.l(kInsz), a.w(kInit)

// clang-format off
inline const std::vector<CipherEntry>& cipherEntries() {
  static const std::vector<CipherEntry> all = {
    {"DEAECB", {kBufi, kBufo, kInsz, kInit, kPssw, kMode},
     SIGILLO_CIPHER(DEAECB, SIGILLO_HEAD, a.i(kPssw), a.w(kMode))},
    {"DEACBC", {kBufi, kBufo, kInsz, kInit, kPssw, kIv, kMode},
     SIGILLO_CIPHER(DEACBC, SIGILLO_HEAD, a.i(kPssw), a.o(kIv), a.w(kMode))},
    {"DEASBC", {kBufi, kBufo, kInsz, kInit, kPssw, kIv, kMode},
     SIGILLO_CIPHER(DEASBC, SIGILLO_HEAD, a.i(kPssw), a.o(kIv), a.w(kMode))},
    {"DEACFB", {kBufi, kBufo, kInsz, kInit, kPssw, kNbits, kIv, kMode},
     SIGILLO_CIPHER(DEACFB, SIGILLO_HEAD, a.i(kPssw), a.w(kNbits), a.o(kIv), a.w(kMode))},
    {"DEAOFB", {kBufi, kBufo, kInsz, kInit, kPssw, kNbits, kIv, kMode},
     SIGILLO_CIPHER(DEAOFB, SIGILLO_HEAD, a.i(kPssw), a.w(kNbits), a.o(kIv), a.w(kMode))},
    {"DEA3ECB", {kBufi, kBufo, kInsz, kInit, kPssw1, kPssw2, kPssw3, kMode},
     SIGILLO_CIPHER(DEA3ECB, SIGILLO_HEAD, a.i(kPssw1), a.i(kPssw2), a.i(kPssw3), a.w(kMode))},
    {"DEA3CBC", {kBufi, kBufo, kInsz, kInit, kPssw1, kPssw2, kPssw3, kIv, kMode},
     SIGILLO_CIPHER(DEA3CBC, SIGILLO_HEAD, a.i(kPssw1), a.i(kPssw2), a.i(kPssw3), a.o(kIv),
                    a.w(kMode))},
    {"TDEA", {kBufi, kBufo, kInsz, kInit, kPssw, kLpssw, kMode},
     SIGILLO_CIPHER(TDEA, SIGILLO_HEAD, a.i(kPssw), a.l(kLpssw), a.w(kMode))},
    {"DESX", {kBufi, kBufo, kInsz, kInit, kPssw1, kPssw2, kPssw3, kMode},
     SIGILLO_CIPHER(DESX, SIGILLO_HEAD, a.i(kPssw1), a.i(kPssw2), a.i(kPssw3), a.w(kMode))},
    {"IDEAECB", {kBufi, kBufo, kInsz, kInit, kPssw, kMode},
     SIGILLO_CIPHER(IDEAECB, SIGILLO_HEAD, a.i(kPssw), a.w(kMode))},
    {"IDEACBC", {kBufi, kBufo, kInsz, kInit, kPssw, kMode, kIv},
     SIGILLO_CIPHER(IDEACBC, SIGILLO_HEAD, a.i(kPssw), a.w(kMode), a.o(kIv))},
    {"IDEACFB", {kBufi, kBufo, kInsz, kInit, kPssw, kNbits, kIv, kMode},
     SIGILLO_CIPHER(IDEACFB, SIGILLO_HEAD, a.i(kPssw), a.w(kNbits), a.o(kIv), a.w(kMode))},
    {"IDEAOFB", {kBufi, kBufo, kInsz, kInit, kPssw, kNbits, kIv, kMode},
     SIGILLO_CIPHER(IDEAOFB, SIGILLO_HEAD, a.i(kPssw), a.w(kNbits), a.o(kIv), a.w(kMode))},
    {"RC2ECB", {kBufi, kBufo, kInsz, kInit, kPssw, kLpssw, kNbitsk, kMode},
     SIGILLO_CIPHER(RC2ECB, SIGILLO_HEAD, a.i(kPssw), a.l(kLpssw), a.w(kNbitsk), a.w(kMode))},
    {"RC2CBC", {kBufi, kBufo, kInsz, kInit, kPssw, kLpssw, kNbitsk, kIv, kMode},
     SIGILLO_CIPHER(RC2CBC, SIGILLO_HEAD, a.i(kPssw), a.l(kLpssw), a.w(kNbitsk), a.o(kIv),
                    a.w(kMode))},
    {"RC2CFB", {kBufi, kBufo, kInsz, kInit, kPssw, kLpssw, kNbitsk, kNbits, kIv, kMode},
     SIGILLO_CIPHER(RC2CFB, SIGILLO_HEAD, a.i(kPssw), a.l(kLpssw), a.w(kNbitsk), a.w(kNbits),
                    a.o(kIv), a.w(kMode))},
    {"RC2OFB", {kBufi, kBufo, kInsz, kInit, kPssw, kLpssw, kNbitsk, kNbits, kIv, kMode},
     SIGILLO_CIPHER(RC2OFB, SIGILLO_HEAD, a.i(kPssw), a.l(kLpssw), a.w(kNbitsk), a.w(kNbits),
                    a.o(kIv), a.w(kMode))},
    {"RC4", {kBufi, kBufo, kInsz, kInit, kPssw, kLpssw, kMode},
     SIGILLO_CIPHER(RC4, SIGILLO_HEAD, a.i(kPssw), a.l(kLpssw), a.w(kMode))},
    {"RC5ECB", {kBufi, kBufo, kInsz, kInit, kPssw, kLpssw, kRounds, kMode},
     SIGILLO_CIPHER(RC5ECB, SIGILLO_HEAD, a.i(kPssw), a.l(kLpssw), a.w(kRounds), a.w(kMode))},
    {"RC5CBC", {kBufi, kBufo, kInsz, kInit, kPssw, kLpssw, kRounds, kIv, kMode},
     SIGILLO_CIPHER(RC5CBC, SIGILLO_HEAD, a.i(kPssw), a.l(kLpssw), a.w(kRounds), a.o(kIv),
                    a.w(kMode))},
    {"RC5CTS", {kBufi, kBufo, kInsz, kInit, kEnd, kPssw, kLpssw, kRounds, kIv, kMode},
     SIGILLO_CIPHER(RC5CTS, SIGILLO_HEAD, a.w(kEnd), a.i(kPssw), a.l(kLpssw), a.w(kRounds),
                    a.o(kIv), a.w(kMode))},
    {"AESECB", {kBufi, kBufo, kInsz, kInit, kPssw, kLpssw, kMode},
     SIGILLO_CIPHER(AESECB, SIGILLO_HEAD, a.i(kPssw), a.l(kLpssw), a.w(kMode))},
    {"AESCBC", {kBufi, kBufo, kInsz, kInit, kPssw, kLpssw, kIv, kMode},
     SIGILLO_CIPHER(AESCBC, SIGILLO_HEAD, a.i(kPssw), a.l(kLpssw), a.o(kIv), a.w(kMode))},
    {"AESCFB", {kBufi, kBufo, kInsz, kInit, kPssw, kLpssw, kIv, kMode},
     SIGILLO_CIPHER(AESCFB, SIGILLO_HEAD, a.i(kPssw), a.l(kLpssw), a.o(kIv), a.w(kMode))},
    {"AESOFB", {kBufi, kBufo, kInsz, kInit, kPssw, kLpssw, kIv, kMode},
     SIGILLO_CIPHER(AESOFB, SIGILLO_HEAD, a.i(kPssw), a.l(kLpssw), a.o(kIv), a.w(kMode))},
    {"FEAL", {kBufi, kBufo, kInsz, kInit, kPssw, kMode},
     SIGILLO_CIPHER(FEAL, SIGILLO_HEAD, a.i(kPssw), a.w(kMode))},
    {"ISWEAK", {kKey}, SIGILLO_CIPHER(ISWEAK, a.i(kKey))},
    {"GENKMM", {kS, kSessionIv}, SIGILLO_CIPHER(GENKMM, a.o(kS), a.o(kSessionIv))},
    {"MAC3", {kBufi, kInsz, kPssw1, kPssw2, kPssw3, kMac},
     SIGILLO_CIPHER(MAC3, a.i(kBufi), a.l(kInsz), a.i(kPssw1), a.i(kPssw2), a.i(kPssw3),
                    a.o(kMac))},
    {"CHKKDEA", {kStream}, SIGILLO_CIPHER(CHKKDEA, a.i(kStream))},
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
