// Padding entry points: the layouts and malformed paddings of
// tests/data/primitives/padding.txt, round trips, the ISO/IEC 9796-1
// examples and the argument checks.
#include <gtest/gtest.h>
#include <openssl/bn.h>

#include <memory>

#include "sigillo/sigillo.h"
#include "tests/common/refusal.h"
#include "tests/common/vectors.h"

namespace sigillo {
namespace {

using namespace test;

// The in-place paddings; a null lblk or mode is passed as such.
uint16_t inPlace(const std::string& e, uint8_t* b, uint32_t* n, const uint16_t* lblk,
                 const uint16_t* mode, uint16_t* rc, bool y = false) {
  if (e == "PAD1") return y ? (YPAD1(b, n, lblk, rc), 0) : PAD1(b, n, lblk, rc);
  if (e == "PAD2") return y ? (YPAD2(b, n, lblk, mode, rc), 0) : PAD2(b, n, lblk, mode, rc);
  if (e == "PAD13") return y ? (YPAD13(b, n, mode, rc), 0) : PAD13(b, n, mode, rc);
  if (e == "PAD64") return y ? (YPAD64(b, n, mode, rc), 0) : PAD64(b, n, mode, rc);
  return y ? (YPADPKC5(b, n, mode, rc), 0) : PADPKCS5(b, n, mode, rc);
}

// A call on a copy with room for the padding; the buffer cut to the length.
std::pair<uint16_t, Bytes> pad(const std::string& e, const Bytes& in, uint16_t lblk, uint16_t mode,
                               bool y = false) {
  Bytes buf(in);
  buf.resize(in.size() + 160, 0xEE);
  uint32_t len = static_cast<uint32_t>(in.size());
  uint16_t rc = 99;
  const uint16_t code = inPlace(e, buf.data(), &len, &lblk, &mode, &rc, y);
  if (!y) EXPECT_EQ(code, rc);
  buf.resize(len);
  return {rc, buf};
}

Bytes counting(size_t n) {
  Bytes b(n);
  for (size_t i = 0; i < n; ++i) b[i] = static_cast<uint8_t>(0x41 + i % 26);
  return b;
}

TEST(Padding, InPlaceVectors) {
  size_t seen = 0;
  for (const Vector& v : loadVectors("primitives/padding.txt")) {
    if (v.group == "iso9796") continue;
    SCOPED_TRACE(v.where());
    ++seen;
    const auto lblk = static_cast<uint16_t>(v.has("lblk") ? v.number("lblk") : 64);
    const auto mode = static_cast<uint16_t>(v.has("mode") ? v.number("mode") : 0);
    const auto [rc, out] = pad(v.group, v.bytes("in"), lblk, mode, seen % 2 == 0);
    EXPECT_EQ(rc, v.has("code") ? v.number("code") : 0);
    EXPECT_EQ(toHex(out), v.has("code") ? v.text("in") : v.text("out"));
    if (v.has("code")) expectFirstError(14, v.text("message"), v.where());
  }
  EXPECT_EQ(seen, 44u);
}

// Each wrong PKCS #5 padding byte is recorded (here the nearest and the
// farthest from the end), and the padding is removed.
TEST(Padding, Pkcs5RecordsEveryWrongByte) {
  const auto [rc, out] = pad("PADPKCS5", fromHex("4142430705050905"), 0, 1);
  EXPECT_EQ(rc, 14);
  EXPECT_EQ(toHex(out), "414243");
  size_t wrong = 0;
  for (const auto& e : errorStack()) wrong += e.code == 14 && e.message == "Byte padding sbagliati";
  EXPECT_EQ(wrong, 2u);
}

// ---- Blocks for RSA -----------------------------------------------------------

// PADPKCS1 (bt given) or PAD9796 / PADRSA; `null` is a 1-based argument of
// PADPKCS1's list (bufi, insz, nbits, bt, bufo, outsz, mode).
uint16_t blockCall(const std::string& e, const uint8_t* in, const uint32_t* insz,
                   const uint32_t* nbits, const uint16_t* bt, uint8_t* out, uint32_t* outsz,
                   const uint16_t* mode, uint16_t* rc, bool y = false) {
  if (e == "PADPKCS1") {
    if (!y) return PADPKCS1(in, insz, nbits, bt, out, outsz, mode, rc);
    YPADPKC1(in, insz, nbits, bt, out, outsz, mode, rc);
  } else if (e == "PAD9796") {
    if (!y) return PAD9796(in, insz, nbits, out, outsz, mode, rc);
    YPAD9796(in, insz, nbits, out, outsz, mode, rc);
  } else {
    if (!y) return PADRSA(in, insz, nbits, out, outsz, mode, rc);
    YPADRSA(in, insz, nbits, out, outsz, mode, rc);
  }
  return *rc;
}

// A call on `in`: its code, and the output cut to its length; on failure the
// length is untouched.
std::pair<uint16_t, Bytes> block(const std::string& e, const Bytes& in, uint32_t nbits,
                                 uint16_t mode, uint16_t bt = 2, bool y = false) {
  Bytes out(in.size() + 4096, 0xEE);
  uint32_t len = static_cast<uint32_t>(in.size()), outsz = 0xDEAD;
  uint16_t rc = 99;
  const uint8_t none = 0;
  const uint16_t code = blockCall(e, in.empty() ? &none : in.data(), &len, &nbits, &bt, out.data(),
                                  &outsz, &mode, &rc, y);
  EXPECT_EQ(code, rc);
  if (rc != 0) EXPECT_EQ(outsz, 0xDEADu);
  out.resize(rc == 0 ? outsz : 0);
  return {rc, out};
}

TEST(BlockPadding, Layouts) {
  const Bytes abc = textBytes("abc");
  EXPECT_EQ(toHex(block("PADPKCS1", abc, 512, 0, 0).second), std::string(120, '0') + "00616263");
  EXPECT_EQ(toHex(block("PADPKCS1", abc, 512, 0, 1, true).second),
            "0001" + std::string(116, 'F') + "00616263");
  EXPECT_EQ(block("PADPKCS1", abc, 1023, 0, 1).second.size(), 128u);
  const Bytes random = block("PADPKCS1", abc, 512, 0, 2).second;
  ASSERT_EQ(random.size(), 64u);
  EXPECT_EQ(toHex(random.data(), 2), "0002");
  EXPECT_EQ(std::count(random.begin() + 2, random.begin() + 60, 0), 0);
  EXPECT_EQ(toHex(random.data() + 60, 4), "00616263");
  EXPECT_NE(block("PADPKCS1", abc, 512, 0, 2).second, random);
  EXPECT_EQ(toHex(block("PADRSA", abc, 512, 0).second), "0061626380" + std::string(118, '0'));
  const Bytes full = counting(63);
  EXPECT_EQ(toHex(block("PADRSA", full, 512, 0, 0, true).second),
            "00" + toHex(full) + "0080" + std::string(124, '0'));
  EXPECT_EQ(toHex(block("PADRSA", {}, 1023, 0).second), "0080" + std::string(252, '0'));
  EXPECT_EQ(toHex(block("PAD9796", textBytes("A"), 512, 0, 0, true).second.data() + 63, 1), "16");
}

// Padding then unpadding gives the data back, the padded length within the
// entry's bounds: in place every length from 0 to 40, blocks for RSA around
// their capacity.
TEST(Padding, RoundTrips) {
  struct Row {
    const char* entry;
    uint16_t lblk, mode, unpad;
    size_t multiple, minAdded, maxAdded;
  };
  std::vector<Row> rows = {{"PAD13", 64, 0, 1, 8, 3, 10},
                           {"PAD64", 64, 0, 2, 8, 1, 8},
                           {"PAD64", 64, 1, 2, 8, 1, 8},
                           {"PADPKCS5", 64, 0, 1, 8, 1, 8}};
  for (uint16_t lblk : {8, 16, 64, 128, 1024})
    rows.push_back({"PAD2", lblk, 0, 1, lblk / 8u, 1, lblk / 8u});
  for (uint16_t lblk : {1, 7, 9, 12, 63, 1023})
    rows.push_back({"PAD2", lblk, 0, 1, 1, 1, lblk / 8u + 2});
  for (const Row& r : rows) {
    for (size_t n = 0; n <= 40; ++n) {
      SCOPED_TRACE(std::string(r.entry) + " " + std::to_string(r.lblk) + " " + std::to_string(n));
      const Bytes data = counting(n);
      const auto [rc, padded] = pad(r.entry, data, r.lblk, r.mode);
      ASSERT_EQ(rc, 0);
      EXPECT_EQ(padded.size() % r.multiple, 0u);
      EXPECT_GE(padded.size() - n, r.minAdded);
      EXPECT_LE(padded.size() - n, r.maxAdded);
      EXPECT_EQ(pad(r.entry, padded, r.lblk, r.unpad), std::make_pair(uint16_t{0}, data));
    }
  }
  for (uint32_t nbits : {512u, 513u, 1000u, 1023u, 1024u, 2048u}) {
    const size_t k = (nbits + 7) / 8, maxIso = (nbits + 2) / 16;
    std::vector<std::tuple<std::string, uint16_t, size_t>> cases;  // entry, bt, length
    for (uint16_t bt : {0, 1, 2}) {
      for (size_t n : {size_t{0}, size_t{1}, size_t{20}, k - 12, k - 11})
        cases.emplace_back("PADPKCS1", bt, n);
    }
    for (size_t n : {size_t{0}, size_t{1}, k - 2, k - 1, k, 2 * k - 2, 3 * k + 5})
      cases.emplace_back("PADRSA", 2, n);
    for (size_t n = 1; n <= maxIso; n += (n < 6 || n + 6 > maxIso) ? 1 : 7)
      cases.emplace_back("PAD9796", 2, n);
    for (const auto& [entry, bt, n] : cases) {
      SCOPED_TRACE(entry + " " + std::to_string(bt) + " " + std::to_string(nbits) + " " +
                   std::to_string(n));
      Bytes data = counting(n);
      if (!data.empty()) data[0] = static_cast<uint8_t>(0xF0 + n);
      const auto [rc, formatted] = block(entry, data, nbits, 0, bt);
      ASSERT_EQ(rc, 0);
      EXPECT_EQ(formatted.size(), entry == "PADRSA" ? (n / (k - 1) + 1) * k : k);
      EXPECT_EQ(block(entry, formatted, nbits, 1, bt), std::make_pair(uint16_t{0}, data));
    }
  }
}

TEST(BlockPadding, MalformedBlocks) {
  size_t spoiled = 0;
  for (const Vector& v : loadVectors("primitives/padding_args.txt")) {
    if (v.group != "pkcs1-spoiled" && v.group != "padrsa-spoiled") continue;
    const bool rsa = v.group == "padrsa-spoiled";
    const std::string entry = rsa ? "PADRSA" : "PADPKCS1";
    const auto bt = static_cast<uint16_t>(rsa ? 2 : v.number("bt"));
    const auto at = static_cast<size_t>(v.number("at"));
    Bytes b = block(entry, rsa ? counting(70) : textBytes("abc"), 512, 0, bt).second;
    if (v.number("value") < 0) std::fill(b.begin() + at, b.end(), 0);
    if (v.number("value") >= 0) b[at] = static_cast<uint8_t>(v.number("value"));
    EXPECT_EQ(block(entry, b, 512, 1, bt).first, 14) << v.text("what");
    expectFirstError(14, v.text("message"), v.text("what"));
    ++spoiled;
  }
  EXPECT_EQ(spoiled, 12u);
}

// The examples' signatures opened (IR = sig^3 mod n, or n minus it, whichever
// ends in the nibble 6) read back to the message; formatting takes whole
// bytes, so with padding bits the indicator byte at 2z from the right differs
// by (1 + bits) ^ 1.  Spoiling the opened block is refused.
TEST(BlockPadding, Iso9796Examples) {
  std::unique_ptr<BN_CTX, decltype(&BN_CTX_free)> ctx(BN_CTX_new(), BN_CTX_free);
  size_t seen = 0;
  for (const Vector& v : loadVectors("primitives/padding.txt")) {
    if (v.group != "iso9796") continue;
    ++seen;
    BIGNUM *n = nullptr, *sig = nullptr;
    BN_hex2bn(&n, v.text("modulus").c_str());
    BN_hex2bn(&sig, v.text("signature").c_str());
    BIGNUM *three = BN_new(), *ir = BN_new();
    if (v.number("complement")) BN_sub(sig, n, sig);
    BN_set_word(three, 3);
    BN_mod_exp(ir, sig, three, n, ctx.get());
    if (BN_mod_word(ir, 16) != 6) BN_sub(ir, n, ir);
    const auto nbits = static_cast<uint32_t>(BN_num_bits(n));
    Bytes opened((nbits + 7) / 8);
    BN_bn2binpad(ir, opened.data(), static_cast<int>(opened.size()));
    BN_free(n), BN_free(sig), BN_free(three), BN_free(ir);
    const Bytes message = v.bytes("message");
    EXPECT_EQ(block("PAD9796", opened, nbits, 1), std::make_pair(uint16_t{0}, message))
        << v.where();
    Bytes expected = opened;
    expected[expected.size() - 2 * message.size()] ^=
        static_cast<uint8_t>((1 + v.number("bits")) ^ 1);
    EXPECT_EQ(block("PAD9796", message, nbits, 0), std::make_pair(uint16_t{0}, expected))
        << v.where();
    if (seen != 2) continue;
    // Spoiled: a byte flipped at {index (negative from the end), bits}, or all zeros.
    for (auto [at, bits] :
         {std::pair{-1, 0x01}, {40, 0x10}, {3, 0x01}, {1, 0x80}, {0, 0x01}, {0, 0}}) {
      Bytes b = bits == 0 ? Bytes(opened.size(), 0) : opened;
      b[at < 0 ? b.size() + at : at] ^= static_cast<uint8_t>(bits);
      EXPECT_EQ(block("PAD9796", b, nbits, 1).first, 14) << at;
      expectFirstError(14, "Codifica non riconosciuta", "spoiled");
    }
  }
  EXPECT_EQ(seen, 3u);
}

// One call with one argument null or a bad value (padding_args.txt): in place
// (the length then untouched) or a block call.
TEST(Padding, ArgumentChecks) {
  std::map<std::string, size_t> rows;
  for (const Vector& v : loadVectors("primitives/padding_args.txt")) {
    if (v.group != "inplace" && v.group != "block") continue;
    ++rows[v.group];
    const int null = static_cast<int>(v.number("null"));
    auto at = [&](int i, auto* p) { return null == i ? nullptr : p; };
    auto number = [&](const char* key) { return v.has(key) ? v.number(key) : 0; };
    const auto insz = static_cast<uint32_t>(v.number("insz")),
               nbits = static_cast<uint32_t>(number("nbits"));
    const auto lblk = static_cast<uint16_t>(number("lblk")),
               bt = static_cast<uint16_t>(number("bt")),
               mode = static_cast<uint16_t>(v.number("mode"));
    static const uint8_t in[128] = {};
    uint8_t out[256] = {};
    uint32_t len = insz, outsz = 0;
    expectOutcome(
        [&](uint16_t* rc) {
          if (v.group == "inplace")
            return inPlace(v.text("entry"), at(1, out), at(2, &len), at(3, &lblk), at(4, &mode),
                           rc);
          return blockCall(v.text("entry"), at(1, in), at(2, &insz), at(3, &nbits), at(4, &bt),
                           at(5, out), at(6, &outsz), at(7, &mode), rc);
        },
        static_cast<uint16_t>(v.number("code")), v.text("message"), v.where());
    EXPECT_EQ(len, insz) << v.where();
  }
  EXPECT_EQ(rows["inplace"], 30u);
  EXPECT_EQ(rows["block"], 32u);
}

}  // namespace
}  // namespace sigillo
