// Registry of live temporary files, read by a signal handler: fixed slots
// claimed with atomic operations, nothing allocated, only unlinkat called.
#include "framework/tempfiles.h"

#include <fcntl.h>
#include <limits.h>
#include <signal.h>
#include <unistd.h>

#include <atomic>
#include <cstring>

namespace sigillo {
namespace {

constexpr int kSlots = 64;
enum : int { kFree, kFilling, kLive };

struct Slot {
  std::atomic<int> state{kFree};
  int dirFd = AT_FDCWD;
  char name[PATH_MAX] = {};
};

Slot slots[kSlots];

void removeAndEnd(int signal) {
  for (Slot& slot : slots) {
    if (slot.state.load() == kLive) unlinkat(slot.dirFd, slot.name, 0);
  }
  struct sigaction plain {};
  plain.sa_handler = SIG_DFL;
  sigemptyset(&plain.sa_mask);
  sigaction(signal, &plain, nullptr);
  raise(signal);
}

}  // namespace

int registerTemporary(int dirFd, const char* name) {
  if (name == nullptr || strlen(name) >= PATH_MAX) return -1;
  for (int i = 0; i < kSlots; ++i) {
    int expected = kFree;
    if (!slots[i].state.compare_exchange_strong(expected, kFilling)) continue;
    slots[i].dirFd = dirFd;
    strcpy(slots[i].name, name);
    slots[i].state.store(kLive);
    return i;
  }
  return -1;
}

void forgetTemporary(int registration) {
  if (registration >= 0 && registration < kSlots) slots[registration].state.store(kFree);
}

void removeTemporariesOnSignals() {
  struct sigaction action {};
  action.sa_handler = removeAndEnd;
  sigemptyset(&action.sa_mask);
  sigaddset(&action.sa_mask, SIGINT);
  sigaddset(&action.sa_mask, SIGTERM);
  for (int signal : {SIGINT, SIGTERM}) {
    struct sigaction old {};
    // A signal the caller of the program chose to ignore stays ignored.
    if (sigaction(signal, nullptr, &old) == 0 && old.sa_handler == SIG_IGN) continue;
    sigaction(signal, &action, nullptr);
  }
}

}  // namespace sigillo
