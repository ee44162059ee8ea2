// Entry points of the paddings and of the library's random numbers.
#include "framework/entry.h"
#include "framework/trace.h"
#include "primitives/drbg.h"
#include "primitives/fips186.h"
#include "primitives/padding.h"
#include "primitives/rsapad.h"
#include "sigillo/sigillo.h"

namespace sigillo {
namespace {

constexpr const char* kModule = "epadran";

// Records an argument error, leaves the call frame and yields `code`.

constexpr unsigned kMaxBlockBits = 1024;

uint16_t finish(const char* entry, uint16_t rc) {
  if (rc != 0) TRLASTERR_AS(entry);
  return firstOr(TRout(), rc);
}

uint16_t checkBlockBits(const uint16_t* lblk) {
  if (lblk == nullptr) return TRERROUT(12, "lblk (3)");
  if (*lblk < 1) return TRERROUT(12, "Valore inferiore a 1");
  if (*lblk > kMaxBlockBits) return TRERROUT(12, "Valore maggiore di 1024");
  return 0;
}

bool validRsaBits(const uint32_t* nbits) {
  return nbits != nullptr && *nbits >= SIGILLO_PAD_MIN_BITS && *nbits <= SIGILLO_PAD_MAX_BITS;
}

bool wholeBlocksOf8(const uint32_t* insz) { return *insz != 0 && *insz % 8 == 0; }

// ---- In-place paddings ------------------------------------------------------

const TrDesc kPad1Desc = {"PAD1", 3, {TrBuf(1), kArgU32, kArgU16}};
const TrDesc kPad2Desc = {"PAD2", 4, {TrBuf(1), kArgU32, kArgU16, kArgU16}};
const TrDesc kPad13Desc = {"PAD13", 3, {TrBuf(1), kArgU32, kArgU16}};
const TrDesc kPad64Desc = {"PAD64", 3, {TrBuf(1), kArgU32, kArgU16}};
const TrDesc kPadPkcs5Desc = {"PADPKCS5", 3, {TrBuf(1), kArgU32, kArgU16}};

uint16_t pad1(uint8_t* bufi, uint32_t* insz, const uint16_t* lblk) {
  TRclrerr();
  TRin(&kPad1Desc, bufi, insz, lblk);
  if (bufi == nullptr) return TRERROUT(2, "bufi (1)");
  if (insz == nullptr) return TRERROUT(5, "insz (2)");
  if (uint16_t rc = checkBlockBits(lblk)) return rc;
  if (!padIso1(bufi, insz, *lblk)) return TRERROUT(5, "insz (2)");
  return finish("PAD1", 0);
}

uint16_t pad2(uint8_t* bufi, uint32_t* insz, const uint16_t* lblk, const uint16_t* mode) {
  TRclrerr();
  TRin(&kPad2Desc, bufi, insz, lblk, mode);
  if (bufi == nullptr) return TRERROUT(2, "bufi (1)");
  if (insz == nullptr) return TRERROUT(5, "insz (2)");
  if (uint16_t rc = checkBlockBits(lblk)) return rc;
  if (mode == nullptr || *mode > 1) return TRERROUT(1, "mode (4)");
  if (*mode == 1) return finish("PAD2", unpadIso2(bufi, insz, *lblk));
  if (!padIso2(bufi, insz, *lblk)) return TRERROUT(5, "insz (2)");
  return finish("PAD2", 0);
}

uint16_t pad13(uint8_t* bufi, uint32_t* insz, const uint16_t* mode) {
  TRclrerr();
  TRin(&kPad13Desc, bufi, insz, mode);
  if (bufi == nullptr) return TRERROUT(2, "bufi (1)");
  if (insz == nullptr) return TRERROUT(5, "insz (2)");
  if (mode == nullptr || *mode > 1) return TRERROUT(1, "mode (3)");
  if (*mode == 1) {
    if (!wholeBlocksOf8(insz)) return TRERROUT(5, "insz (2)");
    return finish("PAD13", unpadLen3(bufi, insz));
  }
  if (!padLen3(bufi, insz)) return TRERROUT(5, "insz (2)");
  return finish("PAD13", 0);
}

uint16_t pad64Entry(uint8_t* bufi, uint32_t* insz, const uint16_t* mode) {
  TRclrerr();
  TRin(&kPad64Desc, bufi, insz, mode);
  if (bufi == nullptr) return TRERROUT(2, "bufi (1)");
  if (insz == nullptr) return TRERROUT(5, "insz (2)");
  if (mode == nullptr || *mode > 2) return TRERROUT(1, "mode (3)");
  if (*mode == 2) {
    if (!wholeBlocksOf8(insz)) return TRERROUT(5, "insz (2) non e' multiplo di 64 = %u", *insz);
    return finish("PAD64", unpad64(bufi, insz));
  }
  if (!pad64(bufi, insz, *mode)) return TRERROUT(5, "insz (2)");
  return finish("PAD64", 0);
}

uint16_t padPkcs5Entry(uint8_t* bufi, uint32_t* insz, const uint16_t* mode) {
  TRclrerr();
  TRin(&kPadPkcs5Desc, bufi, insz, mode);
  if (bufi == nullptr) return TRERROUT(2, "bufi (1)");
  if (insz == nullptr) return TRERROUT(5, "insz (2)");
  if (mode == nullptr) return TRERROUT(1, "mode (3)");
  if (*mode > 1) return TRERROUT(1, "Valore %d non consentito", *mode);
  if (*mode == 1) {
    if (!wholeBlocksOf8(insz)) return TRERROUT(5, "insz (2)");
    return finish("PADPKCS5", unpadPkcs5(bufi, insz));
  }
  if (!padPkcs5(bufi, insz)) return TRERROUT(5, "insz (2)");
  return finish("PADPKCS5", 0);
}

// ---- RSA block formats ------------------------------------------------------

struct BlockArgs {
  const uint8_t* bufi;
  const uint32_t* insz;
  const uint32_t* nbits;
  uint8_t* bufo;
  uint32_t* outsz;
  const uint16_t* mode;
};

const TrDesc kPadPkcs1Desc = {
    "PADPKCS1", 7, {TrBuf(1), kArgU32, kArgU32, kArgU16, TrBuf(5), kArgU32, kArgU16}};
const TrDesc kPad9796Desc = {
    "PAD9796", 6, {TrBuf(1), kArgU32, kArgU32, TrBuf(4), kArgU32, kArgU16}};
const TrDesc kPadRsaDesc = {"PADRSA", 6, {TrBuf(1), kArgU32, kArgU32, TrBuf(4), kArgU32, kArgU16}};

// The checks of PAD9796 and PADRSA, whose arguments are the same.
uint16_t checkBlockArgs(const BlockArgs& a) {
  if (a.bufi == nullptr) return TRERROUT(2, "bufi (1)");
  if (a.insz == nullptr) return TRERROUT(5, "insz (2)");
  if (!validRsaBits(a.nbits)) return TRERROUT(12, "nbits (3)");
  if (a.bufo == nullptr) return TRERROUT(3, "bufo (4)");
  if (a.outsz == nullptr) return TRERROUT(6, "outsz (5)");
  if (a.mode == nullptr || *a.mode > 1) return TRERROUT(1, "mode (6)");
  return 0;
}

uint16_t finishBlock(const char* entry, uint16_t rc, const BlockArgs& a, size_t length) {
  if (rc == 0) *a.outsz = static_cast<uint32_t>(length);
  return finish(entry, rc);
}

uint16_t padPkcs1Entry(const BlockArgs& a, const uint16_t* bt) {
  TRclrerr();
  TRin(&kPadPkcs1Desc, a.bufi, a.insz, a.nbits, bt, a.bufo, a.outsz, a.mode);
  if (a.bufi == nullptr) return TRERROUT(2, "bufi (1)");
  if (a.insz == nullptr) return TRERROUT(5, "insz (2)");
  if (!validRsaBits(a.nbits)) return TRERROUT(12, "nbits (3)");
  if (bt == nullptr) return TRERROUT(1, "bt (4)");
  if (*bt > 2) return TRERROUT(1, "Valore bt=%d non consentito", *bt);
  if (a.bufo == nullptr) return TRERROUT(3, "bufo (5)");
  if (a.outsz == nullptr) return TRERROUT(6, "outsz (6)");
  if (a.mode == nullptr || *a.mode > 1) return TRERROUT(1, "mode (7)");
  const size_t k = blockBytes(*a.nbits);
  if (*a.mode == 0) {
    return finishBlock("PADPKCS1", pkcs1Encode(a.bufi, *a.insz, *a.nbits, *bt, a.bufo), a, k);
  }
  if (*a.insz != k) return TRERROUT(5, "insz (2)");
  size_t length = 0;
  uint16_t rc = pkcs1Decode(a.bufi, *a.nbits, *bt, a.bufo, &length);
  return finishBlock("PADPKCS1", rc, a, length);
}

uint16_t pad9796Entry(const BlockArgs& a) {
  TRclrerr();
  TRin(&kPad9796Desc, a.bufi, a.insz, a.nbits, a.bufo, a.outsz, a.mode);
  if (uint16_t rc = checkBlockArgs(a)) return rc;
  const size_t k = blockBytes(*a.nbits);
  if (*a.mode == 0) {
    if (*a.insz == 0) return TRERROUT(5, "insz (2)");
    return finishBlock("PAD9796", iso9796Format(a.bufi, *a.insz, *a.nbits, a.bufo), a, k);
  }
  if (*a.insz != k) return TRERROUT(5, "insz (2)");
  size_t length = 0;
  uint16_t rc = iso9796Recover(a.bufi, *a.nbits, a.bufo, &length);
  return finishBlock("PAD9796", rc, a, length);
}

uint16_t padRsaEntry(const BlockArgs& a) {
  TRclrerr();
  TRin(&kPadRsaDesc, a.bufi, a.insz, a.nbits, a.bufo, a.outsz, a.mode);
  if (uint16_t rc = checkBlockArgs(a)) return rc;
  size_t length = 0;
  uint16_t rc;
  if (*a.mode == 0) {
    rc = rsaBlocksFormattedLength(*a.insz, *a.nbits, &length);
    if (rc == 0) rsaBlocksFormat(a.bufi, *a.insz, *a.nbits, a.bufo);
  } else {
    rc = rsaBlocksUnformat(a.bufi, *a.insz, *a.nbits, a.bufo, &length);
  }
  return finishBlock("PADRSA", rc, a, length);
}

// ---- Random numbers ---------------------------------------------------------

const TrDesc kInitRandDesc = {"INITRAND", 1, {kArgPtr}};
const TrDesc kGenRandDesc = {"GENRAND", 2, {kArgU32, TrBuf(0)}};
const TrDesc kGenKFipsDesc = {"GENKFIPS", 4, {kArgPtr, kArgU32, TrBuf(3), kArgU32}};

uint16_t initRand(const uint8_t* seed) {
  TRclrerr();
  TRin(&kInitRandDesc, seed);
  if (seed == nullptr) return TRERROUT(2, "seed (1)");
  HmacDrbg& drbg = processDrbg();
  drbg.instantiate(seed, SIGILLO_RAND_SEED_SIZE);
  return finish("INITRAND", drbg.instantiated() ? 0 : 30);
}

uint16_t genRand(const uint32_t* seed, uint8_t* out) {
  TRclrerr();
  TRin(&kGenRandDesc, seed, out);
  if (seed == nullptr || *seed == 0 || *seed > SIGILLO_RAND_MAX_BYTES) {
    return TRERROUT(5, "seed (1)");
  }
  if (out == nullptr) return TRERROUT(3, "out (2)");
  HmacDrbg& drbg = processDrbg();
  if (!drbg.instantiated()) return finish("GENRAND", TRFAIL(304, "Generatore non inzializzato"));
  bool ok = drbg.generate(out, *seed);
  return finish("GENRAND", ok ? 0 : 30);
}

uint16_t genKFips(uint8_t* xkey, const uint32_t* xkeysz, uint8_t* out, const uint32_t* outsz) {
  TRclrerr();
  TRin(&kGenKFipsDesc, xkey, xkeysz, out, outsz);
  if (xkey == nullptr) return TRERROUT(2, "xkey (1)");
  if (xkeysz == nullptr || *xkeysz < kFips186MinKey || *xkeysz > kFips186MaxKey) {
    return TRERROUT(5, "xkeysz (2)");
  }
  if (out == nullptr) return TRERROUT(3, "out (3)");
  if (outsz == nullptr || *outsz == 0 || *outsz > SIGILLO_RAND_MAX_BYTES) {
    return TRERROUT(6, "outsz (4)");
  }
  fips186Generate(xkey, *xkeysz, out, *outsz);
  return finish("GENKFIPS", 0);
}


}  // namespace
}  // namespace sigillo

using sigillo::runEntry;

uint16_t PAD1(uint8_t* bufi, uint32_t* insz, const uint16_t* lblk, uint16_t* rc) {
  return runEntry("PAD1", rc, [&] { return sigillo::pad1(bufi, insz, lblk); });
}
void YPAD1(uint8_t* bufi, uint32_t* insz, const uint16_t* lblk, uint16_t* rc) {
  PAD1(bufi, insz, lblk, rc);
}

uint16_t PAD2(uint8_t* bufi, uint32_t* insz, const uint16_t* lblk, const uint16_t* mode,
              uint16_t* rc) {
  return runEntry("PAD2", rc, [&] { return sigillo::pad2(bufi, insz, lblk, mode); });
}
void YPAD2(uint8_t* bufi, uint32_t* insz, const uint16_t* lblk, const uint16_t* mode,
           uint16_t* rc) {
  PAD2(bufi, insz, lblk, mode, rc);
}

uint16_t PAD13(uint8_t* bufi, uint32_t* insz, const uint16_t* mode, uint16_t* rc) {
  return runEntry("PAD13", rc, [&] { return sigillo::pad13(bufi, insz, mode); });
}
void YPAD13(uint8_t* bufi, uint32_t* insz, const uint16_t* mode, uint16_t* rc) {
  PAD13(bufi, insz, mode, rc);
}

uint16_t PAD64(uint8_t* bufi, uint32_t* insz, const uint16_t* mode, uint16_t* rc) {
  return runEntry("PAD64", rc, [&] { return sigillo::pad64Entry(bufi, insz, mode); });
}
void YPAD64(uint8_t* bufi, uint32_t* insz, const uint16_t* mode, uint16_t* rc) {
  PAD64(bufi, insz, mode, rc);
}

uint16_t PADPKCS5(uint8_t* bufi, uint32_t* insz, const uint16_t* mode, uint16_t* rc) {
  return runEntry("PADPKCS5", rc, [&] { return sigillo::padPkcs5Entry(bufi, insz, mode); });
}
void YPADPKC5(uint8_t* bufi, uint32_t* insz, const uint16_t* mode, uint16_t* rc) {
  PADPKCS5(bufi, insz, mode, rc);
}

uint16_t PADPKCS1(const uint8_t* bufi, const uint32_t* insz, const uint32_t* nbits,
                  const uint16_t* bt, uint8_t* bufo, uint32_t* outsz, const uint16_t* mode,
                  uint16_t* rc) {
  return runEntry("PADPKCS1", rc, [&] {
    return sigillo::padPkcs1Entry(sigillo::BlockArgs{bufi, insz, nbits, bufo, outsz, mode}, bt);
  });
}
void YPADPKC1(const uint8_t* bufi, const uint32_t* insz, const uint32_t* nbits, const uint16_t* bt,
              uint8_t* bufo, uint32_t* outsz, const uint16_t* mode, uint16_t* rc) {
  PADPKCS1(bufi, insz, nbits, bt, bufo, outsz, mode, rc);
}

uint16_t PAD9796(const uint8_t* bufi, const uint32_t* insz, const uint32_t* nbits, uint8_t* bufo,
                 uint32_t* outsz, const uint16_t* mode, uint16_t* rc) {
  return runEntry("PAD9796", rc, [&] {
    return sigillo::pad9796Entry(sigillo::BlockArgs{bufi, insz, nbits, bufo, outsz, mode});
  });
}
void YPAD9796(const uint8_t* bufi, const uint32_t* insz, const uint32_t* nbits, uint8_t* bufo,
              uint32_t* outsz, const uint16_t* mode, uint16_t* rc) {
  PAD9796(bufi, insz, nbits, bufo, outsz, mode, rc);
}

uint16_t PADRSA(const uint8_t* bufi, const uint32_t* insz, const uint32_t* nbits, uint8_t* bufo,
                uint32_t* outsz, const uint16_t* mode, uint16_t* rc) {
  return runEntry("PADRSA", rc, [&] {
    return sigillo::padRsaEntry(sigillo::BlockArgs{bufi, insz, nbits, bufo, outsz, mode});
  });
}
void YPADRSA(const uint8_t* bufi, const uint32_t* insz, const uint32_t* nbits, uint8_t* bufo,
             uint32_t* outsz, const uint16_t* mode, uint16_t* rc) {
  PADRSA(bufi, insz, nbits, bufo, outsz, mode, rc);
}

uint16_t INITRAND(const uint8_t* seed, uint16_t* rc) {
  return runEntry("INITRAND", rc, [&] { return sigillo::initRand(seed); });
}
void YINITRAN(const uint8_t* seed, uint16_t* rc) { INITRAND(seed, rc); }

uint16_t GENRAND(const uint32_t* seed, uint8_t* out, uint16_t* rc) {
  return runEntry("GENRAND", rc, [&] { return sigillo::genRand(seed, out); });
}
void YGENRAND(const uint32_t* seed, uint8_t* out, uint16_t* rc) { GENRAND(seed, out, rc); }

uint16_t GENKFIPS(uint8_t* xkey, const uint32_t* xkeysz, uint8_t* out, const uint32_t* outsz,
                  uint16_t* rc) {
  return runEntry("GENKFIPS", rc, [&] { return sigillo::genKFips(xkey, xkeysz, out, outsz); });
}
void YGENKFIP(uint8_t* xkey, const uint32_t* xkeysz, uint8_t* out, const uint32_t* outsz,
              uint16_t* rc) {
  GENKFIPS(xkey, xkeysz, out, outsz, rc);
}
