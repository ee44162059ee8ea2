// Result codes of the CODEC compressor and how its detail messages reach
// the error stack.
#pragma once

#include <cstdint>

namespace sigillo::codec {

// CODEC's own result codes; CODA turns them into macro codes (RemapErr).
enum Code : uint16_t {
  kOk = 0,
  kMemberExists = 1,       // member already in the library (no -o)
  kNotCompressible = 2,    // input is no regular file
  kBadMemberPassword = 3,  // wrong or missing member password
  kBadCrc = 4,             // member data damaged: checksum or tag wrong
  kTooLong = 5,            // member name or path too long for an entry
  kOutputExists = 6,       // output file exists (no -o)
  kInternal = 7,           // unexpected failure of a library call
  kSyntax = 10,            // command line not understood
  kBadVersion = 11,        // library written by a newer format version
  kBadEncoding = 13,       // compressed stream undecodable
  kResultOpen = 14,        // report file (-e) cannot be created
  kNoMemory = 17,          // allocation failed
  kPathRecreate = 20,      // folder cannot be made, or a member name escapes the output
  kLibOpenRead = 25,       // library missing or unreadable
  kLibRead = 26,           // library shorter than its index says, or read error
  kLibOpenWrite = 27,      // temporary library cannot be created
  kLibWrite = 28,          // write to the new library failed (disk full...)
  kLibClose = 29,          // flush or close of the new library failed
  kLibFull = 30,           // 65,534 members already
  kNotLibrary = 31,        // no library header
  kMemberNotFound = 32,    // no member matches
  kHeaderCrc = 33,         // library header checksum wrong
  kBadLibPassword = 34,    // wrong or missing library password
  kLibReplace = 36,        // new library cannot be renamed over the old one
  kSameName = 37,          // library and file are the same file
  kBadPosition = 39,       // index points outside the library
  kInOpen = 45,            // file to compress cannot be opened
  kInRead = 46,            // file to compress cannot be read
  kOutOpen = 47,           // extracted file cannot be created
  kOutWrite = 48,          // extracted file cannot be written
  kOutClose = 49,          // extracted file cannot be flushed, closed or renamed
  kIndexCrc = 50,          // index or member entry checksum wrong, or malformed
  kTableRead = 53,         // conversion table unreadable or not 256 bytes
  kRuntimeCrc = 56,        // self-extracting run-time damaged
  kRuntimeOpen = 57,       // run-time cannot be opened
  kRuntimeRead = 58,       // run-time cannot be read
};

// Pushes a detail entry with CODEC's code without claiming the stack's
// first code: the caller (the CODEC entry point or CODA) records the result.
uint16_t detail(int line, const char* function, uint16_t code, const char* fmt, ...)
    __attribute__((format(printf, 4, 5)));

// Text of a CODEC code (the texts of the macro codes it maps to).
const char* codeText(uint16_t code);

}  // namespace sigillo::codec

#define CERR(code, ...) ::sigillo::codec::detail(__LINE__, __func__, (code), __VA_ARGS__)
