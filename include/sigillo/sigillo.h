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

#ifdef __cplusplus
}
#endif

#endif
