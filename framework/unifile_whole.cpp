// File layer: whole-file helpers built on the handle operations.
#include <cstring>

#include "framework/guards.h"
#include "framework/kvtmem.h"
#include "framework/trace.h"
#include "framework/unifile.h"

namespace sigillo {
namespace {

constexpr const char* kModule = "unifile";
// Whole files are held with 32-bit lengths by their users.
constexpr uint64_t kLoadLimit = 1ULL << 32;
constexpr size_t kTextLine = 1024;

// Closes a handle after a failure with recording off, so that the error
// already reported stays the only one.
void closeQuietly(FHandle* handle) {
  const RecordingOff quiet;
  f_close(handle);
}

uint8_t* loadBinary(FHandle* h, uint64_t* length, uint16_t* code) {
  const char* name = f_name(h);
  int64_t size = f_size(h);
  if (size < 0) {
    *code = firstOr(TRLASTERR_AS("f_load"), 308);
    return nullptr;
  }
  if (size == 0) {
    *code = firstOr(TRERR_AS("f_load", 249, "%s", name), 249);
    return nullptr;
  }
  const auto total = static_cast<uint64_t>(size);
  if (total >= kLoadLimit) {
    *code = firstOr(TRERR_AS("f_load", 200, "Il file '%s' (%llu byte) e' troppo grande", name,
                             static_cast<unsigned long long>(total)),
                    200);
    return nullptr;
  }
  auto* data = static_cast<uint8_t*>(TRMALLOC(total));
  if (data == nullptr) {
    *code = firstOr(TRLASTERR_AS("f_load"), 10);
    return nullptr;
  }
  size_t n = f_read(h, data, total);
  if (n != total) {
    *code = firstOr(
        TRERR_AS("f_load", 201, "Letti %llu byte su %llu dal file '%s'",
                 static_cast<unsigned long long>(n), static_cast<unsigned long long>(total), name),
        201);
    TRFREE(data);
    return nullptr;
  }
  *length = total;
  return data;
}

// Text files are read line by line and kept NUL-terminated (the terminator
// is not counted in the length).
uint8_t* loadText(FHandle* h, uint64_t* length, uint16_t* code) {
  const char* name = f_name(h);
  uint8_t* data = nullptr;
  uint64_t used = 0;
  uint64_t capacity = 0;
  char line[kTextLine];
  while (f_gets(line, sizeof line, h) != nullptr) {
    size_t n = strlen(line);
    if (used + n >= kLoadLimit) {
      *code = firstOr(TRERR_AS("f_load", 200, "Il file '%s' (%llu byte) e' troppo grande", name,
                               static_cast<unsigned long long>(used + n)),
                      200);
      TRFREE(data);
      return nullptr;
    }
    if (used + n + 1 > capacity) {
      uint64_t grown = capacity == 0 ? 2 * kTextLine : capacity * 2;
      while (grown < used + n + 1) grown *= 2;
      auto* bigger = static_cast<uint8_t*>(TRREALLOC(data, grown));
      if (bigger == nullptr) {
        *code = firstOr(TRLASTERR_AS("f_load"), 10);
        TRFREE(data);
        return nullptr;
      }
      data = bigger;
      capacity = grown;
    }
    memcpy(data + used, line, n);
    used += n;
  }
  if (f_error(h)) {
    *code = firstOr(TRLASTERR_AS("f_load"), 201);
    TRFREE(data);
    return nullptr;
  }
  if (used == 0) {
    *code = firstOr(TRERR_AS("f_load", 249, "%s", name), 249);
    TRFREE(data);
    return nullptr;
  }
  data[used] = '\0';
  *length = used;
  return data;
}

}  // namespace

// Loading never writes: only the kind and FM_READ reach f_open.
uint8_t* f_load(const char* name, uint32_t flags, uint32_t mode, uint64_t* length, uint16_t* rc) {
  TRclrerr();
  if (length != nullptr) *length = 0;
  if (rc != nullptr) *rc = 0;
  if (name == nullptr || name[0] == '\0') return nullptr;
  uint16_t code = 0;
  FHandle* h = f_open(name, (flags & FM_KIND) | FM_READ, mode, &code);
  if (h == nullptr) {
    TRLASTERR();
    if (rc != nullptr) *rc = code;
    return nullptr;
  }
  uint64_t size = 0;
  uint8_t* data =
      (flags & FM_KIND) == kKindText ? loadText(h, &size, &code) : loadBinary(h, &size, &code);
  if (data == nullptr) {
    closeQuietly(h);
  } else if (f_close(h) != 0) {
    code = firstOr(TRLASTERR(), 202);
    TRFREE(data);
    data = nullptr;
  } else if (length != nullptr) {
    *length = size;
  }
  if (rc != nullptr) *rc = code;
  return data;
}

uint16_t f_save(const char* name, uint32_t flags, uint32_t mode, const void* data,
                uint64_t length) {
  if (name == nullptr) return firstOr(TRERR(2, "name (1)"), 2);
  if (data == nullptr && length > 0) return firstOr(TRERR(2, "data (4)"), 2);
  uint16_t code = 0;
  FHandle* h = f_open(name, flags | FM_WRITE, mode, &code);
  if (h == nullptr) return firstOr(TRLASTERR(), code);
  code = f_write(h, data, length);
  if (code != 0) {
    closeQuietly(h);
    return firstOr(TRLASTERR(), code);
  }
  code = f_close(h);
  if (code != 0) return firstOr(TRLASTERR(), code);
  return 0;
}

uint16_t LdBERInBuf(const char* name, uint8_t* buffer, uint64_t size, uint64_t* length) {
  if (length != nullptr) *length = 0;
  if (name == nullptr) return firstOr(TRERR(2, "name (1)"), 2);
  if (buffer == nullptr && size > 0) return firstOr(TRERR(2, "buffer (2)"), 2);
  uint16_t code = 0;
  FHandle* h = f_open(name, FM_READ | kKindObject, 0, &code);
  if (h == nullptr) return firstOr(TRLASTERR(), code);
  size_t n = f_read(h, buffer, size);
  if (f_error(h)) {
    code = firstOr(TRLASTERR(), 201);
  } else if (n == size && f_getc(h) != EOF) {
    int64_t total = f_size(h);
    code = firstOr(
        TRERR(10, "Il file '%s' (%llu byte) e' piu' grande della dimensione interna %llu", name,
              static_cast<unsigned long long>(total), static_cast<unsigned long long>(size)),
        10);
  } else if (n == 0) {
    code = firstOr(TRERR(249, "%s", name), 249);
  }
  if (code != 0) {
    closeQuietly(h);
    return code;
  }
  code = f_close(h);
  if (code != 0) return firstOr(TRLASTERR(), code);
  if (length != nullptr) *length = n;
  return 0;
}

int64_t fbersize(const char* name) {
  if (name == nullptr) {
    TRERR(2, "name (1)");
    return -1;
  }
  uint16_t code = 0;
  FHandle* h = f_open(name, FM_READ | kKindObject, 0, &code);
  if (h == nullptr) {
    TRLASTERR();
    return -1;
  }
  int64_t size = f_size(h);
  if (size < 0) {
    TRLASTERR();
    closeQuietly(h);
    return -1;
  }
  if (f_close(h) != 0) {
    TRLASTERR();
    return -1;
  }
  return size;
}

}  // namespace sigillo
