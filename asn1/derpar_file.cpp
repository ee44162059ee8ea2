// DER parser over a file: the file is read through the file layer in blocks
// of kDerReadBufferSize bytes; values longer than kDerMaxInMemory octets are
// not read but left in the file as indirect nodes.
#include <openssl/crypto.h>

#include <cstring>

#include "asn1/derpar.h"
#include "asn1/derpar_input.h"
#include "framework/guards.h"
#include "framework/kvtmem.h"
#include "framework/trace.h"

namespace sigillo {

namespace {

constexpr const char* kModule = "derpar";
constexpr const char* kNodeFunction = "DERPARSER_fparse_node";

void emptyBuffer(DERPARSER* context, uint64_t base) {
  context->base = base;
  context->start = context->readBuffer;
  context->current = context->readBuffer;
  context->size = 0;
  context->remaining = 0;
}

// Moves the unread bytes to the front of the buffer and fills the rest.
bool fileEnsure(DERPARSER* context, size_t count) {
  if (context->remaining >= count) return true;
  if (count > kDerReadBufferSize) return false;
  const auto kept = static_cast<size_t>(context->remaining);
  const uint64_t base = derpar::position(context);
  if (kept > 0) memmove(context->readBuffer, context->current, kept);
  size_t filled = kept;
  while (filled < count) {
    const size_t got =
        f_read(context->file, context->readBuffer + filled, kDerReadBufferSize - filled);
    if (got == 0) break;
    filled += got;
  }
  emptyBuffer(context, base);
  context->size = filled;
  context->remaining = filled;
  return filled >= count;
}

// The file's size; what the buffer holds when the size cannot be had.
uint64_t fileEnd(DERPARSER* context) {
  const uint64_t held = derpar::position(context) + context->remaining;
  const int64_t size = quietly([&] { return f_size(context->file); });
  return size >= 0 && static_cast<uint64_t>(size) > held ? static_cast<uint64_t>(size) : held;
}

uint16_t fileMissingHeader(DERPARSER* context) {
  return DERPAR_ERR(context, kNodeFunction, 29, "%s", "Impossibile leggere coppia TL");
}

uint16_t fileMissingLength(DERPARSER* context, uint32_t) {
  return DERPAR_ERR(context, kNodeFunction, 29, "%s", "Impossibile leggere byte codifica di L");
}

uint16_t unreadableValue(DERPARSER* context, uint32_t length) {
  return DERPAR_ERR(context, kNodeFunction, 29, "Impossibile leggere i byte V (%u byte)", length);
}

// Checks that the file holds `length` more bytes after the read position.
uint16_t checkFileHolds(DERPARSER* context, uint32_t length) {
  const int64_t size = f_size(context->file);
  if (size < 0) {
    return DERPAR_ERR(context, kNodeFunction, 201,
                      "Impossibile determinare posizione nel file '%s'", context->inputName);
  }
  const uint64_t at = derpar::position(context);
  if (static_cast<uint64_t>(size) < at || static_cast<uint64_t>(size) - at < length) {
    return unreadableValue(context, length);
  }
  return 0;
}

// A value left in the file: the node records where it is, the parser seeks
// past it.
uint16_t indirectValue(DERPARSER* context, const derpar::Header& header, aobj** node) {
  const uint64_t offset = derpar::position(context);
  if (offset > UINT32_MAX) {
    return DERPAR_ERR(context, kNodeFunction, 201,
                      "Impossibile determinare posizione nel file '%s'", context->inputName);
  }
  uint16_t code = checkFileHolds(context, header.length);
  if (code != 0) return code;
  const uint64_t next = offset + header.length;
  if (f_seek(context->file, static_cast<int64_t>(next), SEEK_SET) != 0) {
    return DERPAR_ERR(context, kNodeFunction, 301, "%s", "Fallito posizionamento sul file system");
  }
  emptyBuffer(context, next);
  *node = ASNxIND(header.tag, context->inputName, nullptr, static_cast<uint32_t>(offset),
                  header.length, 0);
  if (*node == nullptr) return DERPAR_ERR(context, kNodeFunction, 301, "%s", "Esecuzione fallita");
  return 0;
}

// Copies `length` bytes from the read position: what the buffer holds, then
// the rest straight from the file.  The buffer is left empty.
bool copyValue(DERPARSER* context, uint8_t* out, uint32_t length) {
  const size_t held =
      context->remaining < length ? static_cast<size_t>(context->remaining) : length;
  if (held > 0) memcpy(out, context->current, held);
  derpar::advance(context, held);
  const size_t got = held < length ? f_read(context->file, out + held, length - held) : 0;
  emptyBuffer(context, derpar::position(context) + got);
  return held + got == length;
}

// A value longer than the read buffer, read into a buffer of its own that is
// wiped before release: it may be key material.
uint16_t largeValue(DERPARSER* context, const derpar::Header& header, aobj** node) {
  uint16_t code = checkFileHolds(context, header.length);
  if (code != 0) return code;
  auto* value = static_cast<uint8_t*>(TRMALLOC(header.length));
  if (value == nullptr) {
    return DERPAR_ERR(context, kNodeFunction, 10, "Impossibile allocare %u byte", header.length);
  }
  if (copyValue(context, value, header.length)) {
    *node = DERPARSER_build_primitive_node(context, header.tag, value, header.length);
    code = *node != nullptr ? 0 : derpar::failedCode(context);
  } else {
    code = unreadableValue(context, header.length);
  }
  wipeAndFree(value, header.length);
  return code;
}

uint16_t filePrimitive(DERPARSER* context, const derpar::Header& header, aobj** node) {
  if (header.length > kDerMaxInMemory) return indirectValue(context, header, node);
  if (header.length > kDerReadBufferSize) return largeValue(context, header, node);
  if (!fileEnsure(context, header.length)) return unreadableValue(context, header.length);
  // The value stays in the read buffer until the next refill.
  const uint8_t* value = context->current;
  derpar::advance(context, header.length);
  *node = DERPARSER_build_primitive_node(context, header.tag, value, header.length);
  return *node != nullptr ? 0 : derpar::failedCode(context);
}

const derpar::Input kFileInput = {
    kNodeFunction,
    fileEnsure,
    fileEnd,
    fileMissingHeader,
    fileMissingLength,
    filePrimitive,
    "La dimensione del nodo (%u) ha superato la dimensione prevista (%u)",
    "Nodo ASN1 non valido, nodo figlio %u EOC non previsto",
    "Nodo ASN1 non valido, errore nel nodo figlio %u",
    "Fallita aggiunta del nodo figlio n. %u",
};

// Copies the name, makes the read buffer and opens the file at `offset`.
uint16_t openInput(DERPARSER* context, const char* fileName, uint32_t offset) {
  const size_t nameSize = strlen(fileName) + 1;
  context->inputName = static_cast<char*>(TRMALLOC(nameSize));
  if (context->inputName == nullptr) {
    return DERPAR_ERR(context, "DERPARSER_fparse", 10, "Impossibile allocare %u byte",
                      static_cast<uint32_t>(nameSize));
  }
  memcpy(context->inputName, fileName, nameSize);
  if (context->readBuffer == nullptr) {
    context->readBuffer = static_cast<uint8_t*>(TRMALLOC(kDerReadBufferSize));
    if (context->readBuffer == nullptr) {
      return DERPAR_ERR(context, "DERPARSER_fparse", 10, "Impossibile allocare %u byte",
                        static_cast<uint32_t>(kDerReadBufferSize));
    }
  }
  uint16_t code = 0;
  context->file = f_open(fileName, FM_READ | kKindBinary, 0, &code);
  if (context->file == nullptr) {
    return DERPAR_ERR(context, "DERPARSER_fparse", 301, "Impossibile aprire file %s", fileName);
  }
  if (f_seek(context->file, offset, SEEK_SET) != 0) {
    return DERPAR_ERR(context, "DERPARSER_fparse", 301, "Fallito posizionamento sul file %s",
                      fileName);
  }
  emptyBuffer(context, offset);
  return 0;
}

void closeQuietly(DERPARSER* context) {
  quietly([&] { return f_close(context->file); });
  context->file = nullptr;
}

// The parse proper, with the file open; the tree or null.
aobj* parseOpenFile(DERPARSER* context) {
  aobj* tree = nullptr;
  if (derpar::parseNode(context, kFileInput, 0, &tree) != 0 || tree == nullptr) {
    DERPAR_ERR(context, "DERPARSER_fparse", 29, "%s", "Errore nell'albero ASN.1");
    return nullptr;
  }
  const uint64_t end = derpar::position(context);
  if (!fileEnsure(context, 1)) return tree;
  const uint32_t at = derpar::clampU32(end);
  if ((context->flags & kDerStrict) != 0) {
    DERPAR_ERR(context, "DERPARSER_fparse", 29,
               "Parsing terminato prima della fine dell'input (posizione %u)", at);
    derpar::discard(tree);
    return nullptr;
  }
  TRwarn(kModule, __LINE__, "DERPARSER_fparse",
         "Parsing ASN.1 terminato prima della fine file dell'input (posizione %u)", at);
  return tree;
}

}  // namespace

uint16_t DERPARSER_fparse_node(DERPARSER* context, int32_t index, aobj** node) {
  if (node == nullptr) return firstOr(TRERR(2, "node (3)"), 2);
  *node = nullptr;
  if (context == nullptr) return firstOr(TRERR(2, "context (1)"), 2);
  if (context->file == nullptr || context->readBuffer == nullptr) {
    return firstOr(TRERR(2, "context (1)"), 2);
  }
  return derpar::parseNode(context, kFileInput, index, node);
}

aobj* DERPARSER_fparse(DERPARSER* context, const char* fileName, uint32_t offset) {
  TRclrerr();
  if (context == nullptr) {
    TRERR(2, "context (1)");
    return nullptr;
  }
  derpar::beginParse(context);
  if (fileName == nullptr) {
    DERPAR_ERR(context, __func__, 2, "%s", "fileName (2)");
    return nullptr;
  }
  if (openInput(context, fileName, offset) != 0) {
    if (context->file != nullptr) closeQuietly(context);
    return nullptr;
  }
  aobj* tree = parseOpenFile(context);
  if (tree == nullptr) {
    closeQuietly(context);
    return nullptr;
  }
  const uint16_t closed = f_close(context->file);
  context->file = nullptr;
  if (closed != 0) {
    DERPAR_ERR(context, __func__, 301, "Fallita chiusura del file %s", fileName);
    derpar::discard(tree);
    return nullptr;
  }
  return tree;
}

aobj* DERfParse_(const char* fileName, uint32_t offset, uint32_t flags) {
  DERPARSER context;
  DERPARSER_init(&context);
  context.flags = flags;
  aobj* tree = DERPARSER_fparse(&context, fileName, offset);
  if (tree == nullptr) {
    TRERR(29, "Errore nel file %s (inizio parsing: %u)", fileName != nullptr ? fileName : "",
          offset);
  }
  DERPARSER_clean(&context);
  return tree;
}

aobj* DERfParse(const char* fileName, uint32_t offset) { return DERfParse_(fileName, offset, 0); }

aobj* DERfLoad(const char* fileName) { return DERfParse_(fileName, 0, 0); }

}  // namespace sigillo
