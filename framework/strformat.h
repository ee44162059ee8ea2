// printf-style formatting into strings of any allocator (plain text, or
// text that wipes itself because it may hold a password).
#pragma once

#include <cstdarg>
#include <cstdio>
#include <string>

#include "framework/trace.h"

namespace sigillo {

// Appends the formatted text to `out`.
template <typename String>
void vappendf(String* out, const char* fmt, va_list args) {
  va_list measure;
  va_copy(measure, args);
  const int needed = vsnprintf(nullptr, 0, fmt, measure);
  va_end(measure);
  if (needed <= 0) return;
  const size_t at = out->size();
  out->resize(at + static_cast<size_t>(needed) + 1);
  vsnprintf(out->data() + at, static_cast<size_t>(needed) + 1, fmt, args);
  out->resize(at + static_cast<size_t>(needed));
}

template <typename String = std::string>
String strformat(const char* fmt, ...) SIGILLO_PRINTF(1);

template <typename String>
String strformat(const char* fmt, ...) {
  String text;
  va_list args;
  va_start(args, fmt);
  vappendf(&text, fmt, args);
  va_end(args);
  return text;
}

}  // namespace sigillo
