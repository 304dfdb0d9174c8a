// The library's text hash ids, and the counted array that carries them.
//
// TQHashAlgorithm::GenerateHash turns a byte buffer into the text "BKDR_" followed
// by the decimal value of a 31-multiplier hash (masked to 31 bits). Inputs of 32 KiB
// and more are sampled: every second byte up to 64 KiB, every third up to 96 KiB,
// and so on. Images, quadrilaterals and regions take their ids from it.
#ifndef NORVANE_CORE_HASH_ALGORITHM_H_
#define NORVANE_CORE_HASH_ALGORITHM_H_

#include <cstddef>

#include "norvane/core/export.h"
#include "norvane/core/object_base.h"

namespace norvane {

// A counted, zero-initialised array of `length` elements that it owns.
template <typename T>
class TQArray : public TQObjectBase {
 public:
  explicit TQArray(unsigned int length) : data_(new T[length]()), length_(length) {}
  ~TQArray() override { delete[] data_; }
  TQArray(const TQArray&) = delete;
  TQArray& operator=(const TQArray&) = delete;

  T* GetData() { return data_; }
  const T* GetData() const { return data_; }
  unsigned int GetLength() const { return length_; }

 private:
  T* data_;
  unsigned int length_;
};

class NORVANE_API TQHashAlgorithm {
 public:
  // A new zero-terminated character array holding the hash text of the bytes.
  static TQRef<TQArray<char>> GenerateHash(const void* data, unsigned int length);
};

}  // namespace norvane

#endif  // NORVANE_CORE_HASH_ALGORITHM_H_
