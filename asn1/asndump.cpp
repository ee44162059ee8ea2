// Text dumps of an ASN.1 tree (formats in asndump.h).
#include "asn1/asndump.h"

#include <cstdarg>
#include <cstring>

#include "asn1/asnint.h"
#include "asn1/oid.h"
#include "framework/guards.h"
#include "framework/outfile.h"
#include "framework/strformat.h"
#include "framework/trace.h"

namespace sigillo {

const char kAsnDumpHeader[] =
    "\n-----------------------------------------------------------------------------\n";

namespace {

constexpr const char* kModule = "asn";
constexpr uint32_t kMaxIndent = 19;
constexpr uint32_t kOctetsPerLine = 16;
constexpr size_t kFlushSize = 65536;
constexpr size_t kOidTextSize = 256;

// Collects the dump and hands it on in large pieces: to a stdio stream, to
// a file of the file layer, or to nobody (the text stays in `text`).
class DumpWriter {
 public:
  explicit DumpWriter(FILE* stream) : stream_(stream) {}
  explicit DumpWriter(FHandle* file) : file_(file) {}
  DumpWriter() = default;

  void printf(const char* fmt, ...) SIGILLO_PRINTF(2) {
    va_list args;
    va_start(args, fmt);
    vappendf(&text_, fmt, args);
    va_end(args);
    if (text_.size() >= kFlushSize) flush();
  }

  void indent(uint32_t level) { text_.append(level < kMaxIndent ? level : kMaxIndent, '\t'); }

  // Writes what was collected; false once any write has failed.
  bool flush() {
    if (stream_ == nullptr && file_ == nullptr) return ok_;
    if (!text_.empty()) {
      if (stream_ != nullptr && fwrite(text_.data(), 1, text_.size(), stream_) != text_.size()) {
        ok_ = false;
      }
      if (file_ != nullptr && f_write(file_, text_.data(), text_.size()) != 0) ok_ = false;
      text_.clear();
    }
    return ok_;
  }

  // The last flush, pushing the stream's own buffer out as well.
  bool finish() {
    flush();
    if (stream_ != nullptr && fflush(stream_) != 0) ok_ = false;
    return ok_;
  }

  std::string& text() { return text_; }

 private:
  FILE* stream_ = nullptr;
  FHandle* file_ = nullptr;
  std::string text_;
  bool ok_ = true;
};

// The name as text: at most 31 characters, whether terminated or not.
std::string nameOf(const aobj* node) {
  return std::string(node->name, strnlen(node->name, kAobjNameSize - 1));
}

bool textStringTag(uint8_t tag) {
  switch (tag) {
    case kTagUtf8String:
    case 18:  // NumericString
    case kTagPrintableString:
    case 20:  // TeletexString
    case kTagIa5String:
    case 26:  // VisibleString
      return true;
    default:
      return false;
  }
}

bool printable(const uint8_t* bytes, uint32_t length) {
  for (uint32_t i = 0; i < length; ++i) {
    if (bytes[i] < 0x20 || bytes[i] > 0x7E) return false;
  }
  return true;
}

void block(DumpWriter& out, uint32_t level, const uint8_t* bytes, uint32_t length) {
  static constexpr char kDigits[] = "0123456789ABCDEF";
  if (bytes == nullptr || length == 0) return;
  out.indent(level);
  out.printf("[ +++++++++++++++++++++++++++++++++\n");
  for (uint32_t at = 0; at < length; at += kOctetsPerLine) {
    out.indent(level);
    std::string& text = out.text();
    text += "  ";
    const uint32_t end = length - at < kOctetsPerLine ? length : at + kOctetsPerLine;
    for (uint32_t i = at; i < end; ++i) {
      if (i > at) text += ' ';
      text += kDigits[bytes[i] >> 4];
      text += kDigits[bytes[i] & 15];
    }
    out.printf("\n");
  }
  out.indent(level);
  out.printf("  +++++++++++++++++++++++++++++++++ ]\n");
}

// Dotted form and registry name of an OID node, recording nothing.
void oidTail(DumpWriter& out, const aobj* node) {
  const uint32_t length = node->length < kOidMaxInline ? node->length : kOidMaxInline;
  char dotted[kOidTextSize] = "";
  const int n =
      quietly([&] { return OIDber2str(dotted, sizeof dotted, node->u.oid.content, length); });
  if (n <= 0) {
    static constexpr char kDigits[] = "0123456789ABCDEF";
    size_t used = 0;
    for (uint32_t i = 0; i < length; ++i) {
      dotted[used++] = kDigits[node->u.oid.content[i] >> 4];
      dotted[used++] = kDigits[node->u.oid.content[i] & 15];
    }
    dotted[used] = '\0';
  }
  const int number = node->u.oid.number;
  out.printf(" %s %s\n", dotted, isValidOID(number) != 0 ? getOIDstr(number) : "UNKNOWN");
}

void dumpString(DumpWriter& out, uint32_t level, const aobj* node, const char* name, int index,
                uint32_t full) {
  if (node->tag == kTagOctetString) {
    out.printf("%s[%d] octet stream %02x (size:%u) [%u].\n", name, index, node->tag, node->length,
               full);
  } else if (textStringTag(node->tag) && node->length <= INT32_MAX &&
             printable(node->value, node->length)) {
    out.printf("%s[%d] string %02x (size:%u) [%u]: \"%.*s\"\n", name, index, node->tag,
               node->length, full, static_cast<int>(node->length),
               reinterpret_cast<const char*>(node->value));
    return;
  } else {
    out.printf("%s[%d] stream %02x (size:%u) [%u].\n", name, index, node->tag, node->length, full);
  }
  block(out, level, node->value, node->length);
}

void dumpInteger(DumpWriter& out, uint32_t level, const aobj* node, const char* name, int index,
                 uint32_t full) {
  if (node->length >= 1 && node->length <= 4) {
    const int32_t value = node->u.integer.cached;
    out.printf("%s[%d]value %02x (size:%u) [%u]: %d 0x%08x\n", name, index, node->tag, node->length,
               full, value, static_cast<uint32_t>(value));
    return;
  }
  out.printf("%s[%d]long value %02x (size:%u) [%u].\n", name, index, node->tag, node->length, full);
  block(out, level, node->value, node->length);
}

void dumpNode(DumpWriter& out, const aobj* node, uint32_t level, int index) {
  const std::string nameText = nameOf(node);
  const char* name = nameText.c_str();
  const uint32_t full = DERlen(node);
  out.indent(level);
  switch (node->kind) {
    case CLASSEQ:
      out.printf("%s[%d] constructed %02x (size:%u) [%u,%u] {\n", name, index, node->tag,
                 node->length, node->u.seq.count, full);
      for (uint32_t i = 0; i < node->u.seq.count; ++i) {
        dumpNode(out, node->u.seq.children[i], level + 1, static_cast<int>(i));
      }
      out.indent(level);
      out.printf("}\n");
      break;
    case CLASINDIR:
      out.printf("%s[%d] indirect %02x (size:%u) [%u]: \"%s\"\n", name, index, node->tag,
                 node->length, full, node->u.indirect != nullptr ? node->u.indirect->file : "");
      break;
    case CLASVAL:
      dumpInteger(out, level, node, name, index, full);
      break;
    case CLASBOOL:
      out.printf("%s[%d] boolean %02x (size:%u) [%u]: %s\n", name, index, node->tag, node->length,
                 full, node->u.boolean.octet != 0 ? "TRUE" : "FALSE");
      break;
    case CLASBSTR:
      out.printf("%s[%d] bit stream %02x (size:%u) [%u] unused %u.\n", name, index, node->tag,
                 node->length, full, node->u.bits.unused);
      block(out, level, node->value, node->length > 0 ? node->length - 1 : 0);
      break;
    case CLASSTR:
      dumpString(out, level, node, name, index, full);
      break;
    case CLASOID:
      out.printf("%s[%d] object identifier %d (%u) [%u]:", name, index, node->u.oid.number,
                 node->length, full);
      oidTail(out, node);
      break;
    case CLASDATE:
      out.printf("%s[%d] date %02x (%u) [%u]: %.*s\n", name, index, node->tag, node->length, full,
                 static_cast<int>(node->length < kDateMaxText ? node->length : kDateMaxText),
                 node->u.date.text);
      break;
    case CLASNULL:
      out.printf("%s[%d] null %02x [%u]\n", name, index, node->tag, full);
      break;
    default:
      out.printf("%s[%d] UNKNOWN %08x.%02x (%d) [%d]\n", name, index, node->kind, node->tag,
                 static_cast<int>(node->length), static_cast<int>(full));
      break;
  }
}

uint16_t dumpTo(DumpWriter& out, const aobj* node, bool header, const char* function) {
  if (node == nullptr) {
    TRERR_AS(function, 304, "Oggetto ASN.1 nullo");
    return 304;
  }
  if (header) out.printf("%s", kAsnDumpHeader);
  dumpNode(out, node, 0, 0);
  if (!out.finish()) {
    TRERR_AS(function, 204, "Scrittura del dump ASN.1 fallita");
    return 204;
  }
  return 0;
}

}  // namespace

uint16_t ASNfdump(FILE* stream, const aobj* node) {
  if (stream == nullptr) return TRFAIL(304, "Oggetto nullo (%s)", "stream");
  DumpWriter out(stream);
  return dumpTo(out, node, false, __func__);
}

uint16_t ASNdump(const aobj* node) {
  DumpWriter out(stdout);
  return dumpTo(out, node, false, __func__);
}

uint16_t ASNdumpEx(FILE* stream, const aobj* node) {
  if (stream == nullptr) return TRFAIL(304, "Oggetto nullo (%s)", "stream");
  DumpWriter out(stream);
  return dumpTo(out, node, true, __func__);
}

uint16_t ASNdump2path(const char* path, const aobj* node) {
  if (path == nullptr) return TRFAIL(304, "Oggetto nullo (%s)", "path");
  if (node == nullptr) return TRFAIL(304, "Oggetto ASN.1 nullo");
  OutputFile file;
  if (uint16_t rc = file.open(path, kKindText, 0)) return (TRLASTERR(), rc);
  if (uint16_t rc = file.start()) return (TRLASTERR(), rc);
  DumpWriter out(file.handle());
  if (uint16_t rc = dumpTo(out, node, false, __func__)) return rc;
  if (uint16_t rc = file.commit()) return (TRLASTERR(), rc);
  return 0;
}

uint16_t ASNdump2handle(FHandle* file, const aobj* node) {
  if (file == nullptr) return TRFAIL(304, "Oggetto nullo (%s)", "file");
  DumpWriter out(file);
  return dumpTo(out, node, true, __func__);
}

std::string ASNtostr(const aobj* node) {
  DumpWriter out;
  if (dumpTo(out, node, false, __func__) != 0) return std::string();
  return std::move(out.text());
}

uint16_t dualIntDump(const aobj* node, std::string* text) {
  if (text == nullptr) return TRFAIL(304, "Oggetto nullo (%s)", "text");
  std::string decimal;
  std::string hex;
  uint16_t rc = ASNint2dec(node, &decimal);
  if (rc == 0) rc = ASNint2hex(node, &hex);
  if (rc != 0) return (TRLASTERR(), rc);
  const bool negative = hex[0] == '-';
  *text = decimal + " (" + (negative ? "-0x" : "0x") + hex.substr(negative ? 1 : 0) + ")";
  return 0;
}

}  // namespace sigillo
