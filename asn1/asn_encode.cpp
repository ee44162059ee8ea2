// DER encoding of a tree into memory or into a file.  Constructed nodes must
// carry the length of their children (ASNresize restores it after changes).
#include <openssl/crypto.h>

#include <algorithm>
#include <cstring>
#include <vector>

#include "asn1/asn.h"
#include "asn1/asn_internal.h"
#include "framework/kvtmem.h"
#include "framework/trace.h"

namespace sigillo {

namespace {

constexpr const char* kModule = "asn";
constexpr uint32_t kFileBlock = 65536;

// Where the encoder puts its octets: a bounded memory area or a file.
class DerSink {
 public:
  DerSink(uint8_t* begin, uint8_t* end) : pos_(begin), end_(end) {}
  explicit DerSink(FHandle* file) : file_(file) {}

  bool put(const uint8_t* data, size_t length) {
    if (length == 0) return true;
    if (file_ != nullptr) return f_write(file_, data, length) == 0;
    if (static_cast<size_t>(end_ - pos_) < length) {
      TRERR(302, "Codifica DER oltre la dimensione prevista");
      return false;
    }
    memcpy(pos_, data, length);
    pos_ += length;
    return true;
  }
  uint8_t* position() const { return pos_; }

 private:
  uint8_t* pos_ = nullptr;
  uint8_t* end_ = nullptr;
  FHandle* file_ = nullptr;
};

bool encodeNode(DerSink& sink, const aobj* node);

bool encodeIndirect(DerSink& sink, const aobj* node) {
  track* cursor = new_track(node, 0);
  if (cursor == nullptr) return false;
  std::vector<uint8_t> block(std::min(node->length, kFileBlock));
  bool ok = true;
  while (ok && trk_eof(cursor) == 0) {
    const uint32_t got = retrieve(cursor, block.data(), static_cast<uint32_t>(block.size()));
    ok = !trk_failed(cursor) && got > 0 && sink.put(block.data(), got);
  }
  free_track(cursor);
  return ok;
}

bool encodeContent(DerSink& sink, const aobj* node) {
  switch (node->kind) {
    case CLASVAL:
    case CLASSTR:
    case CLASOID:
    case CLASDATE:
    case CLASBOOL:
      return sink.put(node->value, node->length);
    case CLASBSTR:
      return node->length == 0 ||
             (sink.put(&node->u.bits.unused, 1) && sink.put(node->value, node->length - 1));
    case CLASSEQ:
      for (uint32_t i = 0; i < node->u.seq.count; ++i) {
        if (!encodeNode(sink, node->u.seq.children[i])) {
          TRLASTERR_AS("der_make");
          return false;
        }
      }
      return true;
    case CLASINDIR:
      return encodeIndirect(sink, node);
    default:
      return true;
  }
}

bool encodeNode(DerSink& sink, const aobj* node) {
  if (node == nullptr) {
    TRERR(304, "Dato ASN.1 non valido");
    return false;
  }
  if (!consistentLength(node)) return false;
  uint8_t header[kMaxHeaderSize];
  const uint32_t headerLength = encodeHeader(header, node->tag, node->length);
  return sink.put(header, headerLength) && encodeContent(sink, node);
}

// A constructed node whose children are all primitive OCTET STRING segments.
bool segmentsOnly(const aobj* node, uint64_t* size) {
  if (node == nullptr || node->kind != CLASSEQ || node->u.seq.count == 0) return false;
  for (uint32_t i = 0; i < node->u.seq.count; ++i) {
    const aobj* segment = node->u.seq.children[i];
    if ((segment->tag & 0x3F) != kTagOctetString || segment->kind == CLASSEQ) return false;
    *size += segment->length;
  }
  return true;
}

uint8_t* makeInto(uint8_t* buffer, const aobj* node) {
  DerSink sink(buffer, buffer + DERlen(node));
  return encodeNode(sink, node) ? sink.position() : nullptr;
}

}  // namespace

uint32_t DERlen(const aobj* node) {
  if (node == nullptr) return 0;
  uint8_t header[kMaxHeaderSize];
  return encodeHeader(header, node->tag, node->length) + node->length;
}

uint8_t* der_make(uint8_t* buffer, const aobj* node) {
  if (buffer == nullptr) {
    TRERR(304, "Buffer di destinazione nullo");
    return nullptr;
  }
  return makeInto(buffer, node);
}

uint8_t* DERmake(const aobj* node, uint32_t* size) {
  if (node == nullptr) {
    TRERR(304, "Dato ASN.1 non valido");
    return nullptr;
  }
  const uint32_t length = DERlen(node);
  auto* buffer = static_cast<uint8_t*>(TRMALLOC(length));
  if (buffer == nullptr) return nullptr;
  if (makeInto(buffer, node) == nullptr) {
    TRLASTERR();
    OPENSSL_cleanse(buffer, length);
    TRFREE(buffer);
    return nullptr;
  }
  if (size != nullptr) *size = length;
  return buffer;
}

uint32_t DERwrite(const aobj* node, uint8_t* buffer) {
  if (buffer == nullptr) {
    TRERR(304, "Buffer di destinazione nullo");
    return 0;
  }
  if (node == nullptr) {
    TRERR(304, "Dato ASN.1 non valido");
    return 0;
  }
  uint8_t* end = makeInto(buffer, node);
  if (end == nullptr) {
    TRLASTERR();
    return 0;
  }
  return static_cast<uint32_t>(end - buffer);
}

aobj* aobj2derOCT(const aobj* node) {
  uint32_t size = 0;
  uint8_t* encoding = DERmake(node, &size);
  if (encoding == nullptr) {
    TRLASTERR();
    return nullptr;
  }
  aobj* octets = ASNxSTR(kTagOctetString, encoding, size);
  OPENSSL_cleanse(encoding, size);
  TRFREE(encoding);
  return octets;
}

uint16_t der_fmake(FHandle* file, const aobj* node) {
  if (file == nullptr) return firstOr(TRERR(304, "Oggetto nullo (%s)", "file"), 304);
  DerSink sink(file);
  if (!encodeNode(sink, node)) return firstOr(TRLASTERR(), 301);
  return 0;
}

int DERfMake(aobj* node, FHandle* file, uint32_t* size) {
  if (node == nullptr || file == nullptr) return 1;
  ASNresize(node);
  if (size != nullptr) *size = DERlen(node);
  return der_fmake(file, node) == 0 ? 1 : 0;
}

uint16_t der_fsave(const char* path, uint32_t flags, const aobj* node) {
  if (node == nullptr) return firstOr(TRERR(304, "Dato ASN.1 non valido"), 304);
  uint16_t rc = 0;
  FilePtr file(f_open(path, flags | FM_WRITE, 0, &rc));
  if (!file) return firstOr(TRLASTERR(), 203);
  if (der_fmake(file.get(), node) != 0) return firstOr(TRLASTERR(), 301);
  if (f_close(file.release()) != 0) return firstOr(TRLASTERR(), 205);
  return 0;
}

uint16_t DERfSave(const char* path, const aobj* node) { return der_fsave(path, kKindBinary, node); }

uint16_t DERfSaveData(const char* path, const aobj* node) {
  if (node == nullptr) return firstOr(TRERR(304, "Dato ASN.1 non valido"), 304);
  uint16_t rc = 0;
  FilePtr file(f_open(path, kKindBinary | FM_WRITE, 0, &rc));
  if (!file) return firstOr(TRLASTERR(), 203);
  track* cursor = new_track(node, 0);
  if (cursor == nullptr) return firstOr(TRLASTERR(), 301);
  std::vector<uint8_t> block(kFileBlock);
  bool ok = true;
  while (ok && trk_eof(cursor) == 0) {
    const uint32_t got = retrieve(cursor, block.data(), kFileBlock);
    ok = !trk_failed(cursor) && got > 0 && f_write(file.get(), block.data(), got) == 0;
  }
  free_track(cursor);
  if (!ok) return firstOr(TRLASTERR(), 301);
  if (f_close(file.release()) != 0) return firstOr(TRLASTERR(), 205);
  return 0;
}

uint32_t sizeBERIndefiniteBlock(const aobj* node) {
  uint64_t size = 0;
  return segmentsOnly(node, &size) && size <= UINT32_MAX ? static_cast<uint32_t>(size) : 0;
}

uint16_t reduceBERIndefiniteBlock(aobj** slot) {
  if (slot == nullptr || *slot == nullptr) return firstOr(TRERR(304, "Oggetto ASN.1 nullo"), 304);
  aobj* block = *slot;
  uint64_t total = 0;
  if (!segmentsOnly(block, &total) || total > UINT32_MAX - 1) {
    return firstOr(TRERR(302, "Nodo '%s' non composto da soli segmenti OCTET STRING", block->name),
                   302);
  }
  const auto size = static_cast<uint32_t>(total);
  aobj* joined = ASNxSTR(kTagOctetString, nullptr, size);
  if (joined == nullptr) return firstOr(TRLASTERR(), 10);
  uint32_t at = 0;
  for (uint32_t i = 0; i < block->u.seq.count; ++i) {
    track* cursor = new_track(block->u.seq.children[i], 0);
    const uint32_t want = block->u.seq.children[i]->length;
    const uint32_t got = cursor != nullptr ? retrieve(cursor, joined->value + at, want) : 0;
    const bool failed = cursor == nullptr || trk_failed(cursor) || got != want;
    free_track(cursor);
    if (failed) {
      ASNdel(joined);
      return firstOr(TRLASTERR(), 301);
    }
    at += got;
  }
  memcpy(joined->name, block->name, sizeof joined->name);
  *slot = joined;
  ASNdel(block);
  return 0;
}

}  // namespace sigillo
