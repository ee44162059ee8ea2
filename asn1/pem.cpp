// PEM blocks: the BEGIN and END lines of RFC 7468, the header lines of
// RFC 1421 that legacy OpenSSL keys carry, and the base64 body.
#include "asn1/pem.h"

#include <algorithm>
#include <cstring>

#include "asn1/alphabet.h"
#include "framework/guards.h"
#include "framework/trace.h"
#include "framework/unifile.h"

namespace sigillo {
namespace {

constexpr const char* kModule = "pem";

constexpr std::string_view kDashes = "-----";
constexpr std::string_view kBeginPrefix = "-----BEGIN ";
constexpr std::string_view kEndPrefix = "-----END ";
constexpr size_t kReadChunk = 64 * 1024;
// Longest piece of an untrusted header value quoted in a message.
constexpr int kQuoted = 64;

bool isBlank(char c) { return c == ' ' || c == '\t' || c == '\r'; }

// One line of the text: [begin, end) without the line feed and trailing
// blanks; `next` is where the following line starts.
struct Line {
  size_t begin, end, next;
};

Line lineAt(std::string_view text, size_t pos) {
  const size_t feed = text.find('\n', pos);
  Line line{pos, feed == std::string_view::npos ? text.size() : feed,
            feed == std::string_view::npos ? text.size() : feed + 1};
  while (line.end > line.begin && isBlank(text[line.end - 1])) --line.end;
  return line;
}

std::string_view content(std::string_view text, const Line& line) {
  return text.substr(line.begin, line.end - line.begin);
}

// The label of "-----BEGIN label-----" (or END); false for any other line.
bool boundaryLabel(std::string_view line, std::string_view prefix, std::string_view* label) {
  if (line.size() < prefix.size() + kDashes.size() || !line.starts_with(prefix) ||
      !line.ends_with(kDashes)) {
    return false;
  }
  *label = line.substr(prefix.size(), line.size() - prefix.size() - kDashes.size());
  return validPemLabel(*label);
}

bool equalsIgnoreCase(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) return false;
  for (size_t i = 0; i < a.size(); ++i) {
    char x = a[i], y = b[i];
    if (x >= 'a' && x <= 'z') x = static_cast<char>(x - 32);
    if (y >= 'a' && y <= 'z') y = static_cast<char>(y - 32);
    if (x != y) return false;
  }
  return true;
}

// Where the parse of one block stands.
struct Block {
  std::string_view text;
  std::string_view label;
  size_t pos = 0;   // start of the current line
  size_t line = 1;  // its 1-based number
};

void advance(Block* block, const Line& line) {
  block->pos = line.next;
  ++block->line;
}

uint16_t findBegin(Block* block) {
  while (block->pos < block->text.size()) {
    const Line line = lineAt(block->text, block->pos);
    if (boundaryLabel(content(block->text, line), kBeginPrefix, &block->label)) {
      advance(block, line);
      return 0;
    }
    advance(block, line);
  }
  return TRFAIL(29, "Riga -----BEGIN <etichetta>----- non trovata");
}

// A "Proc-Type" header whose value names ENCRYPTED marks a key enciphered
// with the legacy OpenSSL scheme, which is not supported.
uint16_t checkHeader(const Block& block, std::string_view header) {
  const size_t colon = header.find(':');
  std::string_view name = header.substr(0, colon);
  std::string_view value = header.substr(colon + 1);
  while (!value.empty() && isBlank(value.front())) value.remove_prefix(1);
  if (equalsIgnoreCase(name, "Proc-Type") && value.find("ENCRYPTED") != std::string_view::npos) {
    return TRFAIL(34, "Blocco PEM '%.*s' cifrato (Proc-Type: %.*s) non supportato",
                  static_cast<int>(block.label.size()), block.label.data(),
                  static_cast<int>(std::min<size_t>(value.size(), kQuoted)), value.data());
  }
  return 0;
}

// RFC 1421 headers: "Name: value" lines (continued by lines that start with
// a blank) up to an empty line. Base64 never holds ':', so a first line
// without one is already the body.
uint16_t skipHeaders(Block* block) {
  Line line = lineAt(block->text, block->pos);
  if (content(block->text, line).find(':') == std::string_view::npos) return 0;
  while (block->pos < block->text.size()) {
    line = lineAt(block->text, block->pos);
    const std::string_view header = content(block->text, line);
    if (header.empty()) {
      advance(block, line);
      return 0;
    }
    if (header.starts_with(kDashes)) return 0;
    const bool continued = header.front() == ' ' || header.front() == '\t';
    if (!continued && header.find(':') == std::string_view::npos) return 0;
    if (!continued) {
      if (uint16_t code = checkHeader(*block, header); code != 0) return code;
    }
    advance(block, line);
  }
  return 0;
}

// The body runs up to the first line that starts with five dashes, which
// must be the END line of the same label.
uint16_t findEnd(Block* block, size_t* bodyEnd) {
  while (block->pos < block->text.size()) {
    const Line line = lineAt(block->text, block->pos);
    const std::string_view text = content(block->text, line);
    if (text.starts_with(kDashes)) {
      std::string_view endLabel;
      if (!boundaryLabel(text, kEndPrefix, &endLabel)) {
        return TRFAIL(29, "Riga %zu non valida nel blocco PEM '%.*s'", block->line,
                      static_cast<int>(block->label.size()), block->label.data());
      }
      if (endLabel != block->label) {
        return TRFAIL(29, "Riga %zu: etichetta END '%.*s' diversa da BEGIN '%.*s'", block->line,
                      static_cast<int>(endLabel.size()), endLabel.data(),
                      static_cast<int>(block->label.size()), block->label.data());
      }
      *bodyEnd = line.begin;
      advance(block, line);
      return 0;
    }
    advance(block, line);
  }
  return TRFAIL(29, "Riga -----END %.*s----- non trovata", static_cast<int>(block->label.size()),
                block->label.data());
}

uint16_t decodeBody(const Block& block, size_t bodyStart, size_t bodyLine, size_t bodyEnd,
                    SecureBytes* der) {
  const std::string_view body = block.text.substr(bodyStart, bodyEnd - bodyStart);
  SecureBytes decoded(base64DecodedMax(body.size()));
  size_t written = 0;
  Base64Fault fault{};
  if (!base64DecodeTo(body.data(), body.size(), decoded.data(), &written, &fault)) {
    const std::string_view before = body.substr(0, fault.offset);
    const size_t lastFeed = before.rfind('\n');
    const size_t column =
        lastFeed == std::string_view::npos ? fault.offset + 1 : fault.offset - lastFeed;
    const size_t line =
        bodyLine + static_cast<size_t>(std::count(before.begin(), before.end(), '\n'));
    return TRFAIL(22, "Base64 non valido nel blocco PEM '%.*s' alla riga %zu, colonna %zu: %s",
                  static_cast<int>(block.label.size()), block.label.data(), line, column,
                  base64FaultText(fault).c_str());
  }
  if (written == 0) {
    return TRFAIL(29, "Blocco PEM '%.*s' vuoto", static_cast<int>(block.label.size()),
                  block.label.data());
  }
  decoded.resize(written);
  der->swap(decoded);
  return 0;
}

template <class Container>
uint16_t encodeInto(std::string_view label, const uint8_t* der, size_t length, Container* out) {
  if (!validPemLabel(label)) {
    return TRFAIL(2, "Etichetta PEM '%.*s' non valida",
                  static_cast<int>(std::min<size_t>(label.size(), kQuoted)), label.data());
  }
  if (der == nullptr) return TRFAIL(2, "der (2)");
  if (length == 0) return TRFAIL(5, "length (3)");
  if (out == nullptr) return TRFAIL(3, "out (4)");
  const size_t head = kBeginPrefix.size() + label.size() + kDashes.size() + 1;
  const size_t tail = kEndPrefix.size() + label.size() + kDashes.size() + 1;
  const size_t body = base64EncodedLength(length, true);
  Container text;
  text.resize(head + body + tail);
  auto* p = reinterpret_cast<char*>(text.data());
  auto put = [&p](std::string_view piece) {
    memcpy(p, piece.data(), piece.size());
    p += piece.size();
  };
  put(kBeginPrefix);
  put(label);
  put(kDashes);
  put("\n");
  base64EncodeTo(der, length, true, p);
  p += body;
  put(kEndPrefix);
  put(label);
  put(kDashes);
  put("\n");
  out->swap(text);
  return 0;
}

uint16_t tooLarge(const char* path) {
  return TRFAIL(200, "Il file '%s' e' troppo grande (oltre %llu byte)", path,
                static_cast<unsigned long long>(kMaxLoadedFile));
}

// Whole file, in pieces, up to kMaxLoadedFile bytes. The size is checked
// first, and again while reading for files that have no size (pipes) or
// grow meanwhile.
uint16_t readAll(FHandle* file, const char* path, SecureBytes* raw) {
  const int64_t size = f_size(file);
  if (size < 0) return firstOr(TRLASTERR(), 308);
  if (static_cast<uint64_t>(size) > kMaxLoadedFile) return tooLarge(path);
  raw->reserve(static_cast<size_t>(size) + kReadChunk);
  size_t used = 0;
  for (;;) {
    raw->resize(used + kReadChunk);
    const size_t n = f_read(file, raw->data() + used, kReadChunk);
    used += n;
    if (used > kMaxLoadedFile) return tooLarge(path);
    if (n < kReadChunk) break;
  }
  if (f_error(file)) return firstOr(TRLASTERR(), 201);
  raw->resize(used);
  return 0;
}

bool isTextByte(uint8_t b) { return b >= 0x20 ? b != 0x7F : (b >= '\t' && b <= '\r'); }

}  // namespace

// RFC 7468: labelchar *( ["-" / SP] labelchar ), where labelchar is any
// printable character but '-'.
bool validPemLabel(std::string_view label) {
  bool afterSeparator = true;  // nothing before the first character
  for (char c : label) {
    const bool separator = c == '-' || c == ' ';
    if (separator && afterSeparator) return false;
    if (!separator && (c < 0x21 || c > 0x7E)) return false;
    afterSeparator = separator;
  }
  return label.empty() || !afterSeparator;
}

uint16_t pemDecode(std::string_view text, std::string* label, SecureBytes* der, size_t* end) {
  if (label == nullptr) return TRFAIL(3, "label (2)");
  if (der == nullptr) return TRFAIL(3, "der (3)");
  Block block{text, {}};
  if (uint16_t code = findBegin(&block); code != 0) return code;
  if (uint16_t code = skipHeaders(&block); code != 0) return code;
  const size_t bodyStart = block.pos;
  const size_t bodyLine = block.line;
  size_t bodyEnd = 0;
  if (uint16_t code = findEnd(&block, &bodyEnd); code != 0) return code;
  if (uint16_t code = decodeBody(block, bodyStart, bodyLine, bodyEnd, der); code != 0) {
    return code;
  }
  label->assign(block.label);
  if (end != nullptr) *end = block.pos;
  return 0;
}

uint16_t pemEncode(std::string_view label, const uint8_t* der, size_t length, std::string* out) {
  return encodeInto(label, der, length, out);
}

uint16_t pemEncode(std::string_view label, const uint8_t* der, size_t length, SecureBytes* out) {
  return encodeInto(label, der, length, out);
}

PemSniffer::Verdict PemSniffer::feed(const uint8_t* data, size_t length) {
  for (size_t i = 0; i < length && verdict_ == kUndecided; ++i) {
    const uint8_t b = data[i];
    if (!isTextByte(b)) {
      verdict_ = kDer;
    } else if (lineStart_ && b == static_cast<uint8_t>(kBeginPrefix[matched_])) {
      if (++matched_ == kBeginPrefix.size()) verdict_ = kPem;
    } else {
      lineStart_ = b == '\n';
      matched_ = 0;
    }
  }
  return verdict_;
}

bool fileIsPem(const char* path) {
  if (path == nullptr) return false;
  const RecordingOff quiet;
  uint16_t code = 0;
  FilePtr file(f_open(path, kKindBinary | FM_READ, 0, &code));
  PemSniffer sniffer;
  SecureBytes buffer(kReadChunk);
  PemSniffer::Verdict verdict = PemSniffer::kUndecided;
  while (file != nullptr && verdict == PemSniffer::kUndecided) {
    const size_t n = f_read(file.get(), buffer.data(), buffer.size());
    if (n == 0) break;
    verdict = sniffer.feed(buffer.data(), n);
  }
  file.reset();
  return sniffer.finish() == PemSniffer::kPem;
}

uint16_t loadDerOrPem(const char* path, SecureBytes* bytes, std::string* label) {
  if (path == nullptr) return TRFAIL(2, "path (1)");
  if (bytes == nullptr) return TRFAIL(3, "bytes (2)");
  uint16_t code = 0;
  FilePtr file(f_open(path, kKindBinary | FM_READ, 0, &code));
  if (file == nullptr) return firstOr(TRLASTERR(), code);
  SecureBytes raw;
  if (code = readAll(file.get(), path, &raw); code != 0) return code;
  if (code = f_close(file.release()); code != 0) return firstOr(TRLASTERR(), code);
  if (raw.empty()) return TRFAIL(249, "%s", path);
  PemSniffer sniffer;
  sniffer.feed(raw.data(), raw.size());
  if (sniffer.finish() != PemSniffer::kPem) {
    bytes->swap(raw);
    if (label != nullptr) label->clear();
    return 0;
  }
  std::string pemLabel;
  SecureBytes der;
  const std::string_view text(reinterpret_cast<const char*>(raw.data()), raw.size());
  if (code = pemDecode(text, &pemLabel, &der); code != 0) {
    return firstOr(TRERR(301, "File PEM '%s' non valido", path), code);
  }
  bytes->swap(der);
  if (label != nullptr) label->swap(pemLabel);
  return 0;
}

}  // namespace sigillo
