// Argument checks of the cipher entry points: each check names the
// argument and its position, and the first failing one is recorded.
#pragma once

#include <cstdint>
#include <initializer_list>

#include "framework/trace.h"

namespace sigillo {

struct ArgCheck {
  uint16_t code;
  const char* label;  // "bufi (1)"
  bool failed;
};

// Records the first failed check (closing the trace entry) and returns its
// code; 0 when all pass.
uint16_t firstFailed(std::initializer_list<ArgCheck> checks);

// insz null, 0 or not a multiple of `multiple`.
inline bool badLength(const uint32_t* insz, uint32_t multiple) {
  return insz == nullptr || *insz == 0 || *insz % multiple != 0;
}
// Feedback width null, 0 or wider than the block.
inline bool badFeedback(const uint16_t* nbits, uint32_t block) {
  return nbits == nullptr || *nbits == 0 || *nbits > block * 8;
}
// insz null, 0 or not a whole number of feedback steps (when the width is good).
inline bool badFeedbackLength(const uint32_t* insz, const uint16_t* nbits, uint32_t block) {
  return insz == nullptr || *insz == 0 ||
         (!badFeedback(nbits, block) && (uint64_t{*insz} * 8) % *nbits != 0);
}
// mode null or other than 0 (encipher) and 1 (decipher).
inline bool badMode(const uint16_t* mode) { return mode == nullptr || *mode > 1; }

}  // namespace sigillo
