// Writing a library: a new file beside the target (or, for a new library the
// user names, the target itself), members copied or compressed into it,
// index and header last, then the rename.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "archive/codec_format.h"
#include "archive/codec_io.h"
#include "archive/codec_library.h"
#include "framework/secure.h"

namespace sigillo::codec {

// How a new member is encoded.
struct MemberInput {
  int fd = -1;                              // open for reading
  uint64_t sizeHint = 0;                    // bytes expected (from fstat)
  int level = 5;                            // 0 stores
  const std::string* password = nullptr;    // member password, or none
  const SecureBytes* libraryKey = nullptr;  // non-empty: protected library
};

class LibraryWriter {
 public:
  // A library that replaces `target` on finish, in one rename.
  uint16_t create(const std::string& target, mode_t mode);
  // A new library written through the name the user gave (rebuild).
  uint16_t createNamed(const std::string& target);
  // Copies a member's local entry and stored bytes, verifying their CRC.
  uint16_t copyMember(const Library& from, const Entry& entry);
  // Copies a member found by a scan at `dataOffset` of `fd`.
  uint16_t copyScanned(int fd, uint64_t dataOffset, const Entry& entry);
  // Encodes a new member; `entry` holds name, path, time, mode and flags.
  uint16_t addMember(const MemberInput& input, Entry entry);
  // Writes index and header (whose protection fields the caller sets) and
  // puts the new library in place.
  uint16_t finish(LibHeader header);
  const std::vector<Entry>& entries() const { return entries_; }
  uint64_t position() const { return position_; }

 private:
  uint16_t reserve(const Entry& entry);
  uint16_t writeBytes(const uint8_t* data, size_t length);
  uint16_t start();
  int fd() const { return inPlace_ ? named_.fd() : replacing_.fd(); }

  std::string target_;
  bool inPlace_ = false;
  ReplacingFile replacing_;
  NamedFile named_;
  uint64_t position_ = 0;
  std::vector<Entry> entries_;
};

}  // namespace sigillo::codec
