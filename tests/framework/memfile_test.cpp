// Memory files at addresses this process may not touch are refused, and
// writing stops where the caller's memory ends.
#include <sys/mman.h>
#include <unistd.h>

#include "tests/framework/fwtest.h"

namespace sigillo {
namespace {

using test::memoryName;

// Three pages: read-write, inaccessible, read-only.
class MappedPages : public ::testing::Test {
 protected:
  void SetUp() override {
    page_ = static_cast<size_t>(sysconf(_SC_PAGESIZE));
    void* base =
        mmap(nullptr, 3 * page_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    ASSERT_NE(base, MAP_FAILED);
    base_ = static_cast<uint8_t*>(base);
    ASSERT_EQ(mprotect(base_ + page_, page_, PROT_NONE), 0);
    ASSERT_EQ(mprotect(base_ + 2 * page_, page_, PROT_READ), 0);
    TRclrerr();
  }
  void TearDown() override { munmap(base_, 3 * page_); }
  uint8_t* writableEnd() const { return base_ + page_; }

  size_t page_ = 0;
  uint8_t* base_ = nullptr;
};

TEST_F(MappedPages, BlocksOutsideAccessibleMemoryAreRefused) {
  uint8_t* nearEnd = writableEnd() - 8;
  const uint32_t tooLong = 100;
  memcpy(nearEnd, &tooLong, 4);
  const std::tuple<uint8_t*, uint32_t, uint16_t, const char*> rows[] = {
      {writableEnd(), FM_READ | kKindBinary, 200, "Memoria all'indirizzo '%s' non leggibile"},
      {writableEnd() + 16, FM_WRITE | kKindText, 203, "Memoria all'indirizzo '%s' non scrivibile"},
      {base_ + 2 * page_, FM_WRITE | kKindBinary, 203, "Memoria all'indirizzo '%s' non scrivibile"},
      {writableEnd() - 2, FM_READ | kKindBinary, 200, "Memoria all'indirizzo '%s' non leggibile"},
      {nearEnd, FM_READ | kKindBinary, 200,
       "Il file in memoria '%s' supera la memoria accessibile"},
      {nearEnd, FM_READ | FM_WRITE | FM_NOTRUNC | kKindBinary, 203,
       "Il file in memoria '%s' supera la memoria accessibile"},
  };
  for (const auto& [block, flags, code, message] : rows) {
    const std::string name = memoryName(block);
    TRclrerr();
    uint16_t rc = 0;
    EXPECT_EQ(f_open(name.c_str(), flags, 0, &rc), nullptr) << name;
    EXPECT_EQ(rc, code) << name;
    char expected[128];
    snprintf(expected, sizeof expected, message, name.c_str());
    EXPECT_EQ(test::firstMessage(), expected);
  }
}

TEST_F(MappedPages, WritingStopsAtTheEndOfTheCallersMemory) {
  uint8_t* block = writableEnd() - 10;  // room for the length word and 6 bytes
  const std::string name = memoryName(block);
  uint16_t rc = 0;
  FilePtr out(f_open(name.c_str(), FM_WRITE | kKindBinary, 0, &rc));
  ASSERT_TRUE(out);
  EXPECT_EQ(f_write(out.get(), "abcdef", 6), 0);
  EXPECT_EQ(f_write(out.get(), "g", 1), 204);
  EXPECT_EQ(test::firstMessage(),
            "Superata la dimensione massima del file in memoria '" + name + "'");
  EXPECT_EQ(f_close(out.release()), 0);
  // The block reads back whole, up to the last accessible byte.
  TRclrerr();
  FilePtr in(f_open(name.c_str(), FM_READ | kKindBinary, 0, &rc));
  ASSERT_TRUE(in);
  char text[8] = {};
  EXPECT_EQ(f_read(in.get(), text, sizeof text), 6u);
  EXPECT_STREQ(text, "abcdef");
  // A read-only page serves as input.
  EXPECT_EQ(mprotect(base_ + 2 * page_, page_, PROT_READ | PROT_WRITE), 0);
  const uint32_t three = 3;
  memcpy(base_ + 2 * page_, &three, 4);
  memcpy(base_ + 2 * page_ + 4, "xyz", 3);
  EXPECT_EQ(mprotect(base_ + 2 * page_, page_, PROT_READ), 0);
  FilePtr readOnly(f_open(memoryName(base_ + 2 * page_).c_str(), FM_READ | kKindBinary, 0, &rc));
  ASSERT_TRUE(readOnly);
  EXPECT_EQ(f_size(readOnly.get()), 3);
}

}  // namespace
}  // namespace sigillo
