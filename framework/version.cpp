// Version entry points.
#include <cstring>

#include "framework/trace.h"
#include "sigillo/sigillo.h"

namespace {
constexpr const char kVersionText[] = "Versione 7.16.27 - rilascio 18/01/2012";
constexpr int32_t kVersionNumber = 71627;
static_assert(sizeof kVersionText == 39);
}  // namespace

uint16_t KVTVERS(char* text, uint16_t* rc) {
  sigillo::TRclrerr();
  uint16_t code = 0;
  if (text == nullptr) {
    code = sigillo::TRerr("kvtvers", __LINE__, __func__, 3, "text (1)");
  } else {
    memcpy(text, kVersionText, sizeof kVersionText);
  }
  if (rc != nullptr) *rc = code;
  return code;
}
void YKVTVERS(char* text, uint16_t* rc) { KVTVERS(text, rc); }

int32_t KVTVNUM(void) { return kVersionNumber; }
void YKVTVNUM(int32_t* number) {
  if (number != nullptr) *number = kVersionNumber;
}

int32_t KVTCHKV(const int32_t* number) {
  return number != nullptr ? kVersionNumber - *number : kVersionNumber;
}
void YKVTCHKV(const int32_t* number, int32_t* difference) {
  if (difference != nullptr) *difference = KVTCHKV(number);
}
