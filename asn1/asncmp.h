// Comparison of two ASN.1 trees node by node, in document order, stopping at
// the first difference and keeping the path that leads to it.
//
// Two nodes are compared on, in this order: presence ("A IS NULL PTR",
// "B IS NULL PTR"), name, use count, identifier octet, kind, content length,
// then content: bit strings on the unused-bit count and data octets, values
// held in memory octet by octet, indirect values by streaming both, and
// constructed nodes child by child (a child missing on one side is an absent
// node).
//
// The report (ANSCMPCTX_printmsg):
//
//   ASN CMP CTX:
//   Level:      <depth of the differing pair, 0 = the roots; -1 when equal>
//   Difference: <one of the texts above, or the empty text>
//   Stack:
//    - [<depth>,<index in parent>]:<identifier A>/<identifier B> <kind A>=<name A> / <kind B>=<name
//    B>
//
// with one stack line per level from the roots down to the differing pair.
// Identifiers print as two hexadecimal digits, kinds by their names
// ("CLASSEQ"; "UNKWNOWN" for a code without a name); an absent node prints
// "--" and "(nil)" with an empty name.  "Binary data is different: %d %d"
// gives the offset of the first differing content octet and how many octets
// differ.
#pragma once

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "asn1/asn.h"

namespace sigillo {

struct ANSCMPCTX {
  struct Frame {
    int level;
    int index;  // position in the parent, 0 for the roots
    const aobj* a;
    const aobj* b;
  };
  int level = -1;            // depth of the difference, -1 while none was found
  std::string difference;    // what differs there
  std::vector<Frame> stack;  // the pairs from the roots down to the difference
};

// 0 when the trees are equal, 1 when they differ; `ctx` (optional) tells where.
int aobj_compare(const aobj* a, const aobj* b, ANSCMPCTX* ctx);
// Compares one pair at depth `level`, index `index` of its parent, pushing
// it on the stack while it is compared; 1 at the first difference.
int ANSCMPCTX_compare_aux(ANSCMPCTX* ctx, const aobj* a, const aobj* b, int level, int index);
// The report as text, and written to a stream.
std::string ANSCMPCTX_msg(const ANSCMPCTX* ctx);
uint16_t ANSCMPCTX_printmsg(const ANSCMPCTX* ctx, FILE* stream);

}  // namespace sigillo
