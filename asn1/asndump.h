// Text dumps of an ASN.1 tree: one line per node, indented by one tab per
// level (at most 19 tabs), each line led by the node's name and its index in
// its parent (0 for the root).  Per kind:
//
//   constructed  name[i] constructed TT (size:L) [C,F] {   ...children...   }
//   indirect     name[i] indirect TT (size:L) [F]: "file"
//   integer      name[i]value TT (size:L) [F]: D 0xHHHHHHHH      (1 to 4 octets)
//                name[i]long value TT (size:L) [F].  + block     (any other length)
//   boolean      name[i] boolean TT (size:L) [F]: TRUE|FALSE
//   bit string   name[i] bit stream TT (size:L) [F] unused U.  + block
//   OCTET STRING name[i] octet stream TT (size:L) [F].  + block
//   text string  name[i] string TT (size:L) [F]: "text"
//   other string name[i] stream TT (size:L) [F].  + block
//   OID          name[i] object identifier N (L) [F]: 2.5.4.3 commonName
//   time         name[i] date TT (L) [F]: 250101120000Z
//   NULL         name[i] null TT [F]
//   other kinds  name[i] UNKNOWN KKKKKKKK.TT (L) [F]
//
// TT is the identifier octet, L the content length, C the number of
// children, F the size of the node's full encoding, N the OID's registry
// number (-1 when unknown) and D the integer's cached 32-bit value.
// A text string is a UTF8String, NumericString, PrintableString,
// TeletexString, IA5String or VisibleString whose octets are all printable
// ASCII (0x20-0x7E); any other string is dumped as octets.  The dotted form
// of an OID that cannot be decoded is its content in hexadecimal.
//
// A block shows the data octets (none: no block) framed by two lines, 16
// octets per line as upper-case pairs separated by blanks, each line
// indented like its node plus two blanks:
//
//   [ +++++++++++++++++++++++++++++++++
//     30 82 01 0A 02 82 01 01 00 C3 ...
//     +++++++++++++++++++++++++++++++++ ]
#pragma once

#include <cstdio>
#include <string>

#include "asn1/asn.h"

namespace sigillo {

struct FHandle;

// The line that ASNdumpEx writes before the dump.
extern const char kAsnDumpHeader[];

uint16_t ASNfdump(FILE* stream, const aobj* node);
// To standard output.
uint16_t ASNdump(const aobj* node);
// The header line, then the dump.
uint16_t ASNdumpEx(FILE* stream, const aobj* node);
// To a file of the file layer (a memory block name is allowed); the file
// appears only when the whole dump was written.
uint16_t ASNdump2path(const char* path, const aobj* node);
// The dump as text; the empty text for an absent node.
// ASNdumpEx into an open file of the file layer, streamed as it is made.
uint16_t ASNdump2handle(FHandle* file, const aobj* node);
std::string ASNtostr(const aobj* node);

// An INTEGER node's value in decimal and hexadecimal: "4660 (0x1234)",
// "-5 (-0x05)", at any size.
uint16_t dualIntDump(const aobj* node, std::string* text);

}  // namespace sigillo
