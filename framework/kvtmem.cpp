// Traced allocators.
#include "framework/kvtmem.h"

#include <openssl/crypto.h>

#include <cstdlib>

#include "framework/trace.h"

namespace sigillo {
namespace {
constexpr const char* kModule = "kvtmem";
}

void* TRMALLOC(size_t size) {
  void* p = malloc(size != 0 ? size : 1);
  if (p == nullptr) {
    TRERR(10, "Impossibile allocare %llu byte", static_cast<unsigned long long>(size));
  }
  return p;
}

void* TRCALLOC(size_t count, size_t size) {
  void* p = calloc(count != 0 ? count : 1, size != 0 ? size : 1);
  if (p == nullptr) {
    unsigned __int128 total = static_cast<unsigned __int128>(count) * size;
    TRERR(10, "Impossibile allocare %llu byte", static_cast<unsigned long long>(total));
  }
  return p;
}

void* TRREALLOC(void* pointer, size_t size) {
  void* p = realloc(pointer, size != 0 ? size : 1);
  if (p == nullptr) {
    TRERR(10, "Impossibile reallocare %llu byte", static_cast<unsigned long long>(size));
  }
  return p;
}

void TRFREE(void* pointer) { free(pointer); }

void wipeAndFree(void* pointer, size_t size) {
  if (pointer == nullptr) return;
  OPENSSL_cleanse(pointer, size);
  TRFREE(pointer);
}

}  // namespace sigillo
