// Reading a library: header, index, keys, and member data decoded and
// verified as a stream.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "archive/codec_format.h"
#include "archive/codec_io.h"
#include "framework/secure.h"

namespace sigillo::codec {

// Largest index accepted or written: the index is held in memory.
constexpr uint64_t kMaxIndexBytes = 48ull << 20;
// Block of the streaming copies, compressions and decompressions.
constexpr size_t kChunk = 1 << 20;

class Library {
 public:
  // Opens a library file; 0 or a CODEC code with a detail entry.
  uint16_t open(const std::string& path);
  // Reads the library held in bytes [base, base + length) of an open file.
  uint16_t openAt(int fd, uint64_t base, uint64_t length, const std::string& label);
  // Verifies the library password and keeps the library key; a library with
  // no password ignores it.
  uint16_t unlock(const std::optional<std::string>& password);

  bool isProtected() const { return (header_.flags & kLibProtected) != 0; }
  bool unlocked() const { return !key_.empty(); }
  const LibHeader& header() const { return header_; }
  const std::vector<Entry>& entries() const { return entries_; }
  const SecureBytes& key() const { return key_; }
  int fd() const { return fd_ >= 0 ? fd_ : owned_.get(); }
  uint64_t base() const { return base_; }
  uint64_t length() const { return length_; }
  const std::string& label() const { return label_; }

 private:
  Fd owned_;
  int fd_ = -1;
  uint64_t base_ = 0;
  uint64_t length_ = 0;
  std::string label_;
  LibHeader header_;
  std::vector<Entry> entries_;
  SecureBytes key_;
};

// The header fields that authenticate the library key: magic, version, flags.
constexpr size_t kKeyAadSize = 12;
void keyAad(const LibHeader& header, uint8_t (&aad)[kKeyAadSize]);

// Where decoded member bytes go; false on a write failure.
class Sink {
 public:
  virtual ~Sink() = default;
  virtual bool write(const uint8_t* data, size_t length) = 0;
};

// Decodes one member into `sink` (null: only verify), applying `table` to
// text members when it is not null.  Codes 3, 4, 13, 26, 34, 48.
uint16_t decodeMember(const Library& library, const Entry& entry,
                      const std::optional<std::string>& memberPassword, const uint8_t* table,
                      Sink* sink);

// Reads the stored bytes and compares their CRC, without keys; 0, 4 or 26.
uint16_t checkStored(int fd, uint64_t offset, const Entry& entry, Sink* copy);

// Opens a library file for reading into `fd` and gives its size: 0, or
// kLibOpenRead when it cannot be opened or is no regular file (a FIFO is
// refused, not waited on).
uint16_t openLibraryFile(const std::string& path, Fd* fd, uint64_t* size);

// Member key from its password, checked against the entry's check value.
uint16_t memberKey(const Entry& entry, const std::optional<std::string>& password,
                   SecureBytes* key);

}  // namespace sigillo::codec
