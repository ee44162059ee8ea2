// A running digest, checksum or MAC computation fed block by block.
#pragma once

#include <cstddef>
#include <cstdint>

namespace sigillo {

class Digest {
 public:
  virtual ~Digest() = default;
  virtual void update(const uint8_t* data, size_t length) = 0;
  // Writes size() bytes; the object is not used afterwards.
  virtual void finish(uint8_t* out) = 0;
  virtual size_t size() const = 0;
};

}  // namespace sigillo
