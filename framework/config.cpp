// Configuration files: `key = value` lines handed one by one to a callback,
// dotted keys turned into tags, and the path prefixes of configuration sources.
#include "framework/config.h"

#include <strings.h>
#include <sys/stat.h>

#include <cctype>
#include <cstring>

#include "framework/secret.h"
#include "framework/trace.h"

namespace sigillo {
namespace {

constexpr const char* kModule = "config";
constexpr int kLineSize = 1023;
constexpr size_t kPathMax = 254;

const TagEntry* const* gTagTables = nullptr;
size_t gTagTableCount = 0;

bool isBlank(char c) { return std::isspace(static_cast<unsigned char>(c)) != 0; }

// Position of the label `text` (of `length` characters) in `table`, or -1.
int findLabel(const TagEntry* table, const char* text, size_t length) {
  for (int i = 0; table[i].label != nullptr; ++i) {
    if (strncasecmp(table[i].label, text, length) == 0 && table[i].label[length] == '\0') {
      return i;
    }
  }
  return -1;
}

}  // namespace

FILE* openConfig(const char* path) {
  if (path == nullptr) {
    TRERR(2, "path (1)");
    return nullptr;
  }
  FILE* stream = fopen(path, "re");
  struct stat st {};
  if (stream != nullptr && (fstat(fileno(stream), &st) != 0 || S_ISDIR(st.st_mode))) {
    fclose(stream);
    stream = nullptr;
  }
  if (stream == nullptr) TRERR(104, "%s", path);
  return stream;
}

char* fgets2(char* buffer, int size, FILE* stream) {
  if (buffer == nullptr || size <= 0 || stream == nullptr) return nullptr;
  if (fgets(buffer, size, stream) == nullptr) return nullptr;
  size_t skip = 0;
  while (isBlank(buffer[skip])) ++skip;
  size_t length = strlen(buffer + skip);
  memmove(buffer, buffer + skip, length + 1);
  if (length > 0 && buffer[length - 1] == '\n') buffer[length - 1] = '\0';
  return buffer;
}

bool iscfgemptyline(const char* line) {
  if (line == nullptr) return true;
  while (isBlank(*line)) ++line;
  return *line == '\0' || *line == '#' || *line == '/';
}

// The line is cut only when it is well formed; on error it is left as given.
uint16_t spline(char* line, char** value) {
  if (line == nullptr) return firstOr(TRERR(2, "line (1)"), 2);
  if (value == nullptr) return firstOr(TRERR(2, "value (2)"), 2);
  char* equal = strchr(line, '=');
  if (equal == nullptr || equal == line) return 36;
  char* keyEnd = equal;
  while (keyEnd > line && isBlank(keyEnd[-1])) --keyEnd;
  if (keyEnd == line) return 36;
  char* text = equal + 1;
  while (isBlank(*text)) ++text;
  size_t length = strlen(text);
  while (length > 0 && isBlank(text[length - 1])) --length;
  if (length == 0) return 36;
  *keyEnd = '\0';
  text[length] = '\0';
  // Only a pair of enclosing quotes goes; a lone `"` leaves an empty value.
  if (text[0] == '"' && text[length - 1] == '"') {
    if (length > 1) text[length - 1] = '\0';
    ++text;
  }
  *value = text;
  return 0;
}

uint16_t readconfig(const char* path, void* context, ConfigCallback callback) {
  if (path == nullptr) return firstOr(TRERR(2, "path (1)"), 2);
  if (callback == nullptr) return firstOr(TRERR(2, "callback (3)"), 2);
  char file[kPathMax + 1];
  size_t pathLength = strnlen(path, kPathMax);
  memcpy(file, path, pathLength);
  file[pathLength] = '\0';
  FILE* stream = openConfig(file);
  if (stream == nullptr) return firstOr(TRLASTERR(), 104);
  uint16_t code = 0;
  char line[kLineSize];
  for (int lineNo = 1;; ++lineNo) {
    if (fgets2(line, sizeof line, stream) == nullptr) {
      if (ferror(stream)) code = firstOr(TRERR(112, "Errore alla riga %d", lineNo), 112);
      break;
    }
    if (iscfgemptyline(line)) continue;
    char* value = nullptr;
    if (spline(line, &value) != 0) {
      code = firstOr(TRERR(36, "Errore di formattazione alla riga %d", lineNo), 36);
      break;
    }
    const char* shown = isSecretOption(line) ? kSecretMask : value;
    TRDBG("%s = %s", line, shown);
    if (callback(context, line, value) != 0) {
      code = firstOr(TRERR(36, "Errore sul valore '%s'='%s' (linea %d)", line, shown, lineNo), 36);
      break;
    }
  }
  if (fclose(stream) != 0) {
    uint16_t closeCode = firstOr(TRERR(105, "%s", file), 105);
    if (code == 0) code = closeCode;
  }
  return code;
}

void setTagTables(const TagEntry* const* tables, size_t count) {
  gTagTables = tables;
  gTagTableCount = tables != nullptr ? count : 0;
}

uint16_t rdtag(const char* label, uint32_t* tag, size_t tableIndex) {
  if (label == nullptr) return firstOr(TRERR(2, "label (1)"), 2);
  if (tag == nullptr) return firstOr(TRERR(2, "tag (2)"), 2);
  *tag = 0;
  if (tableIndex >= gTagTableCount || gTagTables[tableIndex] == nullptr) {
    return firstOr(TRERR(304, "Tabella delle etichette %zu non registrata", tableIndex), 304);
  }
  const TagEntry* table = gTagTables[tableIndex];
  uint32_t built = 0;
  for (const char* piece = label;;) {
    const char* dot = strchr(piece, '.');
    size_t length = dot != nullptr ? static_cast<size_t>(dot - piece) : strlen(piece);
    int position = findLabel(table, piece, length);
    if (position >= 0) built += static_cast<uint32_t>(position);
    if (position < 0 || (dot != nullptr && table[position].sub == nullptr)) {
      *tag = built;
      return firstOr(TRERR(116, "Label-tag '%s' non riconosciuta (Tag:0x%08X)", label, built), 116);
    }
    if (dot == nullptr) break;
    built <<= 8;
    table = table[position].sub;
    piece = dot + 1;
  }
  *tag = built;
  return 0;
}

int getPathType(const char* path) {
  if (path == nullptr) {
    TRERR(304, "Percorso nullo non valido");
    return 0;
  }
  if (strncasecmp(path, "sc:", 3) == 0) return kPathSc;
  if (strncasecmp(path, "conf:", 5) == 0) return kPathConf;
  if (strncasecmp(path, "cc:", 3) == 0) return kPathCc;
  return kPathFile;
}

bool isSCNCnf(const char* path) {
  if (path == nullptr) {
    TRERR(304, "Percorso nullo non valido");
    return false;
  }
  return getPathType(path) != kPathFile;
}

}  // namespace sigillo
