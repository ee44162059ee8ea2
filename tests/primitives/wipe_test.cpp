// Key schedules leave nothing of the key in memory once destroyed.
#include <gtest/gtest.h>

#include <algorithm>
#include <new>

#include "primitives/des.h"
#include "primitives/rc4.h"

namespace sigillo {
namespace {

// Builds a keyed T in storage that outlives it, destroys it and tells
// whether every byte from `from` on is zero afterwards.
template <class T, class Keying>
bool wipedAfterDestruction(size_t from, Keying keying) {
  alignas(T) unsigned char storage[sizeof(T)];
  T* object = new (storage) T();
  keying(*object);
  const bool keyed =
      std::any_of(storage + from, storage + sizeof(T), [](auto b) { return b != 0; });
  object->~T();
  return keyed && std::all_of(storage + from, storage + sizeof(T), [](auto b) { return b == 0; });
}

TEST(Wipe, KeySchedulesAreZeroedWhenDestroyed) {
  const uint8_t key[8] = {0x13, 0x34, 0x57, 0x79, 0x9B, 0xBC, 0xDF, 0xF1};
  EXPECT_TRUE(wipedAfterDestruction<Rc4>(0, [&](Rc4& c) { c.setKey(key, sizeof key); }));
  // Past the pointer to the virtual table, the subkeys.
  EXPECT_TRUE(wipedAfterDestruction<Des>(sizeof(void*), [&](Des& c) { c.setKey(key); }));
}

}  // namespace
}  // namespace sigillo
