// The translation of CODEC result codes into macro codes.
#pragma once

#include <cstdint>

namespace sigillo {

// Command kinds of call_codec: cmp 0, dcp 1, del 2, chk 3, dump 4,
// selfexp and rebuild 5.
enum CodecKind : int { kKindCmp = 0, kKindDcp, kKindDel, kKindChk, kKindDump, kKindRebuild };

// Macro code of a CODEC code; `mapped` is false for codes without a row
// (they become 30).
uint16_t remapCode(uint16_t codecCode, int kind, bool* mapped);

}  // namespace sigillo
