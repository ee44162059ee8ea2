// One-shot digest helper shared by the primitive tests.
#pragma once

#include <cstdint>
#include <string>

#include "primitives/digest.h"
#include "tests/common/testutil.h"

namespace sigillo::test_support {

using test::Bytes;
using test::fromHex;
using test::textBytes;
using test::toHex;

// Feeds `data` in one call and returns the result as upper-case hex.
inline std::string digestHex(Digest& digest, const Bytes& data) {
  digest.update(data.data(), data.size());
  Bytes out(digest.size());
  digest.finish(out.data());
  return toHex(out);
}

}  // namespace sigillo::test_support
