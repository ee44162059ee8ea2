// Node-by-node comparison of two ASN.1 trees and its report (see asncmp.h).
#include "asn1/asncmp.h"

#include <cstdarg>
#include <cstring>
#include <memory>

#include "framework/strformat.h"
#include "framework/trace.h"

namespace sigillo {
namespace {

constexpr const char* kModule = "asn";
constexpr uint32_t kStreamBlock = 4096;

struct TrackFree {
  void operator()(track* cursor) const { free_track(cursor); }
};
using TrackPtr = std::unique_ptr<track, TrackFree>;

std::string nameOf(const aobj* node) {
  return std::string(node->name, strnlen(node->name, kAobjNameSize - 1));
}

int differ(ANSCMPCTX* ctx, int level, std::string what) {
  ctx->level = level;
  ctx->difference = std::move(what);
  return 1;
}

// Where two runs of content octets differ: the first offset and the count.
struct Mismatch {
  int64_t first = -1;
  int64_t count = 0;
  void add(int64_t offset, const uint8_t* a, const uint8_t* b, size_t length) {
    for (size_t i = 0; i < length; ++i) {
      if (a[i] == b[i]) continue;
      if (first < 0) first = offset + static_cast<int64_t>(i);
      ++count;
    }
  }
};

// The content octets held in memory, and how many of them there are.
const uint8_t* contentOf(const aobj* node, uint32_t* length) {
  switch (node->kind) {
    case CLASOID:
      *length = node->length < kOidMaxInline ? node->length : kOidMaxInline;
      return node->u.oid.content;
    case CLASDATE:
      *length = node->length < kDateMaxText ? node->length : kDateMaxText;
      return reinterpret_cast<const uint8_t*>(node->u.date.text);
    case CLASBOOL:
      *length = node->length < 1 ? node->length : 1;
      return &node->u.boolean.octet;
    default:
      *length = node->value != nullptr ? node->length : 0;
      return node->value;
  }
}

// Both indirect values read side by side; what one cannot supply differs.
Mismatch streamMismatch(const aobj* a, const aobj* b) {
  Mismatch result;
  TrackPtr left(new_track(a, 0));
  TrackPtr right(new_track(b, 0));
  uint8_t bufferA[kStreamBlock];
  uint8_t bufferB[kStreamBlock];
  int64_t offset = 0;
  const int64_t total = a->length;
  while (offset < total) {
    const uint32_t l = left != nullptr ? retrieve(left.get(), bufferA, kStreamBlock) : 0;
    const uint32_t r = right != nullptr ? retrieve(right.get(), bufferB, kStreamBlock) : 0;
    const uint32_t both = l < r ? l : r;
    result.add(offset, bufferA, bufferB, both);
    if (l != r || both == 0) {
      if (result.first < 0) result.first = offset + both;
      result.count += total - offset - both;
      break;
    }
    offset += both;
  }
  return result;
}

int compareContent(ANSCMPCTX* ctx, const aobj* a, const aobj* b, int level) {
  switch (a->kind) {
    case CLASSEQ: {
      const uint32_t count = a->u.seq.count > b->u.seq.count ? a->u.seq.count : b->u.seq.count;
      for (uint32_t i = 0; i < count; ++i) {
        if (ANSCMPCTX_compare_aux(ctx, ASNgetChild(a, i), ASNgetChild(b, i), level + 1,
                                  static_cast<int>(i)) != 0) {
          return 1;
        }
      }
      return 0;
    }
    case CLASBSTR: {
      const uint32_t data = a->length > 0 ? a->length - 1 : 0;
      if (a->u.bits.unused != b->u.bits.unused ||
          (data > 0 && memcmp(a->value, b->value, data) != 0)) {
        return differ(ctx, level, "Bit String value differnt");
      }
      return 0;
    }
    case CLASINDIR: {
      const Mismatch mismatch = streamMismatch(a, b);
      if (mismatch.count == 0) return 0;
      return differ(ctx, level,
                    strformat("Binary data is different: %d %d", static_cast<int>(mismatch.first),
                              static_cast<int>(mismatch.count)));
    }
    case CLASVAL:
    case CLASSTR:
    case CLASOID:
    case CLASDATE:
    case CLASBOOL: {
      uint32_t lengthA = 0;
      uint32_t lengthB = 0;
      const uint8_t* bytesA = contentOf(a, &lengthA);
      const uint8_t* bytesB = contentOf(b, &lengthB);
      Mismatch mismatch;
      mismatch.add(0, bytesA, bytesB, lengthA < lengthB ? lengthA : lengthB);
      if (mismatch.count == 0) return 0;
      return differ(ctx, level,
                    strformat("Binary data is different: %d %d", static_cast<int>(mismatch.first),
                              static_cast<int>(mismatch.count)));
    }
    default:
      return 0;
  }
}

int compareHeader(ANSCMPCTX* ctx, const aobj* a, const aobj* b, int level) {
  if (strncmp(a->name, b->name, kAobjNameSize) != 0) {
    return differ(ctx, level, strformat("name: %s != %s", nameOf(a).c_str(), nameOf(b).c_str()));
  }
  if (a->used != b->used) return differ(ctx, level, strformat("used: %d != %d", a->used, b->used));
  if (a->tag != b->tag) return differ(ctx, level, strformat("tag:  %d != %d", a->tag, b->tag));
  if (a->kind != b->kind) {
    return differ(
        ctx, level,
        strformat("type: %d != %d", static_cast<int>(a->kind), static_cast<int>(b->kind)));
  }
  if (a->length != b->length) {
    return differ(ctx, level, strformat("size: %u != %u", a->length, b->length));
  }
  return 0;
}

void sideText(const aobj* node, std::string* tag, std::string* kind, std::string* name) {
  if (node == nullptr) {
    *tag = "--";
    *kind = "(nil)";
    name->clear();
    return;
  }
  *tag = strformat("%02x", node->tag);
  const char* kindName = aobjKindName(node->kind);
  *kind = kindName != nullptr ? kindName : "UNKWNOWN";
  *name = nameOf(node);
}

}  // namespace

int ANSCMPCTX_compare_aux(ANSCMPCTX* ctx, const aobj* a, const aobj* b, int level, int index) {
  if (ctx == nullptr) {
    ANSCMPCTX local;
    return ANSCMPCTX_compare_aux(&local, a, b, level, index);
  }
  ctx->stack.push_back(ANSCMPCTX::Frame{level, index, a, b});
  int result = 0;
  if (a == nullptr && b != nullptr) {
    result = differ(ctx, level, "A IS NULL PTR");
  } else if (a != nullptr && b == nullptr) {
    result = differ(ctx, level, "B IS NULL PTR");
  } else if (a != nullptr) {
    result = compareHeader(ctx, a, b, level);
    if (result == 0) result = compareContent(ctx, a, b, level);
  }
  if (result == 0) ctx->stack.pop_back();
  return result;
}

int aobj_compare(const aobj* a, const aobj* b, ANSCMPCTX* ctx) {
  ANSCMPCTX local;
  ANSCMPCTX* into = ctx != nullptr ? ctx : &local;
  *into = ANSCMPCTX{};
  return ANSCMPCTX_compare_aux(into, a, b, 0, 0);
}

std::string ANSCMPCTX_msg(const ANSCMPCTX* ctx) {
  if (ctx == nullptr) return std::string();
  std::string text = "ASN CMP CTX: \n";
  text += strformat("Level:      %d\n", ctx->level);
  text += strformat("Difference: %s\n", ctx->difference.c_str());
  text += "Stack: \n";
  for (const ANSCMPCTX::Frame& frame : ctx->stack) {
    std::string tagA, kindA, nameA, tagB, kindB, nameB;
    sideText(frame.a, &tagA, &kindA, &nameA);
    sideText(frame.b, &tagB, &kindB, &nameB);
    text += strformat(" - [%d,%d]:%s %s=%s / %s=%s\n", frame.level, frame.index,
                      (tagA + "/" + tagB).c_str(), kindA.c_str(), nameA.c_str(), kindB.c_str(),
                      nameB.c_str());
  }
  return text;
}

uint16_t ANSCMPCTX_printmsg(const ANSCMPCTX* ctx, FILE* stream) {
  if (ctx == nullptr) return TRFAIL(304, "Oggetto nullo (%s)", "ctx");
  if (stream == nullptr) return TRFAIL(304, "Oggetto nullo (%s)", "stream");
  const std::string text = ANSCMPCTX_msg(ctx);
  if (fwrite(text.data(), 1, text.size(), stream) != text.size()) {
    return TRFAIL(204, "Scrittura del confronto ASN.1 fallita");
  }
  return 0;
}

}  // namespace sigillo
