// CODEC code to macro code, as the CODA macro reports failures.
#include "archive/codec_remap.h"

#include "framework/trace.h"

namespace sigillo {

uint16_t remapCode(uint16_t c, int kind, bool* mapped) {
  *mapped = true;
  if (c >= 1 && c <= 5) return static_cast<uint16_t>(c + 150);
  if (c == 6) return kind == kKindRebuild ? 206 : 156;
  if (c >= 8 && c <= 13) return static_cast<uint16_t>(c + 150);
  if (c >= 14 && c <= 16) return 203;
  if (c >= 17 && c <= 19) return 10;
  if (c == 20) return 170;
  if (c >= 25 && c <= 37) return static_cast<uint16_t>(c + 150);
  if (c == 39) return 169;
  if (c >= 45 && c <= 47) return static_cast<uint16_t>(c + 119);
  if (c == 48) return 188;
  if (c == 49) return 174;
  if (c == 50) return 157;
  if (c >= 51 && c <= 53) return static_cast<uint16_t>(c + 120);
  if (c == 54 || c == 55) return static_cast<uint16_t>(c + 113);
  if (c >= 56 && c <= 58) return static_cast<uint16_t>(c + 92);
  *mapped = false;
  return 30;
}

}  // namespace sigillo
