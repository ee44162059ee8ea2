// The ASN1 macro: dumps or parses a DER or PEM file.
#pragma once

#include "framework/mlib.h"

namespace sigillo {

const WCcmd* asn1Commands();
const char* const* asn1Descriptions();

}  // namespace sigillo
