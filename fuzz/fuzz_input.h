// Draws values from a fuzzer's input bytes. Once the bytes run out every
// draw gives 0, so any input decodes to a complete, deterministic run.
#ifndef VD_FUZZ_FUZZ_INPUT_H_
#define VD_FUZZ_FUZZ_INPUT_H_

#include <cstddef>
#include <cstdint>

namespace vdfuzz {

class FuzzInput {
 public:
  FuzzInput(const uint8_t* data, size_t size) : data_(data), size_(size) {}

  bool empty() const { return size_ == 0; }
  size_t remaining() const { return size_; }

  uint8_t Byte() {
    if (size_ == 0) return 0;
    --size_;
    return *data_++;
  }
  uint16_t U16() {
    const uint16_t lo = Byte();
    return static_cast<uint16_t>(lo | (Byte() << 8));
  }
  uint32_t U32() {
    const uint32_t lo = U16();
    return lo | (static_cast<uint32_t>(U16()) << 16);
  }
  int32_t I32() { return static_cast<int32_t>(U32()); }
  bool Bit() { return Byte() & 1; }
  // A value in lo .. hi (inclusive).
  int Range(int lo, int hi) {
    const uint32_t span = static_cast<uint32_t>(hi - lo) + 1;
    return lo + static_cast<int>(U16() % span);
  }
  // lo + step * k for some k, not above hi.
  int Stepped(int lo, int hi, int step) {
    return lo + step * Range(0, (hi - lo) / step);
  }

 private:
  const uint8_t* data_;
  size_t size_;
};

}  // namespace vdfuzz

#endif  // VD_FUZZ_FUZZ_INPUT_H_
