// libFuzzer target for the OID converters: the input is read both as dotted
// text and as BER content octets.  A text that converts must convert back to
// the same octets; anything else must only be refused.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include "asn1/oid.h"
#include "framework/trace.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  sigillo::TRenable(0);
  const std::string text(reinterpret_cast<const char*>(data), size);
  uint8_t ber[64];
  const int octets = sigillo::OIDstr2ber(ber, sizeof ber, text.c_str());
  if (octets > 0) {
    char dotted[1100];
    uint8_t again[64];
    if (sigillo::OIDber2str(dotted, sizeof dotted, ber, static_cast<uint32_t>(octets)) > 0 &&
        sigillo::OIDstr2ber(again, sizeof again, dotted) != octets) {
      abort();
    }
  }
  const auto length = static_cast<uint32_t>(size > 64 ? 64 : size);
  char dotted[1100];
  sigillo::OIDber2str(dotted, sizeof dotted, data, length);
  const int arcs = sigillo::OIDberArcCount(data, length);
  if (arcs > 0) {
    auto* values = static_cast<int32_t*>(calloc(static_cast<size_t>(arcs), sizeof(int32_t)));
    const int got = sigillo::OIDber2ints(values, 0, data, length);
    if (got >= 0 && got != arcs) abort();
    free(values);
  }
  sigillo::OIDber2const(data, length);
  sigillo::OIDname2const(text.c_str());
  sigillo::TRenable(1);
  return 0;
}
