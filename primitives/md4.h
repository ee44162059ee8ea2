// MD4 message digest (RFC 1320).
#pragma once

#include <memory>

#include "primitives/digest.h"

namespace sigillo {

std::unique_ptr<Digest> newMd4();

}  // namespace sigillo
