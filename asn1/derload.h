// Loading an object from a file that holds it in DER or in PEM.
#pragma once

#include "asn1/asn.h"
#include "asn1/derpar.h"

namespace sigillo {

// Parses the file on `context` (whose flags apply): a PEM file is decoded
// in memory and its first block parsed; any other file is parsed as DER
// straight from disk, so that large values stay in the file.  The context
// keeps the input name and the error record either way.
aobj* DERfLoadAny(DERPARSER* context, const char* fileName);

}  // namespace sigillo
