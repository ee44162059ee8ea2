// Node lifecycle and the primitive constructors of the ASN.1 tree.
#include "asn1/asn.h"

#include <openssl/crypto.h>
#include <unistd.h>

#include <cstring>

#include "asn1/oid.h"
#include "framework/guards.h"
#include "framework/kvtmem.h"
#include "framework/trace.h"

namespace sigillo {

namespace {

constexpr const char* kModule = "asn";
constexpr uint32_t kTooLarge = 0xFFFFFFFF;
constexpr size_t kOidTextSize = 100;

aobj* newNode(uint32_t kind, uint8_t tag) {
  auto* node = static_cast<aobj*>(TRCALLOC(1, sizeof(aobj)));
  if (node == nullptr) return nullptr;
  node->kind = kind;
  node->tag = tag;
  return node;
}

// A zeroed buffer of length + 1 bytes holding `bytes` when given.
uint8_t* newValue(const uint8_t* bytes, uint32_t length) {
  auto* buffer = static_cast<uint8_t*>(TRCALLOC(static_cast<size_t>(length) + 1, 1));
  if (buffer != nullptr && bytes != nullptr && length > 0) memcpy(buffer, bytes, length);
  return buffer;
}

// Two's complement value of one to four octets.
int32_t cachedInteger(const uint8_t* bytes, uint32_t length) {
  if (bytes == nullptr || length == 0 || length > 4) return 0;
  uint32_t value = (bytes[0] & 0x80) != 0 ? 0xFFFFFFFFu : 0;
  for (uint32_t i = 0; i < length; ++i) value = value << 8 | bytes[i];
  return static_cast<int32_t>(value);
}

aobj* newInteger(uint8_t tag, const uint8_t* bytes, uint32_t length) {
  if (length == kTooLarge) {
    TRERR(5, "Valore troppo grande (%u byte)", length);
    return nullptr;
  }
  aobj* node = newNode(CLASVAL, tag);
  if (node == nullptr) return nullptr;
  node->value = newValue(bytes, length);
  if (node->value == nullptr) {
    TRFREE(node);
    return nullptr;
  }
  node->length = length;
  node->u.integer.cached = cachedInteger(bytes, length);
  return node;
}

// Dotted text of an OID for a message, or its octets in hexadecimal when the
// encoding itself is broken; records nothing.
void oidText(char* text, size_t size, const uint8_t* content, uint32_t length) {
  const int n = quietly([&] { return OIDber2str(text, size, content, length); });
  if (n > 0) return;
  size_t used = 0;
  text[0] = '\0';
  for (uint32_t i = 0; i < length && used + 3 < size; ++i) {
    used += static_cast<size_t>(snprintf(text + used, size - used, "%02X", content[i]));
  }
}

void freeContent(aobj* node) {
  switch (node->kind) {
    case CLASVAL:
    case CLASSTR:
      wipeAndFree(node->value, node->length);
      break;
    case CLASBSTR:
      wipeAndFree(node->value, node->length > 0 ? node->length - 1 : 0);
      break;
    case CLASSEQ:
      for (uint32_t i = 0; i < node->u.seq.count; ++i) ASNdel(node->u.seq.children[i]);
      TRFREE(node->u.seq.children);
      break;
    case CLASINDIR:
      if (node->u.indirect != nullptr && node->u.indirect->deleteWithNode != 0 &&
          unlink(node->u.indirect->file) != 0) {
        TRWARN("Fallita unlink dal nodo ASN.1");
      }
      TRFREE(node->u.indirect);
      break;
    default:
      break;
  }
}

}  // namespace

const char* aobjKindName(uint32_t kind) {
  static const char* const kNames[] = {"CLASVAL", "CLASSTR",  "CLASOID",  "CLASDATE", "CLASBSTR",
                                       "CLASSEQ", "CLASNULL", "CLASBOOL", "CLASINDIR"};
  return kind >= CLASVAL && kind <= CLASINDIR ? kNames[kind - 1] : nullptr;
}

void AobjDeleter::operator()(aobj* node) const { ASNdel(node); }

aobj* ASNxSTR(uint8_t tag, const uint8_t* bytes, uint32_t length) {
  if (length == kTooLarge) {
    TRERR(5, "Valore troppo grande (%u byte)", length);
    return nullptr;
  }
  aobj* node = newNode(CLASSTR, tag);
  if (node == nullptr) return nullptr;
  node->value = newValue(bytes, length);
  if (node->value == nullptr) {
    TRFREE(node);
    return nullptr;
  }
  node->u.str.text = node->value;
  node->length = length;
  return node;
}

aobj* ASNxBIT(uint8_t tag, const uint8_t* bytes, uint32_t length, uint8_t unused) {
  if (length >= kTooLarge - 1) {
    TRERR(5, "Valore troppo grande (%u byte)", length);
    return nullptr;
  }
  aobj* node = newNode(CLASBSTR, tag);
  if (node == nullptr) return nullptr;
  node->value = newValue(bytes, length);
  if (node->value == nullptr) {
    TRFREE(node);
    return nullptr;
  }
  node->length = length + 1;
  node->u.bits.unused = unused;
  return node;
}

aobj* ASNxBOOL(int value) {
  uint8_t octet = value != 0 ? 0xFF : 0x00;
  return ASNxVAL(CLASBOOL, kTagBoolean, &octet, 1);
}

aobj* ASNNULL() { return newNode(CLASNULL, kTagNull); }

aobj* ASNuINT(uint8_t tag, const uint8_t* bytes, uint32_t length) {
  if (length == kTooLarge) {
    TRERR(5, "Valore troppo grande (%u byte)", length);
    return nullptr;
  }
  const bool pad = bytes != nullptr && length > 0 && (bytes[0] & 0x80) != 0;
  aobj* node = newInteger(tag, nullptr, length + (pad ? 1 : 0));
  if (node == nullptr) return nullptr;
  if (bytes != nullptr && length > 0) memcpy(node->value + (pad ? 1 : 0), bytes, length);
  // The cached value follows the given octets, as the dump shows it.
  node->u.integer.cached = cachedInteger(bytes, length);
  return node;
}

aobj* ASNxOID(uint8_t tag, const uint8_t* content, uint32_t length) {
  if (length > kOidMaxInline) {
    TRERR(5, "Codifica OID troppo corta (%u < %d)", length, static_cast<int>(kOidMaxInline + 1));
    return nullptr;
  }
  aobj* node = newNode(CLASOID, tag);
  if (node == nullptr) return nullptr;
  if (content != nullptr && length > 0) memcpy(node->u.oid.content, content, length);
  node->value = node->u.oid.content;
  node->length = length;
  node->u.oid.number = OIDber2const(node->u.oid.content, length);
  if (node->u.oid.number < 0) {
    char text[kOidTextSize];
    oidText(text, sizeof text, node->u.oid.content, length);
    TRWARN("OID '%s' non risconosciuto", text);
  }
  return node;
}

aobj* oid2obj(int number) {
  if (isValidOID(number) == 0) {
    TRERR(307, "OID interno %d non valido", number);
    return nullptr;
  }
  return ASNxOID(kTagOid, OIDtable[number].content, OIDtable[number].length);
}

uint8_t date_tag(const char* text, uint32_t length) {
  if (text == nullptr) return 0;
  uint32_t mark = 0;
  while (mark < length && text[mark] != 'Z' && text[mark] != '+' && text[mark] != '-') ++mark;
  if (mark == length) return 0;
  const uint32_t tail = length - mark - 1;
  if (text[mark] == 'Z' ? tail != 0 : tail != 4) return 0;
  if (mark == 14) return kTagGeneralizedTime;
  if (mark == 12) return kTagUtcTime;
  return 0;
}

aobj* ASNxDATE(uint8_t tag, const char* text, uint32_t length) {
  if (length > kDateMaxText) {
    TRERR(5, "Valore troppo corto (%u < %d)", length, static_cast<int>(kDateMaxText + 1));
    return nullptr;
  }
  if (tag == 0) {
    tag = date_tag(text, length);
    if (tag == 0) {
      TRLASTERR();
      return nullptr;
    }
  }
  aobj* node = newNode(CLASDATE, tag);
  if (node == nullptr) return nullptr;
  if (text != nullptr && length > 0) memcpy(node->u.date.text, text, length);
  node->value = reinterpret_cast<uint8_t*>(node->u.date.text);
  node->length = length;
  return node;
}

aobj* ASNxIND(uint8_t tag, const char* fileName, FHandle* file, uint32_t offset, uint32_t length,
              int deleteWithNode) {
  if (fileName == nullptr) {
    TRERR(304, "Oggetto nullo (%s)", "file");
    return nullptr;
  }
  const size_t nameLength = strlen(fileName);
  if (nameLength >= kIndirNameSize) {
    TRERR(5, "Valore troppo grande (%u byte)", static_cast<uint32_t>(nameLength));
    return nullptr;
  }
  if (file != nullptr) {
    int64_t position = f_tell(file);
    if (position < 0 || position > UINT32_MAX) {
      TRLASTERR();
      return nullptr;
    }
    offset = static_cast<uint32_t>(position);
  }
  aobj* node = newNode(CLASINDIR, tag);
  if (node == nullptr) return nullptr;
  node->u.indirect = static_cast<AobjIndirect*>(TRCALLOC(1, sizeof(AobjIndirect)));
  if (node->u.indirect == nullptr) {
    TRFREE(node);
    return nullptr;
  }
  memcpy(node->u.indirect->file, fileName, nameLength + 1);
  node->u.indirect->offset = offset;
  node->u.indirect->openFlags = kKindBinary;
  node->u.indirect->deleteWithNode = deleteWithNode != 0 ? 1 : 0;
  node->length = length;
  return node;
}

aobj* ASNxVAL(uint32_t kind, uint8_t tag, const uint8_t* bytes, uint32_t length) {
  switch (kind) {
    case CLASVAL:
      return newInteger(tag, bytes, length);
    case CLASSTR:
      return ASNxSTR(tag, bytes, length);
    case CLASOID:
      return ASNxOID(tag, bytes, length);
    case CLASDATE:
      return ASNxDATE(tag, reinterpret_cast<const char*>(bytes), length);
    case CLASBSTR:
      if (length == 0 || bytes == nullptr) {
        TRERR(29, "Lunghezza valore nodo BIT STRING zero");
        return nullptr;
      }
      return ASNxBIT(tag, bytes + 1, length - 1, bytes[0]);
    case CLASNULL: {
      aobj* node = newNode(CLASNULL, tag);
      return node;
    }
    case CLASBOOL: {
      if (length != 1 || bytes == nullptr) {
        TRERR(29, "Valore troppo corto (%u < %d)", length, 1);
        return nullptr;
      }
      aobj* node = newNode(CLASBOOL, tag);
      if (node == nullptr) return nullptr;
      node->u.boolean.octet = bytes[0];
      node->value = &node->u.boolean.octet;
      node->length = 1;
      return node;
    }
    default:
      TRERR(29, "Tipo di nodo sconosciuto (%d)", static_cast<int>(kind));
      return nullptr;
  }
}

int ASNdel(aobj* node) {
  if (node == nullptr) return 0;
  if (node->used != 0) {
    --node->used;
    return 0;
  }
  freeContent(node);
  TRFREE(node);
  return 1;
}

void ASNsetname(aobj* node, const char* text) {
  if (node == nullptr) return;
  memset(node->name, 0, sizeof node->name);
  if (text != nullptr) strncpy(node->name, text, sizeof node->name - 1);
}

void ASNvsetname(aobj* node, const char* format, ...) {
  if (node == nullptr || format == nullptr) return;
  va_list args;
  va_start(args, format);
  vsnprintf(node->name, sizeof node->name, format, args);
  va_end(args);
}

void ASNclrname(aobj* node) {
  if (node != nullptr) memset(node->name, 0, sizeof node->name);
}

void ASNclrnames(aobj* tree) {
  if (tree == nullptr) return;
  ASNclrname(tree);
  if (tree->kind != CLASSEQ) return;
  for (uint32_t i = 0; i < tree->u.seq.count; ++i) ASNclrnames(tree->u.seq.children[i]);
}

}  // namespace sigillo
