// The read cursor: streams the content of a node, or with `wrap` its whole
// encoding, without building the encoding in memory.  Constructed nodes
// stream their children through child cursors made on demand; indirect nodes
// read their file.
#include <algorithm>
#include <cstring>

#include "asn1/asn.h"
#include "asn1/asn_internal.h"
#include "framework/guards.h"
#include "framework/kvtmem.h"
#include "framework/trace.h"

namespace sigillo {

struct track {
  const aobj* node;
  uint8_t header[kMaxHeaderSize];
  uint32_t headerLength;
  uint32_t headerDone;
  FHandle* file;
  uint32_t childIndex;
  track* child;
  uint64_t total;
  uint64_t remaining;
  uint64_t position;  // content octets already streamed
  bool failed;
};

namespace {

constexpr const char* kModule = "asn";

void closeFile(track* cursor) {
  if (cursor->file == nullptr) return;
  const uint16_t rc = quietly([&] { return f_close(cursor->file); });
  if (rc != 0) TRWARN("Fallita chiusura file");
  cursor->file = nullptr;
}

uint32_t childrenSize(const aobj* node) {
  uint64_t sum = 0;
  for (uint32_t i = 0; i < node->u.seq.count; ++i) sum += DERlen(node->u.seq.children[i]);
  return sum > UINT32_MAX ? UINT32_MAX : static_cast<uint32_t>(sum);
}

uint32_t copyPrimitive(track* cursor, uint8_t* buffer, uint32_t n) {
  const aobj* node = cursor->node;
  uint32_t done = 0;
  if (node->kind == CLASBSTR && cursor->position == 0 && n > 0) {
    buffer[done++] = node->u.bits.unused;
    ++cursor->position;
  }
  const uint64_t skip = node->kind == CLASBSTR ? 1 : 0;
  const uint64_t left = node->length - cursor->position;
  const uint32_t take = static_cast<uint32_t>(std::min<uint64_t>(left, n - done));
  if (take > 0) memcpy(buffer + done, node->value + (cursor->position - skip), take);
  cursor->position += take;
  return done + take;
}

uint32_t readIndirect(track* cursor, uint8_t* buffer, uint32_t n) {
  const AobjIndirect* source = cursor->node->u.indirect;
  if (cursor->file == nullptr) {
    uint16_t rc = 0;
    cursor->file = f_open(source->file, source->openFlags | FM_READ, 0, &rc);
    if (cursor->file == nullptr ||
        f_seek(cursor->file, static_cast<int64_t>(source->offset) + cursor->position, SEEK_SET) !=
            0) {
      TRLASTERR_AS("retrieve");
      closeFile(cursor);
      cursor->failed = true;
      return 0;
    }
  }
  const uint32_t take =
      static_cast<uint32_t>(std::min<uint64_t>(cursor->node->length - cursor->position, n));
  const size_t got = f_read(cursor->file, buffer, take);
  cursor->position += got;
  if (got < take) {
    TRERR_AS("retrieve", 201, "Impossibile leggere %u byte dal file '%s'", take, source->file);
    closeFile(cursor);
    cursor->failed = true;
  }
  return static_cast<uint32_t>(got);
}

uint32_t readChildren(track* cursor, uint8_t* buffer, uint32_t n) {
  const aobj* node = cursor->node;
  uint32_t done = 0;
  while (done < n && cursor->childIndex < node->u.seq.count) {
    if (cursor->child == nullptr) {
      cursor->child = new_track(node->u.seq.children[cursor->childIndex], 1);
      if (cursor->child == nullptr) {
        cursor->failed = true;
        return done;
      }
    }
    uint32_t got = retrieve(cursor->child, buffer + done, n - done);
    done += got;
    cursor->position += got;
    if (cursor->child->failed) {
      cursor->failed = true;
      return done;
    }
    if (trk_eof(cursor->child) != 0) {
      free_track(cursor->child);
      cursor->child = nullptr;
      ++cursor->childIndex;
    }
  }
  return done;
}

}  // namespace

uint32_t encodeHeader(uint8_t* out, uint8_t tag, uint32_t length) {
  out[0] = tag;
  if (length < 0x80) {
    out[1] = static_cast<uint8_t>(length);
    return 2;
  }
  uint32_t octets = 1;
  while (octets < 4 && (length >> (8 * octets)) != 0) ++octets;
  out[1] = static_cast<uint8_t>(0x80 | octets);
  for (uint32_t i = 0; i < octets; ++i) {
    out[2 + i] = static_cast<uint8_t>(length >> (8 * (octets - 1 - i)));
  }
  return 2 + octets;
}

bool consistentLength(const aobj* node) {
  if (node->kind != CLASSEQ) return true;
  const uint32_t sum = childrenSize(node);
  if (sum == node->length) return true;
  TRERR(302, "Lunghezza del nodo '%s' (%u) diversa da quella dei figli (%u)", node->name,
        node->length, sum);
  return false;
}

track* new_track(const aobj* node, int wrap) {
  if (node == nullptr) {
    TRERR(304, "Oggetto ASN.1 nullo");
    return nullptr;
  }
  if (!consistentLength(node)) return nullptr;
  auto* cursor = static_cast<track*>(TRCALLOC(1, sizeof(track)));
  if (cursor == nullptr) return nullptr;
  cursor->node = node;
  if (wrap != 0) cursor->headerLength = encodeHeader(cursor->header, node->tag, node->length);
  const bool hasContent = node->kind >= CLASVAL && node->kind <= CLASINDIR;
  cursor->total = cursor->headerLength + (hasContent ? node->length : 0);
  cursor->remaining = cursor->total;
  return cursor;
}

uint32_t retrieve(track* cursor, uint8_t* buffer, uint32_t n) {
  if (cursor == nullptr || buffer == nullptr || cursor->failed) return 0;
  uint32_t done = 0;
  if (cursor->headerDone < cursor->headerLength) {
    done = std::min(n, cursor->headerLength - cursor->headerDone);
    memcpy(buffer, cursor->header + cursor->headerDone, done);
    cursor->headerDone += done;
  }
  if (done < n && cursor->remaining > done) {
    switch (cursor->node->kind) {
      case CLASSEQ:
        done += readChildren(cursor, buffer + done, n - done);
        break;
      case CLASINDIR:
        done += readIndirect(cursor, buffer + done, n - done);
        break;
      case CLASNULL:
        break;
      default:
        done += copyPrimitive(cursor, buffer + done, n - done);
        break;
    }
  }
  cursor->remaining -= done;
  if (cursor->remaining == 0) closeFile(cursor);
  return done;
}

int trk_eof(const track* cursor) { return cursor == nullptr || cursor->remaining == 0 ? 1 : 0; }

bool trk_failed(const track* cursor) { return cursor == nullptr || cursor->failed; }

void free_track(track* cursor) {
  if (cursor == nullptr) return;
  free_track(cursor->child);
  closeFile(cursor);
  TRFREE(cursor);
}

namespace {

// The octets two cursors give, compared as memcmp compares (a run that is a
// prefix of the other is the smaller); `*failed` when a cursor cannot be
// made or read, the error then being on the stack.  Cursors fill whole
// blocks until their end, so blocks of different sizes mean different ends.
int compareOctets(const aobj* a, const aobj* b, int wrap, bool* failed) {
  constexpr uint32_t kBlock = 4096;
  uint8_t buffer[2 * kBlock];
  track* left = new_track(a, wrap);
  track* right = new_track(b, wrap);
  *failed = left == nullptr || right == nullptr;
  int order = 0;
  while (!*failed && order == 0 && (trk_eof(left) == 0 || trk_eof(right) == 0)) {
    const uint32_t l = retrieve(left, buffer, kBlock);
    const uint32_t r = retrieve(right, buffer + kBlock, kBlock);
    if (trk_failed(left) || trk_failed(right) || (l == 0 && r == 0)) {
      *failed = true;
      break;
    }
    order = memcmp(buffer, buffer + kBlock, std::min(l, r));
    if (order == 0 && l != r) order = l < r ? -1 : 1;
  }
  free_track(left);
  free_track(right);
  return order;
}

}  // namespace

int ASNisEqual(const aobj* a, const aobj* b) {
  if (a == nullptr || b == nullptr) return a == b ? 1 : 0;
  bool failed = false;
  return compareOctets(a, b, 1, &failed) == 0 && !failed ? 1 : 0;
}

int ASNoctcmp(const aobj* a, const aobj* b) {
  if (a == nullptr || b == nullptr) return (a != nullptr ? 1 : 0) - (b != nullptr ? 1 : 0);
  bool failed = false;
  const int order = compareOctets(a, b, 0, &failed);
  return order < 0 ? -1 : (order > 0 ? 1 : 0);
}

}  // namespace sigillo
