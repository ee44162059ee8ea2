// Detail entries of the CODEC compressor.
#include <cstdarg>
#include <cstdio>

#include "archive/codec_codes.h"
#include "framework/trace.h"

namespace sigillo::codec {

uint16_t detail(int line, const char* function, uint16_t code, const char* fmt, ...) {
  char message[kMsgSize];
  va_list args;
  va_start(args, fmt);
  vsnprintf(message, sizeof message, fmt, args);
  va_end(args);
  TRadderrstack(nullptr, "codec", line, function, code, message);
  return code;
}

}  // namespace sigillo::codec
