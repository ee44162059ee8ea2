// MD2 message digest (RFC 1319).
#pragma once

#include <memory>

#include "primitives/digest.h"

namespace sigillo {

std::unique_ptr<Digest> newMd2();

}  // namespace sigillo
