// The cipher entry points against the vectors of tests/data/primitives
// (des.txt, ciphers.txt, aes.txt); a message cut into calls that reuse the
// schedule gives the bytes of one call.
#include <gtest/gtest.h>
#include <openssl/evp.h>

#include <algorithm>
#include <numeric>

#include "primitives/evpcipher.h"
#include "primitives/modes.h"
#include "tests/common/vectors.h"
#include "tests/primitives/cipher_call.h"

namespace sigillo {
namespace {

using namespace test;

uint32_t blockOf(const std::string& entry) {
  return entry.rfind("AES", 0) == 0 ? 16 : entry == "RC4" ? 1 : 8;
}

// A call with the key material, iv and widths of `v` on `in`.
struct Call {
  std::string entry;
  CipherArgs a;
  Call(const std::string& name, const Vector& v) : entry(name) {
    a.keys[0] = v.bytes("key");
    a.keys[1] = v.has("key2") ? v.bytes("key2") : Bytes(8);
    a.keys[2] = v.has("key3") ? v.bytes("key3") : Bytes(8);
    a.iv = v.has("iv") ? v.bytes("iv") : Bytes(16);
    a.set(kLpssw, static_cast<uint32_t>(a.keys[0].size()));
    a.set(kNbitsk, v.has("bits") ? static_cast<uint32_t>(v.number("bits")) : 64);
    a.set(kNbits, v.has("nbits") ? static_cast<uint32_t>(v.number("nbits")) : blockOf(name) * 8);
    a.set(kRounds, v.has("rounds") ? static_cast<uint32_t>(v.number("rounds")) : 12);
    a.set(kEnd, 0);
  }
  // One call: mode 0 enciphers; the chaining value goes on in a.iv.
  Bytes run(const Bytes& in, uint16_t mode, uint16_t init = 1, bool y = false) {
    a.in = in;
    a.out.assign(in.size(), 0xEE);
    a.inPlace = y;  // the Y twin works in place
    if (y) a.out = in;
    a.set(kInsz, static_cast<uint32_t>(in.size()));
    a.set(kInit, init);
    a.set(kMode, mode);
    uint16_t rc = 99;
    const uint16_t code = cipherEntry(entry).call(a, &rc, y);
    EXPECT_EQ(rc, 0) << entry << " " << (TRgeterrstk() ? TRgeterrstk()->message : "");
    if (!y) EXPECT_EQ(code, 0) << entry;
    return a.out;
  }
};

Bytes plainOf(const Vector& v) {
  if (v.has("offset")) return Bytes(v.number("offset") + v.bytes("cipher").size(), 0);
  Bytes p = v.bytes("plain");
  if (v.has("pad")) p.insert(p.end(), 8 - p.size() % 8, static_cast<uint8_t>(8 - p.size() % 8));
  return p;
}

// Each vector enciphers to its bytes in one call, in pieces (the later calls
// reusing the schedule and chaining value, the key given there ignored) and
// through the Y twin, and deciphers back.
size_t runFile(const std::string& file) {
  size_t count = 0;
  for (const Vector& v : loadVectors(file)) {
    if (v.group == "modes" || !v.has("cipher")) continue;
    ++count;
    SCOPED_TRACE(v.where() + " " + v.group);
    const Bytes plain = plainOf(v), iv = v.has("iv") ? v.bytes("iv") : Bytes(16);
    Call call(v.group, v);
    Bytes got = call.run(plain, 0);
    if (v.has("offset")) got.erase(got.begin(), got.begin() + v.number("offset"));
    EXPECT_EQ(toHex(got), toHex(v.bytes("cipher")));
    if (v.has("ivout"))
      EXPECT_EQ(toHex(Bytes(call.a.iv.begin(), call.a.iv.begin() + 8)), v.text("ivout"));
    const Bytes whole = call.a.out;
    // A piece is a whole number of blocks, or of feedback steps.
    const size_t b = blockOf(v.group),
                 piece = std::lcm<size_t>(8, v.has("nbits") ? v.number("nbits") : b * 8) / 8;
    const size_t cut = plain.size() / 2 / piece * piece;
    if (cut > 0) {
      Call split(v.group, v);
      Bytes joined = split.run(Bytes(plain.begin(), plain.begin() + cut), 0);
      split.a.keys = {Bytes(256, 0x5A), Bytes(8, 0x5A), Bytes(8, 0x5A)};
      const size_t step = piece * std::max<size_t>(1, (plain.size() - cut) / piece / 7);
      for (size_t at = cut; at < plain.size(); at += step) {
        const Bytes c = split.run(
            Bytes(plain.begin() + at, plain.begin() + std::min(at + step, plain.size())), 0, 0);
        joined.insert(joined.end(), c.begin(), c.end());
      }
      EXPECT_EQ(joined, whole) << "in pieces";
      EXPECT_EQ(split.a.iv, call.a.iv) << "chaining value after the pieces";
    }
    call.a.iv = iv;
    EXPECT_EQ(call.run(whole, 1, 1, true), plain) << "deciphered in place by the Y twin";
  }
  return count;
}

TEST(CipherKat, DesFamily) { EXPECT_EQ(runFile("primitives/des.txt"), 198u); }
TEST(CipherKat, IdeaRc2Rc4Rc5Feal) { EXPECT_EQ(runFile("primitives/ciphers.txt"), 158u); }
TEST(CipherKat, Aes) { EXPECT_EQ(runFile("primitives/aes.txt"), 8u); }

// The n-bit feedback layer alone, on AES-128 (CFB1 and CFB8 of SP 800-38A).
TEST(CipherKat, FeedbackLayerOnAes) {
  for (const Vector& v : loadVectors("primitives/aes.txt")) {
    if (v.group != "modes") continue;
    EvpKey key("AES", v.bytes("key").data(), 16);
    const Bytes in = v.bytes("plain");
    Bytes out(in.size()), back(in.size()), iv = v.bytes("iv");
    const auto nbits = static_cast<unsigned>(v.number("nbits"));
    cfbRun(*key.block(), in.data(), out.data(), in.size(), iv.data(), nbits, false);
    EXPECT_EQ(toHex(out), v.text("cipher")) << v.where();
    iv = v.bytes("iv");
    cfbRun(*key.block(), out.data(), back.data(), out.size(), iv.data(), nbits, true);
    EXPECT_EQ(back, in) << v.where();
  }
}

// RC5 with ciphertext stealing: on whole blocks it is CBC with the last two
// blocks swapped; other lengths round-trip, and whole blocks then the
// stealing call give the bytes of one call.
TEST(CipherKat, Rc5CiphertextStealing) {
  Bytes data(40);
  for (size_t i = 0; i < data.size(); ++i) data[i] = static_cast<uint8_t>(i * 13 + 1);
  Vector v;
  v.fields = {{"key", "000102030405060708090A0B0C0D0E0F"}, {"iv", "0102030405060708"}};
  auto cts = [&](Call& c, const Bytes& in, uint16_t mode, uint16_t end, uint16_t init = 1) {
    c.a.set(kEnd, end);
    return c.run(in, mode, init);
  };
  Call c1("RC5CTS", v), c2("RC5CTS", v);
  const Bytes head(data.begin(), data.begin() + 32);
  Bytes swapped = cts(c2, head, 0, 0);
  std::swap_ranges(swapped.begin() + 16, swapped.begin() + 24, swapped.begin() + 24);
  EXPECT_EQ(toHex(cts(c1, head, 0, 1)), toHex(swapped));
  for (size_t length : {9u, 15u, 16u, 17u, 33u, 40u}) {
    const Bytes msg(data.begin(), data.begin() + length);
    Call enc("RC5CTS", v), dec("RC5CTS", v), chain("RC5CTS", v);
    const Bytes c = cts(enc, msg, 0, 1);
    EXPECT_EQ(cts(dec, c, 1, 1), msg) << length;
    if (length <= 16) continue;
    Bytes joined = cts(chain, Bytes(msg.begin(), msg.begin() + 8), 0, 0);
    const Bytes rest = cts(chain, Bytes(msg.begin() + 8, msg.end()), 0, 1, 0);
    joined.insert(joined.end(), rest.begin(), rest.end());
    EXPECT_EQ(joined, c) << length;
  }
}

}  // namespace
}  // namespace sigillo
