// One table-driven engine for the reflected CRCs; each variant differs only
// in width, polynomial, starting value and final XOR.
#include "primitives/crc.h"

#include <array>

namespace sigillo {
namespace {

template <class Word>
struct CrcParameters {
  Word polynomial;
  Word initial;
  Word finalXor;
};

template <class Word>
constexpr std::array<Word, 256> makeTable(Word polynomial) {
  std::array<Word, 256> table{};
  for (unsigned byte = 0; byte < 256; ++byte) {
    Word value = static_cast<Word>(byte);
    for (int bit = 0; bit < 8; ++bit) {
      value = (value & 1) ? static_cast<Word>((value >> 1) ^ polynomial)
                          : static_cast<Word>(value >> 1);
    }
    table[byte] = value;
  }
  return table;
}

template <class Word, CrcParameters<Word> kParameters>
class ReflectedCrc final : public Digest {
 public:
  void update(const uint8_t* data, size_t length) override {
    for (size_t i = 0; i < length; ++i) {
      crc_ = static_cast<Word>((crc_ >> 8) ^ kTable[(crc_ ^ data[i]) & 0xFF]);
    }
  }

  void finish(uint8_t* out) override {
    const Word value = crc_ ^ kParameters.finalXor;
    for (size_t i = 0; i < sizeof(Word); ++i) {
      out[i] = static_cast<uint8_t>(value >> (8 * (sizeof(Word) - 1 - i)));
    }
  }

  size_t size() const override { return sizeof(Word); }

 private:
  static constexpr std::array<Word, 256> kTable = makeTable<Word>(kParameters.polynomial);
  Word crc_ = kParameters.initial;
};

using Crc16 = ReflectedCrc<uint16_t, CrcParameters<uint16_t>{0xA001, 0x0000, 0x0000}>;
using Fcs16 = ReflectedCrc<uint16_t, CrcParameters<uint16_t>{0x8408, 0xFFFF, 0xFFFF}>;
using Fcs32 = ReflectedCrc<uint32_t, CrcParameters<uint32_t>{0xEDB88320, 0xFFFFFFFF, 0xFFFFFFFF}>;

}  // namespace

std::unique_ptr<Digest> newCrc16() { return std::make_unique<Crc16>(); }
std::unique_ptr<Digest> newFcs16() { return std::make_unique<Fcs16>(); }
std::unique_ptr<Digest> newFcs32() { return std::make_unique<Fcs32>(); }

}  // namespace sigillo
