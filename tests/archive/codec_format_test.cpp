// Library format: checksum vector, header and entry bytes, checked decoding.
#include "archive/codec_format.h"

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "archive/codec_codes.h"
#include "archive/codec_crc.h"
#include "tests/common/testutil.h"

namespace sigillo::codec {
namespace {

// Bit at a time, straight from the polynomial: the reference for the folded
// and table paths at every length and alignment around their boundaries.
uint32_t bitwiseCrc32(const uint8_t* p, size_t length) {
  uint32_t c = 0xFFFFFFFFu;
  for (size_t i = 0; i < length; ++i) {
    c ^= p[i];
    for (int k = 0; k < 8; ++k) c = (c >> 1) ^ (0xEDB88320u & (0u - (c & 1)));
  }
  return ~c;
}

TEST(CodecCrc, PublishedValuesSplitUpdatesAndTheBitwiseDefinition) {
  // CRC-32/ISO-HDLC check value over "123456789", and the classic pangram.
  EXPECT_EQ(crc32Update(0, "123456789", 9), 0xCBF43926u);
  EXPECT_EQ(crc32Update(0, "", 0), 0u);
  const std::string text = "The quick brown fox jumps over the lazy dog";
  EXPECT_EQ(crc32Update(0, text.data(), text.size()), 0x414FA339u);
  for (size_t cut = 0; cut <= text.size(); ++cut) {
    EXPECT_EQ(crc32Update(crc32Update(0, text.data(), cut), text.data() + cut, text.size() - cut),
              0x414FA339u)
        << cut;
  }
  std::vector<uint8_t> bytes(4096 + 16);
  uint32_t seed = 12345;
  for (uint8_t& b : bytes) b = static_cast<uint8_t>((seed = seed * 1103515245u + 12345u) >> 16);
  for (size_t offset : {0, 1, 7, 15}) {
    for (size_t length = 0; length <= 300; ++length) {
      EXPECT_EQ(crc32Update(0, bytes.data() + offset, length),
                bitwiseCrc32(bytes.data() + offset, length))
          << offset << "+" << length;
    }
  }
  EXPECT_EQ(crc32Update(0, bytes.data() + 3, 4096), bitwiseCrc32(bytes.data() + 3, 4096));
  // Long runs of equal bytes: all zero and all one bits through the folds.
  for (uint8_t fill : {0x00, 0xFF}) {
    std::vector<uint8_t> run(1000, fill);
    EXPECT_EQ(crc32Update(0, run.data(), run.size()), bitwiseCrc32(run.data(), run.size()));
  }
}

TEST(CodecHeader, ExactBytesOfAnEmptyLibraryHeader) {
  LibHeader h;
  h.indexOffset = 128;
  uint8_t bytes[kHeaderSize];
  encodeHeader(h, bytes);
  // The header CRC (zlib.crc32 of bytes 0-123) stored little-endian at 124.
  EXPECT_EQ(test::toHex(bytes, kHeaderSize),
            "53474C4C49420D0A0100000000000000"  // magic, version 1, flags 0, count 0
            "80000000000000000000000000000000"  // index at 128, length 0
            "0000000000000000" +                // index CRC, kdf, reserved
                std::string(168, '0') +
                "19B74EBD");
  LibHeader back;
  EXPECT_EQ(decodeHeader(bytes, sizeof bytes, &back), 0);
  EXPECT_EQ(back.indexOffset, 128u);
}

TEST(CodecHeader, DamageGivesTheSpecifiedCodes) {
  LibHeader h;
  h.count = 3;
  h.indexOffset = 4000;
  uint8_t good[kHeaderSize];
  encodeHeader(h, good);
  const std::tuple<const char*, size_t, uint8_t, size_t, uint16_t> rows[] = {
      {"short file", 0, 'S', 100, kNotLibrary},
      {"magic", 0, 'X', kHeaderSize, kNotLibrary},
      {"magic line end", 7, 0x0D, kHeaderSize, kNotLibrary},
      {"version", 8, 2, kHeaderSize, kBadVersion},
      {"count byte", 12, 4, kHeaderSize, kHeaderCrc},
      {"index offset", 17, 1, kHeaderSize, kHeaderCrc},
      {"crc itself", 124, 0, kHeaderSize, kHeaderCrc},
  };
  for (const auto& [what, offset, value, length, code] : rows) {
    uint8_t bytes[kHeaderSize];
    memcpy(bytes, good, sizeof bytes);
    bytes[offset] = value;
    LibHeader out;
    EXPECT_EQ(decodeHeader(bytes, length, &out), code) << what;
  }
}

TEST(CodecHeader, InconsistentFieldsWithAValidCrcAreRefused) {
  const std::pair<const char*, void (*)(LibHeader&)> rows[] = {
      {"unknown flag", [](LibHeader& h) { h.flags = 2; }},
      {"protected without kdf", [](LibHeader& h) { h.flags = kLibProtected; }},
      {"kdf without protection", [](LibHeader& h) { h.kdf = kKdfPbkdf2Sha256; }},
      {"too many members", [](LibHeader& h) { h.count = kMaxMembers + 1; }},
      {"index inside header", [](LibHeader& h) { h.indexOffset = 64; }},
      {"protected with no cost",
       [](LibHeader& h) {
         h.flags = kLibProtected;
         h.kdf = kKdfPbkdf2Sha256;
       }},
  };
  for (const auto& [what, edit] : rows) {
    LibHeader h;
    edit(h);
    uint8_t bytes[kHeaderSize];
    encodeHeader(h, bytes);
    LibHeader out;
    EXPECT_EQ(decodeHeader(bytes, sizeof bytes, &out), kHeaderCrc) << what;
  }
}

Entry sampleEntry() {
  Entry e;
  e.name = "a.txt";
  e.path = "dir/sub";
  e.method = kMethodZstd;
  e.level = 5;
  e.flags = kMemberText;
  e.size = 1000;
  e.stored = 100;
  e.offset = kHeaderSize + kLocalOverhead + kEntryFixedSize + 12;
  e.mtime = 1700000000;
  e.mode = 0644;
  e.storedCrc = 0xDEADBEEF;
  return e;
}

TEST(CodecEntry, RoundTripAndLocalCopy) {
  Entry e = sampleEntry();
  std::vector<uint8_t> bytes;
  appendEntry(e, &bytes);
  ASSERT_EQ(bytes.size(), kEntryFixedSize + 5 + 7);
  EXPECT_EQ(test::toHex(bytes.data(), 8), "0500070001050400");
  Entry back;
  size_t used = 0;
  ASSERT_TRUE(decodeEntry(bytes.data(), bytes.size(), &back, &used));
  EXPECT_EQ(used, bytes.size());
  EXPECT_EQ(back.fullName() + " " + std::to_string(back.size) + " " + std::to_string(back.stored) +
                " " + std::to_string(back.storedCrc) + " " + std::to_string(back.mtime),
            "dir/sub/a.txt 1000 100 3735928559 1700000000");
  std::vector<uint8_t> local = encodeLocal(e);
  EXPECT_EQ(std::string(local.begin(), local.begin() + 4), "SGLM");
  EXPECT_EQ(local.size(), kLocalOverhead + bytes.size());
  EXPECT_TRUE(std::equal(bytes.begin(), bytes.end(), local.begin() + 8));
}

TEST(CodecEntry, MalformedEntriesAreRefused) {
  const std::pair<const char*, void (*)(Entry&)> rows[] = {
      {"unknown method", [](Entry& e) { e.method = 7; }},
      {"unknown flag", [](Entry& e) { e.flags = 0x40; }},
      {"password without kdf", [](Entry& e) { e.flags = kMemberPassword; }},
      {"kdf without password", [](Entry& e) { e.kdf = kKdfPbkdf2Sha256; }},
      {"stored size differs", [](Entry& e) { e.method = kMethodStored; }},
      {"NUL in name", [](Entry& e) { e.name = std::string("a\0b", 3); }},
  };
  for (const auto& [what, edit] : rows) {
    Entry e = sampleEntry();
    edit(e);
    std::vector<uint8_t> bytes;
    appendEntry(e, &bytes);
    Entry back;
    size_t used = 0;
    EXPECT_FALSE(decodeEntry(bytes.data(), bytes.size(), &back, &used)) << what;
  }
  std::vector<uint8_t> bytes;
  appendEntry(sampleEntry(), &bytes);
  Entry back;
  size_t used = 0;
  for (size_t cut : {size_t{0}, size_t{50}, kEntryFixedSize, bytes.size() - 1}) {
    EXPECT_FALSE(decodeEntry(bytes.data(), cut, &back, &used)) << cut;
  }
}

TEST(CodecIndex, ChecksumCountAndPositions) {
  Entry e = sampleEntry();
  std::vector<uint8_t> index;
  appendEntry(e, &index);
  LibHeader h;
  h.count = 1;
  h.indexOffset = e.offset + e.stored;
  h.indexLength = index.size();
  h.indexCrc = crc32Update(0, index.data(), index.size());
  std::vector<Entry> entries;
  EXPECT_EQ(decodeIndex(index, h, &entries), 0);
  ASSERT_EQ(entries.size(), 1u);
  auto with = [&](uint64_t offset, uint32_t count) {
    LibHeader edited = h;
    edited.indexOffset = offset;
    edited.count = count;
    return decodeIndex(index, edited, &entries);
  };
  EXPECT_EQ(with(h.indexOffset - 1, 1), kBadPosition);  // data would overlap the index
  EXPECT_EQ(with(h.indexOffset, 2), kIndexCrc);
  EXPECT_EQ(with(h.indexOffset, 0), kIndexCrc);  // bytes left over
  std::vector<uint8_t> damaged = index;
  damaged[20] ^= 1;
  EXPECT_EQ(decodeIndex(damaged, h, &entries), kIndexCrc);
}

TEST(CodecNames, OnlyRelativeComponentsAreMembers) {
  const std::tuple<const char*, const char*, bool> rows[] = {
      {"a.txt", "", true},     {"a.txt", "x/y", true}, {"...", "x", true}, {"..", "", false},
      {".", "", false},        {"a/b", "", false},     {"", "", false},    {"a", "/etc", false},
      {"a", "x/../..", false}, {"a", "x//y", false},   {"a", "x/", false}, {"a", "..", false},
      {"a", "./x", false},
  };
  for (const auto& [name, path, valid] : rows) {
    EXPECT_EQ(validName(name) && validPath(path), valid) << name << " in " << path;
  }
}

}  // namespace
}  // namespace sigillo::codec
