// The process's memory map, read from /proc/self/maps.
#include "framework/memrange.h"

#include <cinttypes>
#include <cstdio>
#include <cstring>

namespace sigillo {

uint64_t accessibleBytes(uintptr_t address, bool forWriting) {
  FILE* maps = fopen("/proc/self/maps", "re");
  if (maps == nullptr) return 0;
  uintptr_t reach = address;  // end of the accessible run found so far
  char line[512];
  bool lineStart = true;
  while (fgets(line, sizeof line, maps) != nullptr) {
    // Only the beginning of a line holds the range; long path names go on.
    const bool atStart = lineStart;
    lineStart = strchr(line, '\n') != nullptr;
    if (!atStart) continue;
    uintptr_t start = 0;
    uintptr_t end = 0;
    char perms[5] = {};
    if (sscanf(line, "%" SCNxPTR "-%" SCNxPTR " %4s", &start, &end, perms) != 3) continue;
    if (end <= reach) continue;
    // The run must start at the address and go on without a gap.
    if (start > reach) break;
    if (perms[0] != 'r' || (forWriting && perms[1] != 'w')) break;
    reach = end;
  }
  fclose(maps);
  return reach - address;
}

}  // namespace sigillo
