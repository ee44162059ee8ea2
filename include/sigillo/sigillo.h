/*
 * Sigillo: cryptography, PKI and compression library for batch callers.
 *
 * Every entry point takes all of its arguments by reference and reports a
 * 16-bit return code through its last argument (0 = success).  Each entry
 * point NAME has a twin Y + the first seven letters of NAME, with the same
 * arguments and no function result, for callers that cannot receive one.
 * After a call the library's error stack holds that call's errors.
 */
#ifndef SIGILLO_SIGILLO_H
#define SIGILLO_SIGILLO_H

#include <stdint.h>

#if defined(SIGILLO_BUILDING)
#define SIGILLO_API __attribute__((visibility("default")))
#else
#define SIGILLO_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* ---- Macros: one parameter string of keyword options --------------------- */

SIGILLO_API uint16_t HASH(const char *params, const uint32_t *length, uint16_t *rc);
SIGILLO_API void YHASH(const char *params, const uint32_t *length, uint16_t *rc);
SIGILLO_API uint16_t CODA(const char *params, const uint32_t *length, uint16_t *rc);
SIGILLO_API void YCODA(const char *params, const uint32_t *length, uint16_t *rc);
SIGILLO_API uint16_t ASN1(const char *params, const uint32_t *length, uint16_t *rc);
SIGILLO_API void YASN1(const char *params, const uint32_t *length, uint16_t *rc);

/* CODEC runs one archive command line of *length bytes; its return code is
 * the compressor's own (see docs/cli.md), not a macro code. */
SIGILLO_API uint16_t CODEC(const char *command, const uint32_t *length, uint16_t *rc);
SIGILLO_API void YCODEC(const char *command, const uint32_t *length, uint16_t *rc);

/* ---- Trace control and version -------------------------------------------
 * TRDEBUG mode: 0 off, 1 entry records, 2 everything.  The path given to
 * TRLOG is the first *pathLen bytes of path (at most 254). */

SIGILLO_API uint16_t TRDEBUG(const uint16_t *mode, uint16_t *rc);
SIGILLO_API void YTRDEBUG(const uint16_t *mode, uint16_t *rc);
SIGILLO_API uint16_t TRSTATUS(uint16_t *mode, uint16_t *rc);
SIGILLO_API void YTRSTATU(uint16_t *mode, uint16_t *rc);
SIGILLO_API uint16_t TRLOG(const char *path, const uint32_t *pathLen, uint16_t *rc);
SIGILLO_API void YTRLOG(const char *path, const uint32_t *pathLen, uint16_t *rc);
SIGILLO_API uint16_t TRLOGPATH(const char *path, uint16_t *rc);
SIGILLO_API void YTRLOGP(const char *path, uint16_t *rc);

/* KVTVERS writes 39 bytes (the version text and its NUL) into text. */
SIGILLO_API uint16_t KVTVERS(char *text, uint16_t *rc);
SIGILLO_API void YKVTVERS(char *text, uint16_t *rc);
/* KVTVNUM returns 71627; KVTCHKV returns 71627 minus *number. */
SIGILLO_API int32_t KVTVNUM(void);
SIGILLO_API void YKVTVNUM(int32_t *number);
SIGILLO_API int32_t KVTCHKV(const int32_t *number);
SIGILLO_API void YKVTCHKV(const int32_t *number, int32_t *difference);

/* ---- Hash family ----------------------------------------------------------
 * Data is fed block by block.  bmode tells which block this is:
 *   SIGILLO_BLOCK_MIDDLE 0, SIGILLO_BLOCK_FIRST 1, SIGILLO_BLOCK_LAST 2,
 *   SIGILLO_BLOCK_ONLY 3 (first and last: the whole message in one call).
 * state is a caller area of SIGILLO_HASH_STATE_SIZE bytes: a FIRST block
 * starts a computation and leaves its handle there, MIDDLE blocks continue
 * it, and the LAST block writes the result at the start of the area (the
 * result length is that of the algorithm, see docs/hash.md) and ends it.
 * Keys are read by the FIRST block only. */

#define SIGILLO_BLOCK_MIDDLE 0
#define SIGILLO_BLOCK_FIRST 1
#define SIGILLO_BLOCK_LAST 2
#define SIGILLO_BLOCK_ONLY 3
#define SIGILLO_HASH_STATE_SIZE 64

SIGILLO_API uint16_t MD2(const uint8_t *bufi, const uint32_t *insz, uint8_t *state,
    const uint16_t *bmode, uint16_t *rc);
SIGILLO_API void YMD2(const uint8_t *bufi, const uint32_t *insz, uint8_t *state,
    const uint16_t *bmode, uint16_t *rc);

SIGILLO_API uint16_t MD4(const uint8_t *bufi, const uint32_t *insz, uint8_t *state,
    const uint16_t *bmode, uint16_t *rc);
SIGILLO_API void YMD4(const uint8_t *bufi, const uint32_t *insz, uint8_t *state,
    const uint16_t *bmode, uint16_t *rc);

SIGILLO_API uint16_t MD5(const uint8_t *bufi, const uint32_t *insz, uint8_t *state,
    const uint16_t *bmode, uint16_t *rc);
SIGILLO_API void YMD5(const uint8_t *bufi, const uint32_t *insz, uint8_t *state,
    const uint16_t *bmode, uint16_t *rc);

SIGILLO_API uint16_t SHA1(const uint8_t *bufi, const uint32_t *insz, uint8_t *state,
    const uint16_t *bmode, uint16_t *rc);
SIGILLO_API void YSHA1(const uint8_t *bufi, const uint32_t *insz, uint8_t *state,
    const uint16_t *bmode, uint16_t *rc);

SIGILLO_API uint16_t SHA256(const uint8_t *bufi, const uint32_t *insz, uint8_t *state,
    const uint16_t *bmode, uint16_t *rc);
SIGILLO_API void YSHA256(const uint8_t *bufi, const uint32_t *insz, uint8_t *state,
    const uint16_t *bmode, uint16_t *rc);

SIGILLO_API uint16_t SHA512(const uint8_t *bufi, const uint32_t *insz, uint8_t *state,
    const uint16_t *bmode, uint16_t *rc);
SIGILLO_API void YSHA512(const uint8_t *bufi, const uint32_t *insz, uint8_t *state,
    const uint16_t *bmode, uint16_t *rc);

SIGILLO_API uint16_t RIPEMD(const uint8_t *bufi, const uint32_t *insz, uint8_t *state,
    const uint16_t *bmode, uint16_t *rc);
SIGILLO_API void YRIPEMD(const uint8_t *bufi, const uint32_t *insz, uint8_t *state,
    const uint16_t *bmode, uint16_t *rc);

SIGILLO_API uint16_t CRC16(const uint8_t *bufi, const uint32_t *insz, uint8_t *state,
    const uint16_t *bmode, uint16_t *rc);
SIGILLO_API void YCRC16(const uint8_t *bufi, const uint32_t *insz, uint8_t *state,
    const uint16_t *bmode, uint16_t *rc);

SIGILLO_API uint16_t FCS16(const uint8_t *bufi, const uint32_t *insz, uint8_t *state,
    const uint16_t *bmode, uint16_t *rc);
SIGILLO_API void YFCS16(const uint8_t *bufi, const uint32_t *insz, uint8_t *state,
    const uint16_t *bmode, uint16_t *rc);

SIGILLO_API uint16_t FCS32(const uint8_t *bufi, const uint32_t *insz, uint8_t *state,
    const uint16_t *bmode, uint16_t *rc);
SIGILLO_API void YFCS32(const uint8_t *bufi, const uint32_t *insz, uint8_t *state,
    const uint16_t *bmode, uint16_t *rc);

/* HMAC: key of *keylen bytes (0 to 2048). */
SIGILLO_API uint16_t HMCMD5(const uint8_t *bufi, const uint32_t *insz, uint8_t *state,
    const uint16_t *bmode, const uint8_t *key, const uint32_t *keylen, uint16_t *rc);
SIGILLO_API void YHMCMD5(const uint8_t *bufi, const uint32_t *insz, uint8_t *state,
    const uint16_t *bmode, const uint8_t *key, const uint32_t *keylen, uint16_t *rc);

SIGILLO_API uint16_t HMCSHA1(const uint8_t *bufi, const uint32_t *insz, uint8_t *state,
    const uint16_t *bmode, const uint8_t *key, const uint32_t *keylen, uint16_t *rc);
SIGILLO_API void YHMCSHA1(const uint8_t *bufi, const uint32_t *insz, uint8_t *state,
    const uint16_t *bmode, const uint8_t *key, const uint32_t *keylen, uint16_t *rc);

SIGILLO_API uint16_t HMCSHA256(const uint8_t *bufi, const uint32_t *insz, uint8_t *state,
    const uint16_t *bmode, const uint8_t *key, const uint32_t *keylen, uint16_t *rc);
SIGILLO_API void YHMCSHA2(const uint8_t *bufi, const uint32_t *insz, uint8_t *state,
    const uint16_t *bmode, const uint8_t *key, const uint32_t *keylen, uint16_t *rc);

SIGILLO_API uint16_t HMCSHA512(const uint8_t *bufi, const uint32_t *insz, uint8_t *state,
    const uint16_t *bmode, const uint8_t *key, const uint32_t *keylen, uint16_t *rc);
SIGILLO_API void YHMCSHA5(const uint8_t *bufi, const uint32_t *insz, uint8_t *state,
    const uint16_t *bmode, const uint8_t *key, const uint32_t *keylen, uint16_t *rc);

/* DES-based: 8-byte keys.  HF1 and MACISO take one key, HF2 two. */
SIGILLO_API uint16_t HF1(const uint8_t *bufi, const uint32_t *insz, uint8_t *state,
                         const uint16_t *bmode, const uint8_t *key1, uint16_t *rc);
SIGILLO_API void YHF1(const uint8_t *bufi, const uint32_t *insz, uint8_t *state,
                      const uint16_t *bmode, const uint8_t *key1, uint16_t *rc);
SIGILLO_API uint16_t HF2(const uint8_t *bufi, const uint32_t *insz, uint8_t *state,
                         const uint16_t *bmode, const uint8_t *key1, const uint8_t *key2,
                         uint16_t *rc);
SIGILLO_API void YHF2(const uint8_t *bufi, const uint32_t *insz, uint8_t *state,
                      const uint16_t *bmode, const uint8_t *key1, const uint8_t *key2,
                      uint16_t *rc);
SIGILLO_API uint16_t MACISO(const uint8_t *bufi, const uint32_t *insz, uint8_t *state,
                            const uint16_t *bmode, const uint8_t *key1, uint16_t *rc);
SIGILLO_API void YMACISO(const uint8_t *bufi, const uint32_t *insz, uint8_t *state,
                         const uint16_t *bmode, const uint8_t *key1, uint16_t *rc);
/* MACSISO: *variant 1 or 2. */
SIGILLO_API uint16_t MACSISO(const uint8_t *bufi, const uint32_t *insz, uint8_t *state,
                             const uint16_t *bmode, const uint8_t *key1, const uint8_t *key2,
                             const uint16_t *variant, uint16_t *rc);
SIGILLO_API void YMACSISO(const uint8_t *bufi, const uint32_t *insz, uint8_t *state,
                          const uint16_t *bmode, const uint8_t *key1, const uint8_t *key2,
                          const uint16_t *variant, uint16_t *rc);
/* MAAISO: two 4-byte keys J and K, big-endian. */
SIGILLO_API uint16_t MAAISO(const uint8_t *bufi, const uint32_t *insz, uint8_t *state,
                            const uint16_t *bmode, const uint8_t *key1, const uint8_t *key2,
                            uint16_t *rc);
SIGILLO_API void YMAAISO(const uint8_t *bufi, const uint32_t *insz, uint8_t *state,
                         const uint16_t *bmode, const uint8_t *key1, const uint8_t *key2,
                         uint16_t *rc);

/* ---- Symmetric ciphers -------------------------------------------------------
 * bufi/bufo: input and output (they may be the same buffer); *insz: length
 * in bytes; *init: non-zero builds the cipher's key schedule from the key,
 * 0 reuses the schedule of the last call with init set; *mode: 0 encipher,
 * 1 decipher.  iv is the chaining value (8 bytes, 16 for AES), updated in
 * place so that the next call continues the message.  CFB/OFB: *nbits is
 * the feedback width, 1 to the block's bits, and *insz must be a whole
 * number of nbits steps.  See docs/ciphers.md. */

SIGILLO_API uint16_t DEAECB(const uint8_t *bufi, uint8_t *bufo, const uint32_t *insz,
    const uint16_t *init, const uint8_t *pssw, const uint16_t *mode, uint16_t *rc);
SIGILLO_API void YDEAECB(const uint8_t *bufi, uint8_t *bufo, const uint32_t *insz,
    const uint16_t *init, const uint8_t *pssw, const uint16_t *mode, uint16_t *rc);
SIGILLO_API uint16_t DEACBC(const uint8_t *bufi, uint8_t *bufo, const uint32_t *insz,
    const uint16_t *init, const uint8_t *pssw, uint8_t *iv, const uint16_t *mode, uint16_t *rc);
SIGILLO_API void YDEACBC(const uint8_t *bufi, uint8_t *bufo, const uint32_t *insz,
    const uint16_t *init, const uint8_t *pssw, uint8_t *iv, const uint16_t *mode, uint16_t *rc);
/* DEACFB: the seventh argument is the chaining value (its errors read "mode (7)"). */
SIGILLO_API uint16_t DEACFB(const uint8_t *bufi, uint8_t *bufo, const uint32_t *insz,
    const uint16_t *init, const uint8_t *pssw, const uint16_t *nbits, uint8_t *iv,
    const uint16_t *mode, uint16_t *rc);
SIGILLO_API void YDEACFB(const uint8_t *bufi, uint8_t *bufo, const uint32_t *insz,
    const uint16_t *init, const uint8_t *pssw, const uint16_t *nbits, uint8_t *iv,
    const uint16_t *mode, uint16_t *rc);
SIGILLO_API uint16_t DEAOFB(const uint8_t *bufi, uint8_t *bufo, const uint32_t *insz,
    const uint16_t *init, const uint8_t *pssw, const uint16_t *nbits, uint8_t *iv,
    const uint16_t *mode, uint16_t *rc);
SIGILLO_API void YDEAOFB(const uint8_t *bufi, uint8_t *bufo, const uint32_t *insz,
    const uint16_t *init, const uint8_t *pssw, const uint16_t *nbits, uint8_t *iv,
    const uint16_t *mode, uint16_t *rc);
SIGILLO_API uint16_t DEA3ECB(const uint8_t *bufi, uint8_t *bufo, const uint32_t *insz,
    const uint16_t *init, const uint8_t *pssw1, const uint8_t *pssw2, const uint8_t *pssw3,
    const uint16_t *mode, uint16_t *rc);
SIGILLO_API void YDEA3ECB(const uint8_t *bufi, uint8_t *bufo, const uint32_t *insz,
    const uint16_t *init, const uint8_t *pssw1, const uint8_t *pssw2, const uint8_t *pssw3,
    const uint16_t *mode, uint16_t *rc);
SIGILLO_API uint16_t DEA3CBC(const uint8_t *bufi, uint8_t *bufo, const uint32_t *insz,
    const uint16_t *init, const uint8_t *pssw1, const uint8_t *pssw2, const uint8_t *pssw3,
    uint8_t *iv, const uint16_t *mode, uint16_t *rc);
SIGILLO_API void YDEA3CBC(const uint8_t *bufi, uint8_t *bufo, const uint32_t *insz,
    const uint16_t *init, const uint8_t *pssw1, const uint8_t *pssw2, const uint8_t *pssw3,
    uint8_t *iv, const uint16_t *mode, uint16_t *rc);
/* TDEA: triple DES in ECB; *lpssw 16 (K1 K2 K1) or 24 (K1 K2 K3). */
SIGILLO_API uint16_t TDEA(const uint8_t *bufi, uint8_t *bufo, const uint32_t *insz,
    const uint16_t *init, const uint8_t *pssw, const uint32_t *lpssw, const uint16_t *mode,
    uint16_t *rc);
SIGILLO_API void YTDEA(const uint8_t *bufi, uint8_t *bufo, const uint32_t *insz,
    const uint16_t *init, const uint8_t *pssw, const uint32_t *lpssw, const uint16_t *mode,
    uint16_t *rc);
/* AES: *lpssw 16, 24 or 32.  AESCFB is CFB with 128-bit feedback. */
SIGILLO_API uint16_t AESECB(const uint8_t *bufi, uint8_t *bufo, const uint32_t *insz,
    const uint16_t *init, const uint8_t *pssw, const uint32_t *lpssw, const uint16_t *mode,
    uint16_t *rc);
SIGILLO_API void YAESECB(const uint8_t *bufi, uint8_t *bufo, const uint32_t *insz,
    const uint16_t *init, const uint8_t *pssw, const uint32_t *lpssw, const uint16_t *mode,
    uint16_t *rc);
SIGILLO_API uint16_t AESCBC(const uint8_t *bufi, uint8_t *bufo, const uint32_t *insz,
    const uint16_t *init, const uint8_t *pssw, const uint32_t *lpssw, uint8_t *iv,
    const uint16_t *mode, uint16_t *rc);
SIGILLO_API void YAESCBC(const uint8_t *bufi, uint8_t *bufo, const uint32_t *insz,
    const uint16_t *init, const uint8_t *pssw, const uint32_t *lpssw, uint8_t *iv,
    const uint16_t *mode, uint16_t *rc);
SIGILLO_API uint16_t AESCFB(const uint8_t *bufi, uint8_t *bufo, const uint32_t *insz,
    const uint16_t *init, const uint8_t *pssw, const uint32_t *lpssw, uint8_t *iv,
    const uint16_t *mode, uint16_t *rc);
SIGILLO_API void YAESCFB(const uint8_t *bufi, uint8_t *bufo, const uint32_t *insz,
    const uint16_t *init, const uint8_t *pssw, const uint32_t *lpssw, uint8_t *iv,
    const uint16_t *mode, uint16_t *rc);
SIGILLO_API uint16_t AESOFB(const uint8_t *bufi, uint8_t *bufo, const uint32_t *insz,
    const uint16_t *init, const uint8_t *pssw, const uint32_t *lpssw, uint8_t *iv,
    const uint16_t *mode, uint16_t *rc);
SIGILLO_API void YAESOFB(const uint8_t *bufi, uint8_t *bufo, const uint32_t *insz,
    const uint16_t *init, const uint8_t *pssw, const uint32_t *lpssw, uint8_t *iv,
    const uint16_t *mode, uint16_t *rc);

/* DEASBC: DES in propagating CBC (PCBC); iv is left holding P XOR C of the
 * last block, so the next call continues the message.  Checks as DEACBC. */
SIGILLO_API uint16_t DEASBC(const uint8_t *bufi, uint8_t *bufo, const uint32_t *insz,
    const uint16_t *init, const uint8_t *pssw, uint8_t *iv, const uint16_t *mode, uint16_t *rc);
SIGILLO_API void YDEASBC(const uint8_t *bufi, uint8_t *bufo, const uint32_t *insz,
    const uint16_t *init, const uint8_t *pssw, uint8_t *iv, const uint16_t *mode, uint16_t *rc);
/* ISWEAK: 18 when the 8-byte DES key is weak, 19 when semi-weak, 0 otherwise
 * (parity bits ignored). */
SIGILLO_API uint16_t ISWEAK(const uint8_t *key, uint16_t *rc);
SIGILLO_API void YISWEAK(const uint8_t *key, uint16_t *rc);
/* GENKMM: a fresh DES key with odd parity, never weak or semi-weak, into s
 * (8 bytes) and a fresh chaining value into iv (8 bytes). */
SIGILLO_API uint16_t GENKMM(uint8_t *s, uint8_t *iv, uint16_t *rc);
SIGILLO_API void YGENKMM(uint8_t *s, uint8_t *iv, uint16_t *rc);
/* MAC3: CBC-MAC under three-key triple DES (zero IV, zero bytes to a whole
 * block; *insz may be 0), 8 bytes into mac. */
SIGILLO_API uint16_t MAC3(const uint8_t *bufi, const uint32_t *insz, const uint8_t *pssw1,
    const uint8_t *pssw2, const uint8_t *pssw3, uint8_t *mac, uint16_t *rc);
SIGILLO_API void YMAC3(const uint8_t *bufi, const uint32_t *insz, const uint8_t *pssw1,
    const uint8_t *pssw2, const uint8_t *pssw3, uint8_t *mac, uint16_t *rc);
/* CHKKDEA: the monobit, poker, runs and long-run tests of FIPS 140-1 on the
 * 2,500 bytes (20,000 bits) at stream; 17 names the first test failed. */
SIGILLO_API uint16_t CHKKDEA(const uint8_t *stream, uint16_t *rc);
SIGILLO_API void YCHKKDEA(const uint8_t *stream, uint16_t *rc);

/* IDEA: 16-byte key.  IDEACBC takes the mode before the chaining value. */
SIGILLO_API uint16_t IDEAECB(const uint8_t *bufi, uint8_t *bufo, const uint32_t *insz,
    const uint16_t *init, const uint8_t *pssw, const uint16_t *mode, uint16_t *rc);
SIGILLO_API void YIDEAECB(const uint8_t *bufi, uint8_t *bufo, const uint32_t *insz,
    const uint16_t *init, const uint8_t *pssw, const uint16_t *mode, uint16_t *rc);
SIGILLO_API uint16_t IDEACBC(const uint8_t *bufi, uint8_t *bufo, const uint32_t *insz,
    const uint16_t *init, const uint8_t *pssw, const uint16_t *mode, uint8_t *iv, uint16_t *rc);
SIGILLO_API void YIDEACBC(const uint8_t *bufi, uint8_t *bufo, const uint32_t *insz,
    const uint16_t *init, const uint8_t *pssw, const uint16_t *mode, uint8_t *iv, uint16_t *rc);
SIGILLO_API uint16_t IDEACFB(const uint8_t *bufi, uint8_t *bufo, const uint32_t *insz,
    const uint16_t *init, const uint8_t *pssw, const uint16_t *nbits, uint8_t *iv,
    const uint16_t *mode, uint16_t *rc);
SIGILLO_API void YIDEACFB(const uint8_t *bufi, uint8_t *bufo, const uint32_t *insz,
    const uint16_t *init, const uint8_t *pssw, const uint16_t *nbits, uint8_t *iv,
    const uint16_t *mode, uint16_t *rc);
SIGILLO_API uint16_t IDEAOFB(const uint8_t *bufi, uint8_t *bufo, const uint32_t *insz,
    const uint16_t *init, const uint8_t *pssw, const uint16_t *nbits, uint8_t *iv,
    const uint16_t *mode, uint16_t *rc);
SIGILLO_API void YIDEAOFB(const uint8_t *bufi, uint8_t *bufo, const uint32_t *insz,
    const uint16_t *init, const uint8_t *pssw, const uint16_t *nbits, uint8_t *iv,
    const uint16_t *mode, uint16_t *rc);
/* RC2 (RFC 2268): *lpssw 1 to 128 key bytes, *nbitsk 1 to 1024 effective key bits. */
SIGILLO_API uint16_t RC2ECB(const uint8_t *bufi, uint8_t *bufo, const uint32_t *insz,
    const uint16_t *init, const uint8_t *pssw, const uint32_t *lpssw,
    const uint16_t *nbitsk, const uint16_t *mode, uint16_t *rc);
SIGILLO_API void YRC2ECB(const uint8_t *bufi, uint8_t *bufo, const uint32_t *insz,
    const uint16_t *init, const uint8_t *pssw, const uint32_t *lpssw,
    const uint16_t *nbitsk, const uint16_t *mode, uint16_t *rc);
SIGILLO_API uint16_t RC2CBC(const uint8_t *bufi, uint8_t *bufo, const uint32_t *insz,
    const uint16_t *init, const uint8_t *pssw, const uint32_t *lpssw,
    const uint16_t *nbitsk, uint8_t *iv, const uint16_t *mode, uint16_t *rc);
SIGILLO_API void YRC2CBC(const uint8_t *bufi, uint8_t *bufo, const uint32_t *insz,
    const uint16_t *init, const uint8_t *pssw, const uint32_t *lpssw,
    const uint16_t *nbitsk, uint8_t *iv, const uint16_t *mode, uint16_t *rc);
SIGILLO_API uint16_t RC2CFB(const uint8_t *bufi, uint8_t *bufo, const uint32_t *insz,
    const uint16_t *init, const uint8_t *pssw, const uint32_t *lpssw,
    const uint16_t *nbitsk, const uint16_t *nbits, uint8_t *iv, const uint16_t *mode, uint16_t *rc);
SIGILLO_API void YRC2CFB(const uint8_t *bufi, uint8_t *bufo, const uint32_t *insz,
    const uint16_t *init, const uint8_t *pssw, const uint32_t *lpssw,
    const uint16_t *nbitsk, const uint16_t *nbits, uint8_t *iv, const uint16_t *mode, uint16_t *rc);
SIGILLO_API uint16_t RC2OFB(const uint8_t *bufi, uint8_t *bufo, const uint32_t *insz,
    const uint16_t *init, const uint8_t *pssw, const uint32_t *lpssw,
    const uint16_t *nbitsk, const uint16_t *nbits, uint8_t *iv, const uint16_t *mode, uint16_t *rc);
SIGILLO_API void YRC2OFB(const uint8_t *bufi, uint8_t *bufo, const uint32_t *insz,
    const uint16_t *init, const uint8_t *pssw, const uint32_t *lpssw,
    const uint16_t *nbitsk, const uint16_t *nbits, uint8_t *iv, const uint16_t *mode, uint16_t *rc);
/* RC4: *lpssw 1 to 256; the key stream goes on across calls until init is set;
 * any length. */
SIGILLO_API uint16_t RC4(const uint8_t *bufi, uint8_t *bufo, const uint32_t *insz,
    const uint16_t *init, const uint8_t *pssw, const uint32_t *lpssw, const uint16_t *mode, uint16_t *rc);
SIGILLO_API void YRC4(const uint8_t *bufi, uint8_t *bufo, const uint32_t *insz,
    const uint16_t *init, const uint8_t *pssw, const uint32_t *lpssw, const uint16_t *mode, uint16_t *rc);
/* RC5-32 (RFC 2040): *lpssw 0 to 255, *rounds 0 to 255.  RC5CTS: with *end 0 the
 * call is CBC over whole blocks; with *end set it ends the message with
 * ciphertext stealing and *insz must exceed 8. */
SIGILLO_API uint16_t RC5ECB(const uint8_t *bufi, uint8_t *bufo, const uint32_t *insz,
    const uint16_t *init, const uint8_t *pssw, const uint32_t *lpssw,
    const uint16_t *rounds, const uint16_t *mode, uint16_t *rc);
SIGILLO_API void YRC5ECB(const uint8_t *bufi, uint8_t *bufo, const uint32_t *insz,
    const uint16_t *init, const uint8_t *pssw, const uint32_t *lpssw,
    const uint16_t *rounds, const uint16_t *mode, uint16_t *rc);
SIGILLO_API uint16_t RC5CBC(const uint8_t *bufi, uint8_t *bufo, const uint32_t *insz,
    const uint16_t *init, const uint8_t *pssw, const uint32_t *lpssw,
    const uint16_t *rounds, uint8_t *iv, const uint16_t *mode, uint16_t *rc);
SIGILLO_API void YRC5CBC(const uint8_t *bufi, uint8_t *bufo, const uint32_t *insz,
    const uint16_t *init, const uint8_t *pssw, const uint32_t *lpssw,
    const uint16_t *rounds, uint8_t *iv, const uint16_t *mode, uint16_t *rc);
SIGILLO_API uint16_t RC5CTS(const uint8_t *bufi, uint8_t *bufo, const uint32_t *insz,
    const uint16_t *init, const uint16_t *end, const uint8_t *pssw,
    const uint32_t *lpssw, const uint16_t *rounds, uint8_t *iv, const uint16_t *mode, uint16_t *rc);
SIGILLO_API void YRC5CTS(const uint8_t *bufi, uint8_t *bufo, const uint32_t *insz,
    const uint16_t *init, const uint16_t *end, const uint8_t *pssw,
    const uint32_t *lpssw, const uint16_t *rounds, uint8_t *iv, const uint16_t *mode, uint16_t *rc);
/* FEAL-8 in ECB, 8-byte key. */
SIGILLO_API uint16_t FEAL(const uint8_t *bufi, uint8_t *bufo, const uint32_t *insz,
    const uint16_t *init, const uint8_t *pssw, const uint16_t *mode, uint16_t *rc);
SIGILLO_API void YFEAL(const uint8_t *bufi, uint8_t *bufo, const uint32_t *insz,
    const uint16_t *init, const uint8_t *pssw, const uint16_t *mode, uint16_t *rc);
/* DESX in ECB: pssw1 the DES key, pssw2 and pssw3 the input and output whitening. */
SIGILLO_API uint16_t DESX(const uint8_t *bufi, uint8_t *bufo, const uint32_t *insz,
    const uint16_t *init, const uint8_t *pssw1, const uint8_t *pssw2,
    const uint8_t *pssw3, const uint16_t *mode, uint16_t *rc);
SIGILLO_API void YDESX(const uint8_t *bufi, uint8_t *bufo, const uint32_t *insz,
    const uint16_t *init, const uint8_t *pssw1, const uint8_t *pssw2,
    const uint8_t *pssw3, const uint16_t *mode, uint16_t *rc);

/* ---- RSA primitives ---------------------------------------------------------
 * Numbers travel as USV vectors: element 0 is the count n of 16-bit digits,
 * elements 1..n the digits, most significant first; input vectors are read
 * by value, leading zero digits allowed.  *nbits is the key size:
 * SIGILLO_RSA_MIN_BITS to SIGILLO_RSA_MAX_BITS, a multiple of 16; the modulus
 * must be *nbits/8 bytes long.  x is a big-endian block of *insz bytes (1 to
 * *nbits/8) whose value is below the modulus; y receives exactly *nbits/8
 * bytes, left-padded with zeros.  See docs/rsa.md.
 *
 * RSAGENK: seed is an area of SIGILLO_RSA_SEED_SIZE bytes; the same seed,
 * nbits and e always give the same key.  e is odd, 3 to 2^256 - 1.  m and d
 * need room for 1 + nbits/16 elements, p, q, exp1, exp2 and crt for
 * 1 + nbits/32 (rounded up); each is written without leading zero digits.
 * d = e^-1 mod lcm(p-1, q-1), exp1 = d mod (p-1), exp2 = d mod (q-1),
 * crt = q^-1 mod p, p > q.
 * RSAENC, RSACHK: y = x^e mod mod.
 * RSADEC, RSASIGN: y = x^d mod m through the primes (CRT).
 * sRSADEC, sRSASIGN: hardware devices are not supported; they return 301. */

#define SIGILLO_RSA_SEED_SIZE 32
#define SIGILLO_RSA_MIN_BITS 512
#define SIGILLO_RSA_MAX_BITS 16384

SIGILLO_API uint16_t RSAGENK(const uint8_t *seed, const uint32_t *nbits, const uint16_t *e,
    uint16_t *m, uint16_t *d, uint16_t *p, uint16_t *q, uint16_t *exp1, uint16_t *exp2,
    uint16_t *crt, uint16_t *rc);
SIGILLO_API void YRSAGENK(const uint8_t *seed, const uint32_t *nbits, const uint16_t *e,
    uint16_t *m, uint16_t *d, uint16_t *p, uint16_t *q, uint16_t *exp1, uint16_t *exp2,
    uint16_t *crt, uint16_t *rc);

SIGILLO_API uint16_t RSAENC(const uint8_t *x, const uint32_t *insz, const uint16_t *e,
    const uint16_t *mod, const uint32_t *nbits, uint8_t *y, uint16_t *rc);
SIGILLO_API void YRSAENC(const uint8_t *x, const uint32_t *insz, const uint16_t *e,
    const uint16_t *mod, const uint32_t *nbits, uint8_t *y, uint16_t *rc);
SIGILLO_API uint16_t RSACHK(const uint8_t *x, const uint32_t *insz, const uint16_t *e,
    const uint16_t *mod, const uint32_t *nbits, uint8_t *y, uint16_t *rc);
SIGILLO_API void YRSACHK(const uint8_t *x, const uint32_t *insz, const uint16_t *e,
    const uint16_t *mod, const uint32_t *nbits, uint8_t *y, uint16_t *rc);

SIGILLO_API uint16_t RSADEC(const uint8_t *x, const uint32_t *insz, const uint16_t *e,
    const uint16_t *m, const uint16_t *p, const uint16_t *q, const uint16_t *exp1,
    const uint16_t *exp2, const uint16_t *crt, const uint32_t *nbits, uint8_t *y, uint16_t *rc);
SIGILLO_API void YRSADEC(const uint8_t *x, const uint32_t *insz, const uint16_t *e,
    const uint16_t *m, const uint16_t *p, const uint16_t *q, const uint16_t *exp1,
    const uint16_t *exp2, const uint16_t *crt, const uint32_t *nbits, uint8_t *y, uint16_t *rc);
SIGILLO_API uint16_t RSASIGN(const uint8_t *x, const uint32_t *insz, const uint16_t *e,
    const uint16_t *m, const uint16_t *p, const uint16_t *q, const uint16_t *exp1,
    const uint16_t *exp2, const uint16_t *crt, const uint32_t *nbits, uint8_t *y, uint16_t *rc);
SIGILLO_API void YRSASIGN(const uint8_t *x, const uint32_t *insz, const uint16_t *e,
    const uint16_t *m, const uint16_t *p, const uint16_t *q, const uint16_t *exp1,
    const uint16_t *exp2, const uint16_t *crt, const uint32_t *nbits, uint8_t *y, uint16_t *rc);

SIGILLO_API uint16_t sRSADEC(const uint8_t *x, const uint32_t *insz, const uint16_t *e,
    const uint16_t *m, const uint16_t *p, const uint16_t *q, const uint16_t *exp1,
    const uint16_t *exp2, const uint16_t *crt, const uint32_t *nbits, uint8_t *y, uint16_t *rc);
SIGILLO_API void YsRSADEC(const uint8_t *x, const uint32_t *insz, const uint16_t *e,
    const uint16_t *m, const uint16_t *p, const uint16_t *q, const uint16_t *exp1,
    const uint16_t *exp2, const uint16_t *crt, const uint32_t *nbits, uint8_t *y, uint16_t *rc);
SIGILLO_API uint16_t sRSASIGN(const uint8_t *x, const uint32_t *insz, const uint16_t *e,
    const uint16_t *m, const uint16_t *p, const uint16_t *q, const uint16_t *exp1,
    const uint16_t *exp2, const uint16_t *crt, const uint32_t *nbits, uint8_t *y, uint16_t *rc);
SIGILLO_API void YsRSASIG(const uint8_t *x, const uint32_t *insz, const uint16_t *e,
    const uint16_t *m, const uint16_t *p, const uint16_t *q, const uint16_t *exp1,
    const uint16_t *exp2, const uint16_t *crt, const uint32_t *nbits, uint8_t *y, uint16_t *rc);

/* ---- Paddings, random numbers and number vectors ----------------------------
 * See docs/padding.md.  *mode selects the direction: 0 pads or formats, 1
 * removes or reads back (PAD64: 0 and 1 pad with end-byte table 0 or 1, 2
 * removes).
 *
 * In place (bufi is updated and *insz set to the new length): the caller's
 * area must have room for the bytes added: PAD1 up to ceil(*lblk/8) bytes,
 * PAD2 up to ceil(*lblk/8) + 1, PAD13 up to 10, PAD64 and PADPKCS5 up to 8.
 * *lblk is the block length in bits, 1 to 1024.
 *
 * From bufi to bufo (they may be the same area), *outsz receives the output
 * length.  *nbits is the modulus size, SIGILLO_PAD_MIN_BITS to
 * SIGILLO_PAD_MAX_BITS, and a block is ceil(*nbits/8) bytes.  PADPKCS1 (*bt 0,
 * 1 or 2) and PAD9796 write one block; PADRSA writes whole blocks, one more
 * than *insz / (block - 1) (rounded down).  Read back, bufi must be one block
 * (PADPKCS1, PAD9796) or whole blocks (PADRSA).
 *
 * INITRAND seeds the library's generator (HMAC_DRBG with SHA-256) from
 * SIGILLO_RAND_SEED_SIZE bytes at seed: the same seed gives the same numbers.
 * GENRAND writes *seed bytes (1 to SIGILLO_RAND_MAX_BYTES) drawn from it at
 * out.  GENKFIPS: the generator of FIPS 186-2 Appendix 3.1 from XKEY (*xkeysz
 * bytes, 20 to 64), writing *outsz bytes (1 to SIGILLO_RAND_MAX_BYTES) and
 * leaving the updated XKEY in xkey.
 *
 * Number vectors (USV): element 0 is the count n of 16-bit digits, elements
 * 1..n the digits, most significant first.  ULTOUSV needs room for 3
 * elements, BATOUSV for 1 + (*insz + 1)/2 (*insz 1 to 65534), USVTOBA writes
 * 2n bytes.  BATOULA and ULATOBA: *insz bytes (a multiple of 4) and *insz/4
 * words; *mode 1 big-endian words, 0 little-endian. */

#define SIGILLO_PAD_MIN_BITS 512
#define SIGILLO_PAD_MAX_BITS 16384
#define SIGILLO_RAND_SEED_SIZE 32
#define SIGILLO_RAND_MAX_BYTES 65536

SIGILLO_API uint16_t PAD1(uint8_t *bufi, uint32_t *insz, const uint16_t *lblk, uint16_t *rc);
SIGILLO_API void YPAD1(uint8_t *bufi, uint32_t *insz, const uint16_t *lblk, uint16_t *rc);
SIGILLO_API uint16_t PAD2(uint8_t *bufi, uint32_t *insz, const uint16_t *lblk,
    const uint16_t *mode, uint16_t *rc);
SIGILLO_API void YPAD2(uint8_t *bufi, uint32_t *insz, const uint16_t *lblk, const uint16_t *mode,
    uint16_t *rc);
SIGILLO_API uint16_t PAD13(uint8_t *bufi, uint32_t *insz, const uint16_t *mode, uint16_t *rc);
SIGILLO_API void YPAD13(uint8_t *bufi, uint32_t *insz, const uint16_t *mode, uint16_t *rc);
SIGILLO_API uint16_t PAD64(uint8_t *bufi, uint32_t *insz, const uint16_t *mode, uint16_t *rc);
SIGILLO_API void YPAD64(uint8_t *bufi, uint32_t *insz, const uint16_t *mode, uint16_t *rc);
SIGILLO_API uint16_t PADPKCS5(uint8_t *bufi, uint32_t *insz, const uint16_t *mode, uint16_t *rc);
SIGILLO_API void YPADPKC5(uint8_t *bufi, uint32_t *insz, const uint16_t *mode, uint16_t *rc);

SIGILLO_API uint16_t PADPKCS1(const uint8_t *bufi, const uint32_t *insz, const uint32_t *nbits,
    const uint16_t *bt, uint8_t *bufo, uint32_t *outsz, const uint16_t *mode, uint16_t *rc);
SIGILLO_API void YPADPKC1(const uint8_t *bufi, const uint32_t *insz, const uint32_t *nbits,
    const uint16_t *bt, uint8_t *bufo, uint32_t *outsz, const uint16_t *mode, uint16_t *rc);
SIGILLO_API uint16_t PAD9796(const uint8_t *bufi, const uint32_t *insz, const uint32_t *nbits,
    uint8_t *bufo, uint32_t *outsz, const uint16_t *mode, uint16_t *rc);
SIGILLO_API void YPAD9796(const uint8_t *bufi, const uint32_t *insz, const uint32_t *nbits,
    uint8_t *bufo, uint32_t *outsz, const uint16_t *mode, uint16_t *rc);
SIGILLO_API uint16_t PADRSA(const uint8_t *bufi, const uint32_t *insz, const uint32_t *nbits,
    uint8_t *bufo, uint32_t *outsz, const uint16_t *mode, uint16_t *rc);
SIGILLO_API void YPADRSA(const uint8_t *bufi, const uint32_t *insz, const uint32_t *nbits,
    uint8_t *bufo, uint32_t *outsz, const uint16_t *mode, uint16_t *rc);

SIGILLO_API uint16_t INITRAND(const uint8_t *seed, uint16_t *rc);
SIGILLO_API void YINITRAN(const uint8_t *seed, uint16_t *rc);
SIGILLO_API uint16_t GENRAND(const uint32_t *seed, uint8_t *out, uint16_t *rc);
SIGILLO_API void YGENRAND(const uint32_t *seed, uint8_t *out, uint16_t *rc);
SIGILLO_API uint16_t GENKFIPS(uint8_t *xkey, const uint32_t *xkeysz, uint8_t *out,
    const uint32_t *outsz, uint16_t *rc);
SIGILLO_API void YGENKFIP(uint8_t *xkey, const uint32_t *xkeysz, uint8_t *out,
    const uint32_t *outsz, uint16_t *rc);

SIGILLO_API uint16_t ULTOUSV(const uint32_t *l, uint16_t *usv, uint16_t *rc);
SIGILLO_API void YULTOUSV(const uint32_t *l, uint16_t *usv, uint16_t *rc);
SIGILLO_API uint16_t BATOUSV(const uint8_t *vuc, const uint32_t *insz, uint16_t *vus,
    uint16_t *rc);
SIGILLO_API void YBATOUSV(const uint8_t *vuc, const uint32_t *insz, uint16_t *vus, uint16_t *rc);
SIGILLO_API uint16_t USVTOBA(const uint16_t *vus, uint8_t *vuc, uint32_t *outsz, uint16_t *rc);
SIGILLO_API void YUSVTOBA(const uint16_t *vus, uint8_t *vuc, uint32_t *outsz, uint16_t *rc);
SIGILLO_API uint16_t BATOULA(const uint8_t *r, const uint32_t *insz, uint32_t *l,
    const uint16_t *mode, uint16_t *rc);
SIGILLO_API void YBATOULA(const uint8_t *r, const uint32_t *insz, uint32_t *l,
    const uint16_t *mode, uint16_t *rc);
SIGILLO_API uint16_t ULATOBA(const uint32_t *l, const uint32_t *insz, uint8_t *r,
    const uint16_t *mode, uint16_t *rc);
SIGILLO_API void YULATOBA(const uint32_t *l, const uint32_t *insz, uint8_t *r,
    const uint16_t *mode, uint16_t *rc);

#ifdef __cplusplus
}
#endif

#endif
