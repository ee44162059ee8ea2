// Streaming BER/DER parser: turns the bytes of a memory buffer or of a file
// into a tree of aobj nodes.  Definite lengths of up to four length octets
// and indefinite lengths on constructed nodes are accepted; primitive values
// of a file longer than kDerMaxInMemory octets stay in the file as indirect
// nodes, so objects of any size can be parsed without holding their content.
// For the first error of a parse the context keeps the code, the path of
// child indices to the failing node and the input position.
//
// Error paths print as the child indices from the top-level node down,
// joined by full stops: "0" is the top-level node, "0.2.1" the second child
// of the third child of it.  An error raised after the top-level node was
// complete (bytes left over) has an empty path.  The error position is the
// read position when the error was raised: the start of the node when its
// identifier and first length octet are missing, the octet after the octets
// read for a refused length, the octet after the header for a node nested
// too deep, the start of the value when the value is cut short, the
// end of the value when its type refuses it, and the end of what was read of
// a constructed node for the errors of that node.
#pragma once

#include <cstdint>
#include <cstdio>

#include "asn1/asn.h"
#include "framework/trace.h"
#include "framework/unifile.h"

namespace sigillo {

// Parser flags.
constexpr uint32_t kDerStrict = 0x01;  // bytes after the top-level node are an error

constexpr int32_t kDerMaxDepth = 999;          // deepest depth accepted, the top level being 0
constexpr uint32_t kDerMaxInMemory = 0xA0000;  // longer file values become indirect nodes
constexpr int32_t kDerPathGrowth = 6;          // the path grows to depth + this many entries
constexpr size_t kDerReadBufferSize = 64 * 1024;

// Memory budget of one parse: the tree built from N input octets may be
// charged at most kDerBudgetPerOctet * N + kDerBudgetAllowance bytes.  Every
// node is charged before it is made, by what it costs in memory:
//   kDerChargeNode for each node (the node itself, its entry in the parent's
//     child list and that list's spare growth), which is all that NULL,
//     BOOLEAN, OBJECT IDENTIFIER, UTCTime and GeneralizedTime nodes hold;
//   plus kDerChargeChildList for a constructed node (its own child list);
//   plus kDerChargeValue and the value length (at most the octets the input
//     still holds) for the other primitive nodes, whose value is a copy.
// A NULL node costs about 104 bytes and needs 2 octets of input, so any
// input made of small nodes that hold no copy parses; long runs of empty
// strings or empty constructed nodes, which would cost more than 64 bytes
// per input octet, are refused with code 29.
constexpr uint64_t kDerBudgetPerOctet = 64;
constexpr uint64_t kDerBudgetAllowance = 64 * 1024;
constexpr uint64_t kDerChargeNode = 128;
constexpr uint64_t kDerChargeChildList = 48;
constexpr uint64_t kDerChargeValue = 32;

// The first error of a parse.
struct DerParseError {
  uint16_t code;       // 0 while no error was recorded
  int32_t* path;       // child indices from the top-level node to the failing one
  int32_t pathLength;  // entries in path
  uint64_t position;   // bytes from the start of a buffer, or the file offset
};

// Parser context: zeroed by DERPARSER_init, released by DERPARSER_clean.
struct DERPARSER {
  char* inputName;         // copy of the file name; null for a buffer (printed empty)
  FHandle* file;           // file input, open during DERPARSER_fparse
  const uint8_t* start;    // buffer input: the caller's buffer; file input: readBuffer
  const uint8_t* current;  // read position, inside start
  uint64_t size;           // bytes held from start
  uint64_t remaining;      // bytes held from current
  uint64_t base;           // input offset of start[0]: 0 for a buffer, a file offset
  uint8_t* readBuffer;     // file input: kDerReadBufferSize bytes, wiped when released
  uint32_t flags;          // kDerStrict
  int32_t depth;           // -1 before the top-level node
  int32_t* path;           // child index of the node entered at each depth
  int32_t pathCapacity;    // entries allocated in path
  int32_t maxDepth;        // deepest depth entered (a refused one included), -1 before any
  DerParseError error;
  uint64_t inputEnd;  // input offset of the end of the input, set with each top-level node
  uint64_t budget;    // bytes the tree may be charged, set with each top-level node
  uint64_t charged;   // bytes charged so far for the nodes of the current top-level node
};

void DERPARSER_init(DERPARSER* context);
// Releases everything the context holds and leaves it as DERPARSER_init does.
void DERPARSER_clean(DERPARSER* context);
void DERPARSER_clear_error(DERPARSER* context);

// Whole parses on a private context; null on failure, with the error stack
// telling why.  Every parse first clears the error stack.
aobj* DERparse(const uint8_t* buffer, uint64_t size);
aobj* DERparse_(const uint8_t* buffer, uint64_t size, uint32_t flags);
aobj* DERfLoad(const char* fileName);
aobj* DERfParse(const char* fileName, uint32_t offset);
aobj* DERfParse_(const char* fileName, uint32_t offset, uint32_t flags);

// Parses on the caller's context (its flags apply), which keeps the error
// record for DERPARSER_dumpinfo.
aobj* DERPARSER_mparse(DERPARSER* context, const uint8_t* buffer, uint64_t size);
aobj* DERPARSER_fparse(DERPARSER* context, const char* fileName, uint32_t offset);
// Prints the input name, the error record and the deepest depth (stdout
// when `stream` is null).
void DERPARSER_dumpinfo(const DERPARSER* context, FILE* stream);

// Records an error on the stack; for the first error of a parse it also
// keeps code, path and position in the context and adds the position notice.
// Returns the first code recorded since the last clear (`code` itself when
// recording is switched off).  `context` may be null: the error is only
// recorded.
uint16_t DERPARSER_ERROR(DERPARSER* context, const char* file, int line, const char* function,
                         uint32_t code, const char* fmt, ...) SIGILLO_PRINTF(6);

// One node at the current read position, `index` being its place among its
// siblings.  0 with a node, 0 without one for an end-of-contents marker, or
// the error code.
uint16_t DERPARSER_mparse_node(DERPARSER* context, int32_t index, aobj** node);
uint16_t DERPARSER_fparse_node(DERPARSER* context, int32_t index, aobj** node);

// A primitive node from its identifier octet and content octets; null after
// recording the error.
aobj* DERPARSER_build_primitive_node(DERPARSER* context, uint8_t identifier, const uint8_t* value,
                                     uint32_t length);

}  // namespace sigillo
