// Padding entry points: argument checks, exact layouts, round trips,
// malformed input, and the published ISO/IEC 9796-1 examples.
#include <gtest/gtest.h>
#include <openssl/bn.h>
#include <openssl/evp.h>
#include <openssl/rsa.h>

#include <functional>
#include <memory>

#include "sigillo/sigillo.h"
#include "tests/common/refusal.h"
#include "tests/common/testutil.h"

namespace sigillo {
namespace {

using test::Bytes;
using test::expectFirstError;
using test::fromHex;
using test::Refusal;
using test::toHex;

void runChecks(const std::vector<Refusal>& cases) {
  for (const Refusal& c : cases) test::expectOutcome(c);
}

// ---- In-place paddings: calls on a copy with room for the padding ------------

struct InPlace {
  uint16_t rc;
  Bytes data;  // the buffer cut to the returned length
};

using InPlaceCall = std::function<uint16_t(uint8_t*, uint32_t*, uint16_t*)>;

InPlace inPlace(const Bytes& input, const InPlaceCall& call) {
  Bytes buf(input);
  buf.resize(input.size() + 160, 0xEE);
  uint32_t len = static_cast<uint32_t>(input.size());
  uint16_t rc = 99;
  uint16_t result = call(buf.data(), &len, &rc);
  EXPECT_EQ(result, rc);
  buf.resize(len);
  return {rc, buf};
}

InPlaceCall pad1(uint16_t lblk) {
  return [lblk](uint8_t* b, uint32_t* n, uint16_t* rc) { return PAD1(b, n, &lblk, rc); };
}
InPlaceCall pad2(uint16_t lblk, uint16_t mode) {
  return
      [lblk, mode](uint8_t* b, uint32_t* n, uint16_t* rc) { return PAD2(b, n, &lblk, &mode, rc); };
}
InPlaceCall withMode(uint16_t (*entry)(uint8_t*, uint32_t*, const uint16_t*, uint16_t*),
                     uint16_t mode) {
  return [entry, mode](uint8_t* b, uint32_t* n, uint16_t* rc) { return entry(b, n, &mode, rc); };
}

Bytes counting(size_t n) {
  Bytes b(n);
  for (size_t i = 0; i < n; ++i) b[i] = static_cast<uint8_t>(0x41 + i % 26);
  return b;
}

struct LayoutCase {
  const char* what;
  InPlaceCall call;
  const char* input;
  std::string output;
};

TEST(Padding, InPlaceLayouts) {
  const LayoutCase cases[] = {
      {"PAD1 64", pad1(64), "616263", "6162630000000000"},
      {"PAD1 whole block", pad1(64), "0102030405060708", "0102030405060708"},
      {"PAD1 empty", pad1(64), "", ""},
      {"PAD1 12 bits", pad1(12), "41", "4100"},
      {"PAD1 12 bits, 3 bytes", pad1(12), "414243", "414243"},
      {"PAD1 1 bit", pad1(1), "41", "41"},
      {"PAD1 1024", pad1(1024), "41", "41" + std::string(254, '0')},
      {"PAD2 64", pad2(64, 0), "616263", "6162638000000000"},
      {"PAD2 whole block", pad2(64, 0), "0102030405060708", "01020304050607088000000000000000"},
      {"PAD2 empty", pad2(64, 0), "", "8000000000000000"},
      {"PAD2 8 bits", pad2(8, 0), "41", "4180"},
      {"PAD2 12 bits", pad2(12, 0), "41", "418000"},
      {"PAD13 three", withMode(PAD13, 0), "0102030405", "0102030405800003"},
      {"PAD13 ten", withMode(PAD13, 0), "010203040506",
       "01020304050680" + std::string(16, '0') + "0A"},
      {"PAD13 empty", withMode(PAD13, 0), "", "8000000000000008"},
      {"PAD64 table 0", withMode(PAD64, 0), "616263", "6162630000000005"},
      {"PAD64 table 1", withMode(PAD64, 1), "616263", "61626300000000A8"},
      {"PAD64 one byte, table 0", withMode(PAD64, 0), "01020304050607", "0102030405060701"},
      {"PAD64 one byte, table 1", withMode(PAD64, 1), "01020304050607", "0102030405060788"},
      {"PAD64 block, table 0", withMode(PAD64, 0), "0102030405060708",
       "01020304050607080000000000000008"},
      {"PAD64 block, table 1", withMode(PAD64, 1), "0102030405060708",
       "010203040506070800000000000000C0"},
      {"PADPKCS5", withMode(PADPKCS5, 0), "616263", "6162630505050505"},
      {"PADPKCS5 one", withMode(PADPKCS5, 0), "01020304050607", "0102030405060701"},
      {"PADPKCS5 16 bytes", withMode(PADPKCS5, 0), "0102030405060708090A0B0C0D0E0F10",
       "0102030405060708090A0B0C0D0E0F100808080808080808"},
  };
  for (const LayoutCase& c : cases) {
    InPlace r = inPlace(fromHex(c.input), c.call);
    EXPECT_EQ(r.rc, 0) << c.what;
    EXPECT_EQ(toHex(r.data), c.output) << c.what;
  }
}

struct RoundTrip {
  const char* what;
  InPlaceCall pad, unpad;
  size_t multiple;  // of the padded length, in bytes
  size_t minAdded, maxAdded;
};

TEST(Padding, InPlaceRoundTrips) {
  std::vector<RoundTrip> cases = {
      {"PAD13", withMode(PAD13, 0), withMode(PAD13, 1), 8, 3, 10},
      {"PAD64 0", withMode(PAD64, 0), withMode(PAD64, 2), 8, 1, 8},
      {"PAD64 1", withMode(PAD64, 1), withMode(PAD64, 2), 8, 1, 8},
      {"PADPKCS5", withMode(PADPKCS5, 0), withMode(PADPKCS5, 1), 8, 1, 8},
  };
  for (uint16_t lblk : {8, 16, 64, 128, 1024}) {
    cases.push_back({"PAD2", pad2(lblk, 0), pad2(lblk, 1), lblk / 8u, 1, lblk / 8u});
  }
  // Block lengths that are not whole bytes: the padded length is only known
  // to be longer.
  for (uint16_t lblk : {1, 7, 9, 12, 63, 1023}) {
    cases.push_back({"PAD2 odd bits", pad2(lblk, 0), pad2(lblk, 1), 1, 1, lblk / 8u + 2});
  }
  for (const RoundTrip& c : cases) {
    for (size_t n = 0; n <= 40; ++n) {
      Bytes data = counting(n);
      InPlace padded = inPlace(data, c.pad);
      ASSERT_EQ(padded.rc, 0) << c.what << " " << n;
      size_t added = padded.data.size() - n;
      EXPECT_EQ(padded.data.size() % c.multiple, 0u) << c.what << " " << n;
      EXPECT_GE(added, c.minAdded) << c.what << " " << n;
      EXPECT_LE(added, c.maxAdded) << c.what << " " << n;
      InPlace back = inPlace(padded.data, c.unpad);
      EXPECT_EQ(back.rc, 0) << c.what << " " << n;
      EXPECT_EQ(back.data, data) << c.what << " " << n;
    }
  }
}

struct UnpadFailure {
  const char* what;
  InPlaceCall call;
  const char* input;
  const char* message;
};

TEST(Padding, MalformedPaddingLeavesTheLengthAlone) {
  const UnpadFailure cases[] = {
      {"PAD2 no marker", pad2(64, 1), "4142434445464748", "Formato input non corretto"},
      {"PAD2 only zeros", pad2(64, 1), "0000000000000000", "Formato input non corretto"},
      {"PAD2 empty", pad2(64, 1), "", "Formato input non corretto"},
      {"PAD2 more zeros than a block", pad2(64, 1), "41800000000000000000",
       "Formato input non corretto"},
      {"PAD2 marker not 80", pad2(64, 1), "4142434445464700", "Formato input non corretto"},
      {"PAD13 count 2", withMode(PAD13, 1), "4142434445800002", "padlen < 3"},
      {"PAD13 count 11", withMode(PAD13, 1), "41424344454647484180000000000B0B", "padlen > 10"},
      {"PAD13 count beyond the buffer", withMode(PAD13, 1), "8000000000000009", "padlen > 8"},
      {"PAD13 marker", withMode(PAD13, 1), "4142434445810003", "Byte padding sbagliati"},
      {"PAD13 nonzero filler", withMode(PAD13, 1), "4142434480000104", "Byte padding sbagliati"},
      {"PAD64 count 0", withMode(PAD64, 2), "4142434445464700", "inferiore a 1"},
      {"PAD64 count 9", withMode(PAD64, 2), "4142434445464709", "superiore a 8"},
      {"PAD64 high count 0", withMode(PAD64, 2), "4142434445464787", "inferiore a 1"},
      {"PAD64 high count 9", withMode(PAD64, 2), "41424344454647C8", "superiore a 8"},
      {"PAD64 FF", withMode(PAD64, 2), "41424344454647FF", "superiore a 8"},
      {"PADPKCS5 last 09", withMode(PADPKCS5, 1), "4142434445464709",
       "Valore ultimo byte < 1 oppure > 8"},
      {"PADPKCS5 last 00", withMode(PADPKCS5, 1), "4142434445464700",
       "Valore ultimo byte < 1 oppure > 8"},
  };
  for (const UnpadFailure& c : cases) {
    Bytes input = fromHex(c.input);
    InPlace r = inPlace(input, c.call);
    EXPECT_EQ(r.rc, 14) << c.what;
    EXPECT_EQ(r.data, input) << c.what;
    expectFirstError(14, c.message, c.what);
  }
}

TEST(Padding, Pad64ReadsTheCountFromEitherTable) {
  // Bits 0 to 2 of a high end byte do not count.
  for (const char* input : {"4142434405050505", "41424344000000A8", "41424344000000AF"}) {
    InPlace r = inPlace(fromHex(input), withMode(PAD64, 2));
    EXPECT_EQ(r.rc, 0) << input;
    EXPECT_EQ(toHex(r.data), "414243") << input;
  }
}

// Each padding byte that differs is recorded, and the padding is removed.
TEST(Padding, Pkcs5RecordsEveryWrongByte) {
  // The wrong bytes are the nearest and the farthest from the end.
  InPlace r = inPlace(fromHex("4142430705050905"), withMode(PADPKCS5, 1));
  EXPECT_EQ(r.rc, 14);
  EXPECT_EQ(toHex(r.data), "414243");
  auto stack = test::errorStack();
  ASSERT_GE(stack.size(), 2u);
  size_t wrong = 0;
  for (const auto& e : stack) {
    if (e.code == 14) {
      EXPECT_EQ(e.message, "Byte padding sbagliati");
      ++wrong;
    }
  }
  EXPECT_EQ(wrong, 2u);
}

TEST(Padding, InPlaceArgumentChecks) {
  static uint8_t buf[16];
  static uint32_t len = 3, twelve = 12, zero = 0, huge = 0xFFFFFFFC;
  static const uint16_t m0 = 0, m1 = 1, m2 = 2, m3 = 3, m7 = 7, b0 = 0, b64 = 64, b1025 = 1025;
  runChecks({
      {"PAD1 bufi", [](uint16_t* rc) { return PAD1(nullptr, &len, &b64, rc); }, 2, "bufi (1)"},
      {"PAD1 insz", [](uint16_t* rc) { return PAD1(buf, nullptr, &b64, rc); }, 5, "insz (2)"},
      {"PAD1 lblk", [](uint16_t* rc) { return PAD1(buf, &len, nullptr, rc); }, 12, "lblk (3)"},
      {"PAD1 lblk 0", [](uint16_t* rc) { return PAD1(buf, &len, &b0, rc); }, 12,
       "Valore inferiore a 1"},
      {"PAD1 lblk 1025", [](uint16_t* rc) { return PAD1(buf, &len, &b1025, rc); }, 12,
       "Valore maggiore di 1024"},
      {"PAD1 bufi first", [](uint16_t* rc) { return PAD1(nullptr, &len, &b0, rc); }, 2, "bufi (1)"},
      {"PAD1 beyond 4 GiB",
       [](uint16_t* rc) {
         uint32_t big = 0xFFFFFFFF;
         return PAD1(buf, &big, &b64, rc);
       },
       5, "insz (2)"},
      {"PAD2 lblk 0", [](uint16_t* rc) { return PAD2(buf, &len, &b0, &m0, rc); }, 12,
       "Valore inferiore a 1"},
      {"PAD2 mode", [](uint16_t* rc) { return PAD2(buf, &len, &b64, nullptr, rc); }, 1, "mode (4)"},
      {"PAD2 mode 2", [](uint16_t* rc) { return PAD2(buf, &len, &b64, &m2, rc); }, 1, "mode (4)"},
      {"PAD2 beyond 4 GiB", [](uint16_t* rc) { return PAD2(buf, &huge, &b64, &m0, rc); }, 5,
       "insz (2)"},
      {"PAD13 bufi", [](uint16_t* rc) { return PAD13(nullptr, &len, &m0, rc); }, 2, "bufi (1)"},
      {"PAD13 insz", [](uint16_t* rc) { return PAD13(buf, nullptr, &m0, rc); }, 5, "insz (2)"},
      {"PAD13 mode", [](uint16_t* rc) { return PAD13(buf, &len, &m2, rc); }, 1, "mode (3)"},
      {"PAD13 unpad 12", [](uint16_t* rc) { return PAD13(buf, &twelve, &m1, rc); }, 5, "insz (2)"},
      {"PAD13 unpad 0", [](uint16_t* rc) { return PAD13(buf, &zero, &m1, rc); }, 5, "insz (2)"},
      {"PAD13 beyond 4 GiB", [](uint16_t* rc) { return PAD13(buf, &huge, &m0, rc); }, 5,
       "insz (2)"},
      {"PAD64 bufi", [](uint16_t* rc) { return PAD64(nullptr, &len, &m0, rc); }, 2, "bufi (1)"},
      {"PAD64 insz", [](uint16_t* rc) { return PAD64(buf, nullptr, &m0, rc); }, 5, "insz (2)"},
      {"PAD64 mode", [](uint16_t* rc) { return PAD64(buf, &len, nullptr, rc); }, 1, "mode (3)"},
      {"PAD64 mode 3", [](uint16_t* rc) { return PAD64(buf, &len, &m3, rc); }, 1, "mode (3)"},
      {"PAD64 unpad 12", [](uint16_t* rc) { return PAD64(buf, &twelve, &m2, rc); }, 5,
       "insz (2) non e' multiplo di 64 = 12"},
      {"PAD64 unpad 0", [](uint16_t* rc) { return PAD64(buf, &zero, &m2, rc); }, 5,
       "insz (2) non e' multiplo di 64 = 0"},
      {"PAD64 beyond 4 GiB", [](uint16_t* rc) { return PAD64(buf, &huge, &m1, rc); }, 5,
       "insz (2)"},
      {"PADPKCS5 bufi", [](uint16_t* rc) { return PADPKCS5(nullptr, &len, &m0, rc); }, 2,
       "bufi (1)"},
      {"PADPKCS5 insz", [](uint16_t* rc) { return PADPKCS5(buf, nullptr, &m0, rc); }, 5,
       "insz (2)"},
      {"PADPKCS5 mode", [](uint16_t* rc) { return PADPKCS5(buf, &len, nullptr, rc); }, 1,
       "mode (3)"},
      {"PADPKCS5 mode 7", [](uint16_t* rc) { return PADPKCS5(buf, &len, &m7, rc); }, 1,
       "Valore 7 non consentito"},
      {"PADPKCS5 unpad 12", [](uint16_t* rc) { return PADPKCS5(buf, &twelve, &m1, rc); }, 5,
       "insz (2)"},
      {"PADPKCS5 beyond 4 GiB", [](uint16_t* rc) { return PADPKCS5(buf, &huge, &m0, rc); }, 5,
       "insz (2)"},
  });
  EXPECT_EQ(len, 3u);
  EXPECT_EQ(huge, 0xFFFFFFFCu);
}

// ---- Blocks for RSA ---------------------------------------------------------

struct Block {
  uint16_t rc;
  Bytes out;
};

using BlockEntry = uint16_t (*)(const uint8_t*, const uint32_t*, const uint32_t*, uint8_t*,
                                uint32_t*, const uint16_t*, uint16_t*);

Block callBlock(BlockEntry entry, const Bytes& in, uint32_t nbits, uint16_t mode) {
  Bytes out(in.size() + 4096, 0xEE);
  uint32_t len = static_cast<uint32_t>(in.size()), outsz = 0xDEAD;
  uint16_t rc = 99;
  const uint8_t none = 0;
  EXPECT_EQ(entry(in.empty() ? &none : in.data(), &len, &nbits, out.data(), &outsz, &mode, &rc),
            rc);
  if (rc != 0) {
    EXPECT_EQ(outsz, 0xDEADu);
    return {rc, {}};
  }
  out.resize(outsz);
  return {rc, out};
}

Block pkcs1(const Bytes& in, uint32_t nbits, uint16_t bt, uint16_t mode) {
  Bytes out(in.size() + 4096, 0xEE);
  uint32_t len = static_cast<uint32_t>(in.size()), outsz = 0xDEAD;
  uint16_t rc = 99;
  const uint8_t none = 0;
  EXPECT_EQ(
      PADPKCS1(in.empty() ? &none : in.data(), &len, &nbits, &bt, out.data(), &outsz, &mode, &rc),
      rc);
  if (rc != 0) return {rc, {}};
  out.resize(outsz);
  return {rc, out};
}

TEST(Pkcs1, Layouts) {
  Bytes abc = test::textBytes("abc");
  EXPECT_EQ(toHex(pkcs1(abc, 512, 0, 0).out), "0000" + std::string(116, '0') + "00616263");
  EXPECT_EQ(toHex(pkcs1(abc, 512, 1, 0).out), "0001" + std::string(116, 'F') + "00616263");
  // 1023 bits: a 128-byte block.
  EXPECT_EQ(pkcs1(abc, 1023, 1, 0).out.size(), 128u);
  for (int i = 0; i < 20; ++i) {
    Bytes block = pkcs1(abc, 512, 2, 0).out;
    ASSERT_EQ(block.size(), 64u);
    EXPECT_EQ(toHex(block.data(), 2), "0002");
    for (size_t j = 2; j < 60; ++j) ASSERT_NE(block[j], 0) << j;
    EXPECT_EQ(toHex(block.data() + 60, 4), "00616263");
  }
  EXPECT_NE(pkcs1(abc, 512, 2, 0).out, pkcs1(abc, 512, 2, 0).out);
}

TEST(Pkcs1, RoundTrips) {
  for (uint32_t nbits : {512u, 1023u, 1024u, 2048u}) {
    const size_t k = (nbits + 7) / 8;
    for (uint16_t bt : {0, 1, 2}) {
      for (size_t n : {size_t{0}, size_t{1}, size_t{20}, k - 12, k - 11}) {
        Bytes data = counting(n);
        Block enc = pkcs1(data, nbits, bt, 0);
        ASSERT_EQ(enc.rc, 0) << nbits << " " << bt << " " << n;
        ASSERT_EQ(enc.out.size(), k);
        Block dec = pkcs1(enc.out, nbits, bt, 1);
        EXPECT_EQ(dec.rc, 0) << nbits << " " << bt << " " << n;
        EXPECT_EQ(dec.out, data) << nbits << " " << bt << " " << n;
      }
    }
  }
}

TEST(Pkcs1, DataTooLarge) {
  Block r = pkcs1(Bytes(54), 512, 1, 0);
  EXPECT_EQ(r.rc, 14);
  expectFirstError(14, "Buffer di input troppo grande", "k - 10 bytes");
}

struct MalformedBlock {
  const char* what;
  uint16_t bt;
  std::function<void(Bytes&)> spoil;
  const char* message;
};

TEST(Pkcs1, MalformedBlocks) {
  const MalformedBlock cases[] = {
      {"first byte", 2, [](Bytes& b) { b[0] = 1; }, "Codifica non riconosciuta"},
      {"block type", 2, [](Bytes& b) { b[1] = 1; }, "Codifica non riconosciuta"},
      {"no separator", 2, [](Bytes& b) { b[60] = 0x55; }, "Byte 0x00 non trovato"},
      {"7 padding bytes", 2, [](Bytes& b) { b[9] = 0; }, "Codifica non riconosciuta"},
      {"type 1 filler", 1, [](Bytes& b) { b[30] = 0xFE; }, "Codifica non riconosciuta"},
      {"type 1 no separator", 1, [](Bytes& b) { b[60] = 0xFF; }, "Byte 0x00 non trovato"},
      {"type 1 short", 1, [](Bytes& b) { b[5] = 0; }, "Codifica non riconosciuta"},
      {"type 0 first byte", 0, [](Bytes& b) { b[0] = 2; }, "Codifica non riconosciuta"},
      {"type 0 short", 0, [](Bytes& b) { b[7] = 0x10; }, "Codifica non riconosciuta"},
  };
  for (const MalformedBlock& c : cases) {
    Bytes block = pkcs1(test::textBytes("abc"), 512, c.bt, 0).out;
    ASSERT_EQ(block.size(), 64u);
    c.spoil(block);
    EXPECT_EQ(pkcs1(block, 512, c.bt, 1).rc, 14) << c.what;
    expectFirstError(14, c.message, c.what);
  }
  // Eight padding bytes are enough.
  Bytes shortest = pkcs1(Bytes(53, 0x33), 512, 2, 0).out;
  EXPECT_EQ(shortest[10], 0);
  EXPECT_EQ(pkcs1(shortest, 512, 2, 1).out, Bytes(53, 0x33));
}

// libcrypto's own PKCS #1 v1.5 padding, around raw RSA, reads our blocks
// and writes blocks we read.
struct PkeyFree {
  void operator()(EVP_PKEY* k) const { EVP_PKEY_free(k); }
};
struct PkeyCtxFree {
  void operator()(EVP_PKEY_CTX* c) const { EVP_PKEY_CTX_free(c); }
};
using PkeyCtx = std::unique_ptr<EVP_PKEY_CTX, PkeyCtxFree>;

enum class Op { kEncrypt, kDecrypt, kSign, kVerifyRecover };

Bytes rsaOp(EVP_PKEY* key, Op op, int padding, const Bytes& in) {
  PkeyCtx ctx(EVP_PKEY_CTX_new(key, nullptr));
  int ok = op == Op::kEncrypt   ? EVP_PKEY_encrypt_init(ctx.get())
           : op == Op::kDecrypt ? EVP_PKEY_decrypt_init(ctx.get())
           : op == Op::kSign    ? EVP_PKEY_sign_init(ctx.get())
                                : EVP_PKEY_verify_recover_init(ctx.get());
  EXPECT_EQ(ok, 1);
  EXPECT_EQ(EVP_PKEY_CTX_set_rsa_padding(ctx.get(), padding), 1);
  Bytes out(512);
  size_t n = out.size();
  ok = op == Op::kEncrypt   ? EVP_PKEY_encrypt(ctx.get(), out.data(), &n, in.data(), in.size())
       : op == Op::kDecrypt ? EVP_PKEY_decrypt(ctx.get(), out.data(), &n, in.data(), in.size())
       : op == Op::kSign    ? EVP_PKEY_sign(ctx.get(), out.data(), &n, in.data(), in.size())
                         : EVP_PKEY_verify_recover(ctx.get(), out.data(), &n, in.data(), in.size());
  EXPECT_EQ(ok, 1);
  out.resize(ok == 1 ? n : 0);
  return out;
}

TEST(Pkcs1, InteroperatesWithLibcrypto) {
  std::unique_ptr<EVP_PKEY, PkeyFree> key(EVP_RSA_gen(1024));
  ASSERT_NE(key, nullptr);
  const Bytes message = test::textBytes("messaggio di prova");
  // Type 2: libcrypto pads and enciphers, we read the raw block.
  Bytes sealed = rsaOp(key.get(), Op::kEncrypt, RSA_PKCS1_PADDING, message);
  Bytes raw = rsaOp(key.get(), Op::kDecrypt, RSA_NO_PADDING, sealed);
  EXPECT_EQ(pkcs1(raw, 1024, 2, 1).out, message);
  // Type 2: we pad, libcrypto removes the padding.
  Bytes block = pkcs1(message, 1024, 2, 0).out;
  sealed = rsaOp(key.get(), Op::kEncrypt, RSA_NO_PADDING, block);
  EXPECT_EQ(rsaOp(key.get(), Op::kDecrypt, RSA_PKCS1_PADDING, sealed), message);
  // Type 1: we pad for a signature, libcrypto verifies and recovers.
  block = pkcs1(message, 1024, 1, 0).out;
  Bytes signature = rsaOp(key.get(), Op::kSign, RSA_NO_PADDING, block);
  EXPECT_EQ(rsaOp(key.get(), Op::kVerifyRecover, RSA_PKCS1_PADDING, signature), message);
}

// ISO/IEC 9796-1 Annex examples (as kept in Bouncy Castle's test suite):
// RSA with e = 3, the signature is min(IR^d, n - IR^d), so the formatted
// value IR is sig^3 mod n, or n minus it, whichever ends in the nibble 6.
struct Iso9796Example {
  const char* what;
  const char* modulus;
  const char* signature;  // a value, or n minus a value
  bool signatureIsComplement;
  const char* message;
  unsigned paddingBits;  // zero bits in front of the message
};

const Iso9796Example kIso9796Examples[] = {
    {"example 1",
     "0100000000000000000000000000000000bba2d15dbb303c8a21c5ebbcbae52b7125087920dd7cdf358ea119fd66"
     "fb064012ec8ce692f0a0b8e8321b041acd40b7",
     "309f873d8ded8379490f6097eaafdabc137d3ebfd8f25ab5f138d56a719cdc526bdd022ea65dabab920a81013a85"
     "d092e04d3e421caab717c90d89ea45a8d23a",
     true, "0cbbaa99887766554433221100", 4},
    {"example 2",
     "0100000000000000000000000000000000bba2d15dbb303c8a21c5ebbcbae52b7125087920dd7cdf358ea119fd66"
     "fb064012ec8ce692f0a0b8e8321b041acd40b7",
     "319bb9becb49f3ed1bca26d0fcf09b0b0a508e4d0bd43b350f959b72cd25b3af47d608fdcd248eada74fbe19990d"
     "beb9bf0da4b4e1200243a14e5cab3f7e610c",
     false, "fedcba9876543210fedcba9876543210fedcba9876543210fedcba9876543210", 0},
    {"example 3",
     "ffffff7fa27087c35ebead78412d2bdffe0301edd494df13458974ea89b364708f7d0f5a00a50779ddf9f7d4cb80"
     "b8891324da251a860c4ec9ef288104b3858d",
     "58e59ffb4b1fb1bcdbf8d1fe9afa3730c78a318a1134f5791b7313d480ff07ac319b068edf8f212945cb09cf33df"
     "30ace54f4a063fcca0b732f4b662dc4e2454",
     true, "0112233445566778899aabbccd", 4},
};

struct BnFree {
  void operator()(BIGNUM* b) const { BN_free(b); }
};
using Bn = std::unique_ptr<BIGNUM, BnFree>;

Bn bnFromHex(const char* hex) {
  BIGNUM* b = nullptr;
  BN_hex2bn(&b, hex);
  return Bn(b);
}

// The formatted block the example's signature opens to, and the modulus size.
Bytes openedSignature(const Iso9796Example& e, uint32_t* nbits) {
  Bn n = bnFromHex(e.modulus), sig = bnFromHex(e.signature), three(BN_new()), ir(BN_new());
  std::unique_ptr<BN_CTX, decltype(&BN_CTX_free)> ctx(BN_CTX_new(), BN_CTX_free);
  if (e.signatureIsComplement) BN_sub(sig.get(), n.get(), sig.get());
  BN_set_word(three.get(), 3);
  BN_mod_exp(ir.get(), sig.get(), three.get(), n.get(), ctx.get());
  if (BN_mod_word(ir.get(), 16) != 6) BN_sub(ir.get(), n.get(), ir.get());
  *nbits = static_cast<uint32_t>(BN_num_bits(n.get()));
  Bytes block((*nbits + 7) / 8);
  BN_bn2binpad(ir.get(), block.data(), static_cast<int>(block.size()));
  return block;
}

TEST(Iso9796, PublishedExamples) {
  for (const Iso9796Example& e : kIso9796Examples) {
    uint32_t nbits = 0;
    Bytes opened = openedSignature(e, &nbits);
    ASSERT_EQ(opened.back() & 0x0F, 6) << e.what;
    Bytes message = fromHex(e.message);
    // Reading back finds the message, padding bits included.
    Block read = callBlock(PAD9796, opened, nbits, 1);
    EXPECT_EQ(read.rc, 0) << e.what;
    EXPECT_EQ(toHex(read.out), toHex(message)) << e.what;
    // Formatting takes whole bytes: with padding bits in the example the
    // indicator byte at position 2z from the right differs by (1 + bits) ^ 1.
    Bytes expected = opened;
    expected[expected.size() - 2 * message.size()] ^= static_cast<uint8_t>((1 + e.paddingBits) ^ 1);
    Block formatted = callBlock(PAD9796, message, nbits, 0);
    EXPECT_EQ(formatted.rc, 0) << e.what;
    EXPECT_EQ(toHex(formatted.out), toHex(expected)) << e.what;
  }
}

TEST(Iso9796, RoundTrips) {
  for (uint32_t nbits : {512u, 513u, 514u, 520u, 1000u, 1023u, 1024u, 2048u}) {
    const size_t maxMessage = (nbits + 2) / 16;
    for (size_t n = 1; n <= maxMessage; n += (n < 6 || n + 6 > maxMessage) ? 1 : 7) {
      Bytes data = counting(n);
      data[0] = static_cast<uint8_t>(0xF0 + n);
      Block formatted = callBlock(PAD9796, data, nbits, 0);
      ASSERT_EQ(formatted.rc, 0) << nbits << " " << n;
      ASSERT_EQ(formatted.out.size(), (nbits + 7) / 8);
      Block read = callBlock(PAD9796, formatted.out, nbits, 1);
      EXPECT_EQ(read.rc, 0) << nbits << " " << n;
      EXPECT_EQ(read.out, data) << nbits << " " << n;
    }
  }
}

TEST(Iso9796, MalformedBlocks) {
  uint32_t nbits = 0;
  const Bytes opened = openedSignature(kIso9796Examples[1], &nbits);
  const std::pair<const char*, std::function<void(Bytes&)>> spoilers[] = {
      {"last nibble", [](Bytes& b) { b.back() ^= 0x01; }},
      {"message byte", [](Bytes& b) { b[40] ^= 0x10; }},
      {"shadow byte far from the end", [](Bytes& b) { b[3] ^= 0x01; }},
      {"top bit", [](Bytes& b) { b[1] ^= 0x80; }},
      {"leading byte", [](Bytes& b) { b[0] = 1; }},
      {"all zero", [](Bytes& b) { std::fill(b.begin(), b.end(), 0); }},
  };
  for (const auto& [what, spoil] : spoilers) {
    Bytes block = opened;
    spoil(block);
    EXPECT_EQ(callBlock(PAD9796, block, nbits, 1).rc, 14) << what;
    expectFirstError(14, "Codifica non riconosciuta", what);
  }
  EXPECT_EQ(callBlock(PAD9796, Bytes(33, 0x11), 513, 0).rc, 14);
  expectFirstError(14, "Buffer di input troppo grande", "33 bytes in 513 bits");
  EXPECT_EQ(callBlock(PAD9796, Bytes(32, 0x11), 513, 0).rc, 0);
}

TEST(PadRsa, Layouts) {
  Block r = callBlock(PADRSA, test::textBytes("abc"), 512, 0);
  EXPECT_EQ(toHex(r.out), "0061626380" + std::string(118, '0'));
  Bytes full = counting(63);
  r = callBlock(PADRSA, full, 512, 0);
  EXPECT_EQ(toHex(r.out), "00" + toHex(full) + "0080" + std::string(124, '0'));
  r = callBlock(PADRSA, {}, 1023, 0);
  EXPECT_EQ(toHex(r.out), "0080" + std::string(252, '0'));
}

TEST(PadRsa, RoundTrips) {
  for (uint32_t nbits : {512u, 1023u, 2048u}) {
    const size_t k = (nbits + 7) / 8;
    for (size_t n : {size_t{0}, size_t{1}, k - 2, k - 1, k, 2 * k - 3, 2 * k - 2, 3 * k + 5}) {
      Bytes data = counting(n);
      Block formatted = callBlock(PADRSA, data, nbits, 0);
      ASSERT_EQ(formatted.rc, 0) << nbits << " " << n;
      EXPECT_EQ(formatted.out.size(), (n / (k - 1) + 1) * k) << nbits << " " << n;
      Block read = callBlock(PADRSA, formatted.out, nbits, 1);
      EXPECT_EQ(read.rc, 0) << nbits << " " << n;
      EXPECT_EQ(read.out, data) << nbits << " " << n;
    }
  }
}

TEST(PadRsa, MalformedInput) {
  const Bytes good = callBlock(PADRSA, counting(70), 512, 0).out;  // two blocks
  ASSERT_EQ(good.size(), 128u);
  struct Case {
    const char* what;
    Bytes input;
    const char* message;
  };
  Bytes notLeadingZero = good, lastAllZero = good, lastNot80 = good;
  notLeadingZero[64] = 1;
  std::fill(lastAllZero.begin() + 65, lastAllZero.end(), 0);
  lastNot80[64 + 8] = 0x81;
  const Case cases[] = {
      {"one byte more", Bytes(65, 0), "Buffer di input non multiplo del blocco"},
      {"empty", {}, "Buffer di input non multiplo del blocco"},
      {"block not below the modulus", notLeadingZero, "Codifica non riconosciuta"},
      {"no marker", lastAllZero, "Ultimo byte diverso da 0x80"},
      {"marker 81", lastNot80, "Ultimo byte diverso da 0x80"},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(callBlock(PADRSA, c.input, 512, 1).rc, 14) << c.what;
    expectFirstError(14, c.message, c.what);
  }
}

TEST(BlockPadding, ArgumentChecks) {
  static const uint8_t in[64] = {};
  static uint8_t out[256];
  static uint32_t outsz, len = 3, block = 64, zero = 0;
  static const uint32_t n512 = 512, n511 = 511, n16385 = 16385;
  static const uint16_t m0 = 0, m1 = 1, m2 = 2, bt1 = 1, bt3 = 3;
  runChecks({
      {"PKCS1 bufi",
       [](uint16_t* rc) { return PADPKCS1(nullptr, &len, &n512, &bt1, out, &outsz, &m0, rc); }, 2,
       "bufi (1)"},
      {"PKCS1 insz",
       [](uint16_t* rc) { return PADPKCS1(in, nullptr, &n512, &bt1, out, &outsz, &m0, rc); }, 5,
       "insz (2)"},
      {"PKCS1 nbits",
       [](uint16_t* rc) { return PADPKCS1(in, &len, nullptr, &bt1, out, &outsz, &m0, rc); }, 12,
       "nbits (3)"},
      {"PKCS1 nbits 511",
       [](uint16_t* rc) { return PADPKCS1(in, &len, &n511, &bt1, out, &outsz, &m0, rc); }, 12,
       "nbits (3)"},
      {"PKCS1 nbits 16385",
       [](uint16_t* rc) { return PADPKCS1(in, &len, &n16385, &bt1, out, &outsz, &m0, rc); }, 12,
       "nbits (3)"},
      {"PKCS1 bt",
       [](uint16_t* rc) { return PADPKCS1(in, &len, &n512, nullptr, out, &outsz, &m0, rc); }, 1,
       "bt (4)"},
      {"PKCS1 bt 3",
       [](uint16_t* rc) { return PADPKCS1(in, &len, &n512, &bt3, out, &outsz, &m0, rc); }, 1,
       "Valore bt=3 non consentito"},
      {"PKCS1 bufo",
       [](uint16_t* rc) { return PADPKCS1(in, &len, &n512, &bt1, nullptr, &outsz, &m0, rc); }, 3,
       "bufo (5)"},
      {"PKCS1 outsz",
       [](uint16_t* rc) { return PADPKCS1(in, &len, &n512, &bt1, out, nullptr, &m0, rc); }, 6,
       "outsz (6)"},
      {"PKCS1 mode",
       [](uint16_t* rc) { return PADPKCS1(in, &len, &n512, &bt1, out, &outsz, nullptr, rc); }, 1,
       "mode (7)"},
      {"PKCS1 mode 2",
       [](uint16_t* rc) { return PADPKCS1(in, &len, &n512, &bt1, out, &outsz, &m2, rc); }, 1,
       "mode (7)"},
      {"PKCS1 read back, not one block",
       [](uint16_t* rc) { return PADPKCS1(in, &len, &n512, &bt1, out, &outsz, &m1, rc); }, 5,
       "insz (2)"},
      {"9796 bufi",
       [](uint16_t* rc) { return PAD9796(nullptr, &len, &n512, out, &outsz, &m0, rc); }, 2,
       "bufi (1)"},
      {"9796 insz", [](uint16_t* rc) { return PAD9796(in, nullptr, &n512, out, &outsz, &m0, rc); },
       5, "insz (2)"},
      {"9796 nbits", [](uint16_t* rc) { return PAD9796(in, &len, &n511, out, &outsz, &m0, rc); },
       12, "nbits (3)"},
      {"9796 bufo", [](uint16_t* rc) { return PAD9796(in, &len, &n512, nullptr, &outsz, &m0, rc); },
       3, "bufo (4)"},
      {"9796 outsz", [](uint16_t* rc) { return PAD9796(in, &len, &n512, out, nullptr, &m0, rc); },
       6, "outsz (5)"},
      {"9796 mode", [](uint16_t* rc) { return PAD9796(in, &len, &n512, out, &outsz, &m2, rc); }, 1,
       "mode (6)"},
      {"9796 empty message",
       [](uint16_t* rc) { return PAD9796(in, &zero, &n512, out, &outsz, &m0, rc); }, 5, "insz (2)"},
      {"9796 read back, not one block",
       [](uint16_t* rc) { return PAD9796(in, &len, &n512, out, &outsz, &m1, rc); }, 5, "insz (2)"},
      {"RSA bufi", [](uint16_t* rc) { return PADRSA(nullptr, &len, &n512, out, &outsz, &m0, rc); },
       2, "bufi (1)"},
      {"RSA insz", [](uint16_t* rc) { return PADRSA(in, nullptr, &n512, out, &outsz, &m0, rc); }, 5,
       "insz (2)"},
      {"RSA nbits", [](uint16_t* rc) { return PADRSA(in, &len, nullptr, out, &outsz, &m0, rc); },
       12, "nbits (3)"},
      {"RSA bufo", [](uint16_t* rc) { return PADRSA(in, &len, &n512, nullptr, &outsz, &m0, rc); },
       3, "bufo (4)"},
      {"RSA outsz", [](uint16_t* rc) { return PADRSA(in, &len, &n512, out, nullptr, &m0, rc); }, 6,
       "outsz (5)"},
      {"RSA mode", [](uint16_t* rc) { return PADRSA(in, &len, &n512, out, &outsz, nullptr, rc); },
       1, "mode (6)"},
      {"RSA output beyond 4 GiB",
       [](uint16_t* rc) {
         uint32_t huge = 0xFFFFFFF0;
         return PADRSA(in, &huge, &n512, out, &outsz, &m0, rc);
       },
       14, "Buffer di input troppo grande"},
      {"RSA read back one block",
       [](uint16_t* rc) { return PADRSA(in, &block, &n512, out, &outsz, &m1, rc); }, 14,
       "Ultimo byte diverso da 0x80"},
  });
}

// Each twin reaches its own entry point.
TEST(Padding, TwinsCallTheirEntryPoints) {
  uint8_t buf[64] = {0x41};
  uint8_t out[64];
  uint32_t len = 1, outsz = 0;
  const uint32_t n512 = 512;
  const uint16_t m0 = 0, m2 = 2, b64 = 64, b0 = 0, bt1 = 1, m9 = 9;
  uint16_t rc = 99;
  YPAD1(buf, &len, &b64, &rc);
  EXPECT_EQ(rc, 0);
  EXPECT_EQ(len, 8u);
  YPAD2(buf, &len, &b0, &m0, &rc);
  EXPECT_EQ(rc, 12);
  YPAD13(buf, &len, &m2, &rc);
  expectFirstError(1, "mode (3)", "YPAD13");
  YPAD64(buf, &len, &m9, &rc);
  expectFirstError(1, "mode (3)", "YPAD64");
  YPADPKC5(buf, &len, &m9, &rc);
  expectFirstError(1, "Valore 9 non consentito", "YPADPKC5");
  YPADPKC1(buf, &len, &n512, &bt1, out, &outsz, &m0, &rc);
  EXPECT_EQ(rc, 0);
  EXPECT_EQ(outsz, 64u);
  EXPECT_EQ(out[1], 1);
  len = 1;
  YPAD9796(buf, &len, &n512, out, &outsz, &m0, &rc);
  EXPECT_EQ(rc, 0);
  EXPECT_EQ(out[63], 0x16);  // the last byte's low nibble and 6
  YPADRSA(buf, &len, &n512, out, &outsz, &m0, &rc);
  EXPECT_EQ(rc, 0);
  EXPECT_EQ(toHex(out, 3), "004180");
}

}  // namespace
}  // namespace sigillo
