// Helpers shared by the fuzz targets: a failed check that libFuzzer reports as a
// crash, and fixed-size fields read off the input in turn.
#ifndef NORVANE_FUZZ_FUZZ_INPUT_H_
#define NORVANE_FUZZ_FUZZ_INPUT_H_

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace norvane_fuzz {

inline void Check(bool condition) {
  if (!condition) __builtin_trap();
}

// Reads the next fixed-size field; zero once the input runs out.
class Fields {
 public:
  Fields(const uint8_t* data, size_t size) : data_(data), size_(size) {}
  template <typename T>
  T Next() {
    T value{};
    const size_t n = size_ < sizeof(T) ? size_ : sizeof(T);
    std::memcpy(&value, data_, n);
    data_ += n;
    size_ -= n;
    return value;
  }
  bool empty() const { return size_ == 0; }
  const uint8_t* rest() const { return data_; }
  size_t restSize() const { return size_; }

 private:
  const uint8_t* data_;
  size_t size_;
};

}  // namespace norvane_fuzz

#endif  // NORVANE_FUZZ_FUZZ_INPUT_H_
