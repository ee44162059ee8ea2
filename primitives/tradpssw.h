// Key text as users write it in parameter strings, turned into key bytes.
#pragma once

#include <cstddef>

#include "framework/secure.h"

namespace sigillo {

// At most the first `maxChars` characters of `text` are used.  A text of
// the form x'…' (or X'…') gives the bytes of its hexadecimal digits; any
// other text gives its own bytes.  False when the hexadecimal form is
// malformed.
bool tradpssw(const char* text, size_t maxChars, SecureBytes* key);

constexpr size_t kShortKeyText = 24;
constexpr size_t kLongKeyText = 2048;

}  // namespace sigillo
