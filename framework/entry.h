// The C boundary: nothing unwinds out of an entry point.
#pragma once

#include <cstdint>
#include <new>

#include "framework/trace.h"

namespace sigillo {

// Runs an entry point's body, turns any escaping exception into an error
// code and stores the result through `rc` when it is not null.
template <class Body>
uint16_t runEntry(const char* name, uint16_t* rc, Body&& body) noexcept {
  uint16_t code;
  try {
    code = body();
  } catch (const std::bad_alloc&) {
    code = TRerr("entry", __LINE__, name, 10, "Memoria esaurita");
  } catch (...) {
    code = TRerr("entry", __LINE__, name, 30, "Eccezione inattesa");
  }
  code = TRlogfailure(name, code);
  if (rc != nullptr) *rc = code;
  return code;
}

}  // namespace sigillo
