// CVector4: four 32-bit signed integers. The default constructor leaves them
// unset; indexing is not bounds-checked.
#ifndef NORVANE_BASIC_STRUCTURES_VECTOR4_H_
#define NORVANE_BASIC_STRUCTURES_VECTOR4_H_

#include "norvane/core/export.h"

namespace norvane {
namespace basic_structures {

#pragma pack(push, 1)
class NORVANE_API CVector4 {
 public:
  CVector4() {}
  CVector4(int a, int b, int c, int d) { Set(a, b, c, d); }
  CVector4(const CVector4& other) { *this = other; }
  ~CVector4() {}
  CVector4& operator=(const CVector4& other) {
    for (int i = 0; i < 4; ++i) value[i] = other.value[i];
    return *this;
  }

  void Set(int a, int b, int c, int d) {
    value[0] = a;
    value[1] = b;
    value[2] = c;
    value[3] = d;
  }
  int operator[](int index) const { return value[index]; }
  int& operator[](int index) { return value[index]; }

  int value[4];
};
#pragma pack(pop)

}  // namespace basic_structures
}  // namespace norvane

#endif  // NORVANE_BASIC_STRUCTURES_VECTOR4_H_
