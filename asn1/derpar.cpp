// DER parser: the context, the error record, the node algorithm shared by
// buffer and file input, and the building of primitive nodes.
#include "asn1/derpar.h"

#include <openssl/crypto.h>

#include <cstdarg>
#include <cstring>

#include "asn1/derpar_input.h"
#include "framework/guards.h"
#include "framework/kvtmem.h"
#include "framework/trace.h"

namespace sigillo {

namespace {

constexpr const char* kModule = "derpar";
constexpr size_t kPathTextSize = 1024;
constexpr const char* kTruncatedPath = "...";
constexpr uint32_t kLongLengthMaxOctets = 4;
constexpr uint8_t kIndefiniteLength = 0x80;
// An indefinite-length node stores its children's size plus four, the octets
// of its own 0x80-form header and of its end-of-contents marker (ASNresize
// gives it its DER length).
constexpr uint32_t kIndefiniteExtra = 4;
constexpr uint8_t kBoolTrue = 0xFF;
constexpr uint8_t kBoolFalse = 0x00;
constexpr const char* kBuildFunction = "DERPARSER_build_primitive_node";

// Child indices joined by full stops; a path too long for `size` ends with
// "...".
void formatPath(const int32_t* path, int32_t count, char* out, size_t size) {
  size_t used = 0;
  out[0] = '\0';
  for (int32_t i = 0; i < count; ++i) {
    char item[16];
    const int n = snprintf(item, sizeof item, i == 0 ? "%d" : ".%d", path[i]);
    if (used + static_cast<size_t>(n) + strlen(kTruncatedPath) + 1 > size) {
      memcpy(out + used, kTruncatedPath, strlen(kTruncatedPath) + 1);
      return;
    }
    memcpy(out + used, item, static_cast<size_t>(n) + 1);
    used += static_cast<size_t>(n);
  }
}

// Entries of the live path that hold a stored index.
int32_t livePathLength(const DERPARSER* context) {
  const int32_t levels = context->depth + 1;
  return levels < context->pathCapacity ? levels : context->pathCapacity;
}

void keepFirstError(DERPARSER* context, uint16_t code) {
  DerParseError& error = context->error;
  error.code = code;
  error.position = derpar::position(context);
  const int32_t length = livePathLength(context);
  if (length <= 0) return;
  error.path = static_cast<int32_t*>(TRMALLOC(static_cast<size_t>(length) * sizeof(int32_t)));
  if (error.path == nullptr) return;
  memcpy(error.path, context->path, static_cast<size_t>(length) * sizeof(int32_t));
  error.pathLength = length;
}

// Raises the depth for the lifetime of one node.
class DepthScope {
 public:
  explicit DepthScope(DERPARSER* context) : context_(context) {
    ++context_->depth;
    if (context_->depth > context_->maxDepth) context_->maxDepth = context_->depth;
  }
  ~DepthScope() { --context_->depth; }
  DepthScope(const DepthScope&) = delete;
  DepthScope& operator=(const DepthScope&) = delete;

 private:
  DERPARSER* context_;
};

// Stores the child index of the node entered at the current depth.
uint16_t storeIndex(DERPARSER* context, const char* function, int32_t index) {
  if (context->depth >= context->pathCapacity) {
    const int32_t capacity = context->depth + kDerPathGrowth;
    const size_t bytes = static_cast<size_t>(capacity) * sizeof(int32_t);
    auto* grown = static_cast<int32_t*>(TRREALLOC(context->path, bytes));
    if (grown == nullptr) {
      return DERPAR_ERR(context, function, 10, "Impossibile allocare %u byte",
                        static_cast<uint32_t>(bytes));
    }
    context->path = grown;
    context->pathCapacity = capacity;
  }
  context->path[context->depth] = index;
  return 0;
}

uint16_t readLongLength(DERPARSER* context, const derpar::Input& input, uint8_t first,
                        derpar::Header* header) {
  const uint32_t count = first & 0x7Fu;
  if (count > kLongLengthMaxOctets) {
    return DERPAR_ERR(context, input.function, 29, "La codifica di L richiede troppi byte (%u)",
                      count);
  }
  if (!input.ensure(context, count)) return input.missingLength(context, count);
  uint32_t length = 0;
  for (uint32_t i = 0; i < count; ++i) length = length << 8 | context->current[i];
  derpar::advance(context, count);
  header->length = length;
  return 0;
}

// The identifier octet and the length octets.
uint16_t readHeader(DERPARSER* context, const derpar::Input& input, derpar::Header* header) {
  if (!input.ensure(context, 2)) return input.missingHeader(context);
  header->tag = context->current[0];
  const uint8_t first = context->current[1];
  derpar::advance(context, 2);
  if (first < kIndefiniteLength) {
    header->length = first;
    header->endOfContents = header->tag == 0 && first == 0;
    return 0;
  }
  if (first > kIndefiniteLength) return readLongLength(context, input, first, header);
  if ((header->tag & kConstructed) == 0) {
    return DERPAR_ERR(context, input.function, 29, "%s",
                      "La lunghezza di un tipo ASN1 primitivo non puo' essere indefinita");
  }
  header->indefinite = true;
  return 0;
}

// Sets the budget of a top-level node from the octets left in the input.
void startBudget(DERPARSER* context, const derpar::Input& input) {
  const uint64_t at = derpar::position(context);
  const uint64_t end = input.end(context);
  context->inputEnd = end > at ? end : at;
  const uint64_t octets = context->inputEnd - at;
  context->budget = octets > (UINT64_MAX - kDerBudgetAllowance) / kDerBudgetPerOctet
                        ? UINT64_MAX
                        : octets * kDerBudgetPerOctet + kDerBudgetAllowance;
  context->charged = 0;
}

// What the node announced by `header` will cost in memory (see derpar.h).
uint64_t nodeCharge(const DERPARSER* context, const derpar::Header& header) {
  if ((header.tag & kConstructed) != 0) return kDerChargeNode + kDerChargeChildList;
  if ((header.tag & kClassMask) == 0) {
    switch (header.tag & kTagNumberMask) {
      case kTagNull:
      case kTagBoolean:
      case kTagOid:
      case kTagUtcTime:
      case kTagGeneralizedTime:
        return kDerChargeNode;
      default:
        break;
    }
  }
  const uint64_t at = derpar::position(context);
  const uint64_t left = context->inputEnd > at ? context->inputEnd - at : 0;
  return kDerChargeNode + kDerChargeValue + (header.length < left ? header.length : left);
}

uint16_t chargeNode(DERPARSER* context, const derpar::Input& input, const derpar::Header& header) {
  const uint64_t charge = nodeCharge(context, header);
  if (charge <= context->budget - context->charged) {
    context->charged += charge;
    return 0;
  }
  return DERPAR_ERR(context, input.function, 29,
                    "Superato il limite di memoria del parsing ASN.1 (%llu byte: %llu per byte di "
                    "input piu' %llu)",
                    static_cast<unsigned long long>(context->budget),
                    static_cast<unsigned long long>(kDerBudgetPerOctet),
                    static_cast<unsigned long long>(kDerBudgetAllowance));
}

// Appends the children of a constructed node: up to the announced length, or
// up to the end-of-contents marker for an indefinite length.  The announced
// length is compared with the input consumed, so that BER children (non-
// minimal lengths, indefinite lengths) are measured as they were read.
uint16_t parseChildren(DERPARSER* context, const derpar::Input& input, const derpar::Header& header,
                       aobj* node) {
  const uint64_t begin = derpar::position(context);
  for (uint32_t index = 0;; ++index) {
    if (!header.indefinite && derpar::position(context) - begin == header.length) return 0;
    aobj* child = nullptr;
    if (parseNode(context, input, static_cast<int32_t>(index), &child) != 0) {
      return DERPAR_ERR(context, input.function, 29, input.childFailed, index);
    }
    if (child == nullptr) {
      if (header.indefinite) {
        if (node->length > UINT32_MAX - kIndefiniteExtra) {
          return DERPAR_ERR(context, input.function, 301, input.addFailed, index);
        }
        node->length += kIndefiniteExtra;
        return 0;
      }
      return DERPAR_ERR(context, input.function, 29, input.unexpectedEoc, index);
    }
    if (ASNadd(node, child) != 0) {
      derpar::discard(child);
      return DERPAR_ERR(context, input.function, 301, input.addFailed, index);
    }
    const uint64_t consumed = derpar::position(context) - begin;
    if (!header.indefinite && consumed > header.length) {
      return DERPAR_ERR(context, input.function, 29, input.overflow, derpar::clampU32(consumed),
                        header.length);
    }
  }
}

constexpr uint32_t kParsedChildSlots = 4;

uint16_t parseConstructed(DERPARSER* context, const derpar::Input& input,
                          const derpar::Header& header, aobj** node) {
  // Most parsed constructed nodes have few children: start small.
  aobj* made = newConstructedSized(CLASSEQ, header.tag, kParsedChildSlots);
  if (made == nullptr) return DERPAR_ERR(context, input.function, 301, "%s", "Esecuzione fallita");
  const uint16_t code = parseChildren(context, input, header, made);
  if (code != 0) {
    derpar::discard(made);
    return code;
  }
  // A complete node keeps no spare child slots.
  ASNshrink(made);
  *node = made;
  return 0;
}

// Universal types whose value may be neither empty nor absent.
struct ValueRule {
  uint8_t number;
  const char* empty;   // message for a zero length
  const char* absent;  // message for a missing value buffer, null when allowed
};
constexpr ValueRule kValueRules[] = {
    {kTagInteger, "La lunghezza del nodo INT e' zero", nullptr},
    {kTagEnumerated, "La lunghezza del nodo ENUM e' zero", nullptr},
    {kTagBitString, "Il valore del nodo BSTR e' lungo zero byte",
     "Il buffer contenent il valore del nodo BSTR e' nullo"},
    {kTagOid, "Il valore del nodo OID e' lungo zero byte",
     "Il buffer contenent il valore del nodo OID e' nullo"},
    {kTagUtcTime, "Il valore del nodo GTIME e' lungo zero byte",
     "Il buffer contenent il valore del nodo GTIME e' nullo"},
    {kTagGeneralizedTime, "Il valore del nodo GTIME e' lungo zero byte",
     "Il buffer contenent il valore del nodo GTIME e' nullo"},
};

uint16_t checkBoolean(DERPARSER* context, const uint8_t* value, uint32_t length) {
  if (length != 1) {
    return DERPAR_ERR(context, kBuildFunction, 29, "Lunghezza nodo BOOL non valida (%u)", length);
  }
  if (value == nullptr) {
    return DERPAR_ERR(context, kBuildFunction, 29, "%s",
                      "Il buffer contenent il valore del nodo BOOL e' nullo");
  }
  if (value[0] != kBoolTrue && value[0] != kBoolFalse) {
    TRwarn(kModule, __LINE__, kBuildFunction,
           "Valore nodo BOOL non DER: %02X (valori DER ammessi %02X o %02X)", value[0], kBoolTrue,
           kBoolFalse);
  }
  return 0;
}

// The checks a universal value must pass before its node is made; 0 when
// it passes.
uint16_t checkUniversal(DERPARSER* context, uint8_t number, const uint8_t* value, uint32_t length) {
  if (number == kTagBoolean) return checkBoolean(context, value, length);
  if (number == kTagNull && length != 0) {
    return DERPAR_ERR(context, kBuildFunction, 29, "Lunghezza del nodo NULL non valida (%u)",
                      length);
  }
  for (const ValueRule& rule : kValueRules) {
    if (rule.number != number) continue;
    if (length == 0) return DERPAR_ERR(context, kBuildFunction, 29, "%s", rule.empty);
    if (value == nullptr && rule.absent != nullptr) {
      return DERPAR_ERR(context, kBuildFunction, 29, "%s", rule.absent);
    }
  }
  return 0;
}

aobj* makeUniversal(uint8_t tag, const uint8_t* value, uint32_t length) {
  switch (tag & kTagNumberMask) {
    case kTagBoolean:
      return ASNxBOOL(value[0]);
    case kTagInteger:
    case kTagEnumerated:
      return ASNxVAL(CLASVAL, tag, value, length);
    case kTagBitString:
      return ASNxBIT(tag, value + 1, length - 1, value[0]);
    case kTagNull:
      return ASNNULL();
    case kTagOid:
      return ASNxOID(tag, value, length);
    case kTagUtcTime:
    case kTagGeneralizedTime:
      return ASNxDATE(tag, reinterpret_cast<const char*>(value), length);
    default:
      return ASNxSTR(tag, value, length);
  }
}

}  // namespace

namespace derpar {

void beginParse(DERPARSER* context) {
  DERPARSER_clear_error(context);
  context->depth = -1;
  context->maxDepth = -1;
  TRFREE(context->inputName);
  context->inputName = nullptr;
  if (context->file != nullptr) {
    quietly([&] { return f_close(context->file); });
    context->file = nullptr;
  }
  context->start = nullptr;
  context->current = nullptr;
  context->size = 0;
  context->remaining = 0;
  context->base = 0;
}

void discard(aobj* node) {
  const RecordingOff quiet;
  ASNdel(node);
}

uint16_t failedCode(const DERPARSER* context) {
  return context->error.code != 0 ? context->error.code : 29;
}

// An end-of-contents marker is not a node: it neither counts against the
// depth limit nor deepens the context's deepest depth, so that nodes nested
// to the limit parse with definite and indefinite lengths alike.
uint16_t parseNode(DERPARSER* context, const Input& input, int32_t index, aobj** node) {
  *node = nullptr;
  if (context->depth < 0) startBudget(context, input);
  const int32_t deepest = context->maxDepth;
  DepthScope scope(context);
  uint16_t code = storeIndex(context, input.function, index);
  if (code != 0) return code;
  Header header{};
  code = readHeader(context, input, &header);
  if (code != 0) return code;
  if (header.endOfContents) {
    context->maxDepth = deepest;
    return 0;
  }
  if (context->depth > kDerMaxDepth) {
    return DERPAR_ERR(context, input.function, 29, "%s", "Raggiunta massima profondita' gestibile");
  }
  code = chargeNode(context, input, header);
  if (code != 0) return code;
  if ((header.tag & kConstructed) != 0) return parseConstructed(context, input, header, node);
  return input.primitive(context, header, node);
}

}  // namespace derpar

void DERPARSER_init(DERPARSER* context) {
  if (context == nullptr) return;
  memset(context, 0, sizeof *context);
  context->depth = -1;
  context->maxDepth = -1;
}

void DERPARSER_clean(DERPARSER* context) {
  if (context == nullptr) return;
  derpar::beginParse(context);
  TRFREE(context->path);
  wipeAndFree(context->readBuffer, kDerReadBufferSize);
  DERPARSER_init(context);
}

void DERPARSER_clear_error(DERPARSER* context) {
  if (context == nullptr) return;
  TRFREE(context->error.path);
  context->error = DerParseError{};
}

uint16_t DERPARSER_ERROR(DERPARSER* context, const char* file, int line, const char* function,
                         uint32_t code, const char* fmt, ...) {
  va_list args;
  va_start(args, fmt);
  const uint16_t recorded = TRerrv(file, line, function, code, fmt, args);
  va_end(args);
  const uint16_t result = firstOr(recorded, static_cast<uint16_t>(code));
  if (context == nullptr || context->error.code != 0) return result;
  keepFirstError(context, result);
  char path[kPathTextSize];
  formatPath(context->path, livePathLength(context), path, sizeof path);
  TRnotice(file, line, function, "Posizione errore parsing ASN.1 = %llu (nodo %s)",
           static_cast<unsigned long long>(context->error.position), path);
  return result;
}

aobj* DERPARSER_build_primitive_node(DERPARSER* context, uint8_t identifier, const uint8_t* value,
                                     uint32_t length) {
  aobj* node = nullptr;
  if ((identifier & kClassMask) != 0) {
    // Application, context and private values keep their identifier as strings.
    node = ASNxSTR(identifier, value, length);
  } else {
    if (checkUniversal(context, identifier & kTagNumberMask, value, length) != 0) return nullptr;
    node = makeUniversal(identifier, value, length);
  }
  if (node == nullptr) DERPAR_ERR(context, kBuildFunction, 301, "%s", "Esecuzione fallita");
  return node;
}

void DERPARSER_dumpinfo(const DERPARSER* context, FILE* stream) {
  if (context == nullptr) return;
  if (stream == nullptr) stream = stdout;
  char path[kPathTextSize];
  formatPath(context->error.path, context->error.pathLength, path, sizeof path);
  fprintf(stream, "DER PARSER INFO: \n");
  fprintf(stream, " - Input:           %s   \n",
          context->inputName != nullptr ? context->inputName : "");
  fprintf(stream, " - RC:              %d   \n", context->error.code);
  fprintf(stream, " - Error Pos:       [%s] \n", path);
  fprintf(stream, " - Read error pos:  %llu   \n",
          static_cast<unsigned long long>(context->error.position));
  fprintf(stream, " - Max Levels:      %d   \n", context->maxDepth);
}

}  // namespace sigillo
