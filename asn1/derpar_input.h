// Internals of the DER parser shared by its buffer reader and its file
// reader: one node algorithm, two ways of getting bytes and two wordings.
#pragma once

#include <cstddef>
#include <cstdint>

#include "asn1/derpar.h"

namespace sigillo::derpar {

// Records a parse error on `context` naming the current line.
#define DERPAR_ERR(context, function, code, ...) \
  ::sigillo::DERPARSER_ERROR((context), kModule, __LINE__, (function), (code), __VA_ARGS__)

// Identifier and length of one node as read from the input.
struct Header {
  uint8_t tag;
  bool indefinite;
  bool endOfContents;
  uint32_t length;
};

// What differs between buffer and file input.
struct Input {
  const char* function;  // names the node parser on error frames
  // Makes `count` (at most kDerReadBufferSize) contiguous bytes available at
  // the read position; false when the input ends first.
  bool (*ensure)(DERPARSER* context, size_t count);
  // Input offset of the end of the input.
  uint64_t (*end)(DERPARSER* context);
  uint16_t (*missingHeader)(DERPARSER* context);
  uint16_t (*missingLength)(DERPARSER* context, uint32_t count);
  // Reads the value of a primitive node and builds the node.
  uint16_t (*primitive)(DERPARSER* context, const Header& header, aobj** node);
  // Formats of the constructed-node failures.
  const char* overflow;       // consumed size, announced size
  const char* unexpectedEoc;  // child index
  const char* childFailed;    // child index
  const char* addFailed;      // child index
};

uint16_t parseNode(DERPARSER* context, const Input& input, int32_t index, aobj** node);

// Input offset of the read position.
inline uint64_t position(const DERPARSER* context) {
  return context->base + static_cast<uint64_t>(context->current - context->start);
}

inline void advance(DERPARSER* context, uint64_t count) {
  context->current += count;
  context->remaining -= count;
}

// Prepares the context for a new parse: error record, depth and input reset.
void beginParse(DERPARSER* context);

// Deletes a partial tree without adding entries to the error stack.
void discard(aobj* node);

// The code a failed step reports: the recorded one, else 29.
uint16_t failedCode(const DERPARSER* context);

// Values above 2^32 - 1 print as 2^32 - 1 in the 32-bit message fields.
inline uint32_t clampU32(uint64_t value) {
  return value > UINT32_MAX ? UINT32_MAX : static_cast<uint32_t>(value);
}

}  // namespace sigillo::derpar
