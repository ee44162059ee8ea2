// Configuration files of `key = value` lines.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>

namespace sigillo {

using ConfigCallback = int (*)(void* context, const char* key, const char* value);

uint16_t readconfig(const char* path, void* context, ConfigCallback callback);
FILE* openConfig(const char* path);
char* fgets2(char* buffer, int size, FILE* stream);
bool iscfgemptyline(const char* line);
uint16_t spline(char* line, char** value);

// Keyword tables for dotted keys: a table is a list of entries ended by a
// null label; an entry may lead to a sub-table for the next label.
struct TagEntry {
  const char* label;
  const TagEntry* sub;
};
// The callers register their tables; rdtag picks one by index.
void setTagTables(const TagEntry* const* tables, size_t count);
uint16_t rdtag(const char* label, uint32_t* tag, size_t tableIndex);

enum : int { kPathFile = 1, kPathConf = 2, kPathSc = 3, kPathCc = 4 };
int getPathType(const char* path);
bool isSCNCnf(const char* path);

}  // namespace sigillo
