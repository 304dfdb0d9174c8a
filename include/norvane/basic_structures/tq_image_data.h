// The library's own image types built on CImageData.
//
// TQImageDataInner is a plain internal image: it either owns a zeroed buffer it
// allocated or borrows the caller's bytes without owning them. TQImageData is the
// reference-counted image of the task runtime: it carries a rotation matrix and
// computes its own hash id (derived classes decide from what). CImageDataWrapper lets
// a plain CImageData be shared through a TQRef.
#ifndef NORVANE_BASIC_STRUCTURES_TQ_IMAGE_DATA_H_
#define NORVANE_BASIC_STRUCTURES_TQ_IMAGE_DATA_H_

#include "norvane/basic_structures/image_data.h"
#include "norvane/core/export.h"
#include "norvane/core/object_base.h"

namespace norvane {
namespace basic_structures {

class NORVANE_API TQImageDataInner : public CImageData {
 public:
  // Owns a zero-filled buffer of stride * height bytes.
  TQImageDataInner(int width, int height, int stride, ImagePixelFormat format);
  // Refers to the caller's bytes (height * stride of them) without owning them.
  TQImageDataInner(const unsigned char* bytes, int width, int height, int stride,
                   ImagePixelFormat format);
  ~TQImageDataInner() override;

  unsigned char* GetBytes() { return const_cast<unsigned char*>(bytes); }
  void SetOrientationAngle(int angle) { orientation = angle; }

 private:
  bool isBorrowed;
};

class NORVANE_API TQImageData : public CImageData, public TQObjectBase {
 public:
  // The constructors of CImageData; the rotation matrix starts as the identity.
  TQImageData();
  TQImageData(unsigned long long bytesLength, const unsigned char* bytes, int width, int height,
              int stride, ImagePixelFormat format, int orientation = 0,
              const CImageTag* tag = nullptr);
  TQImageData(unsigned long long bytesLength, const unsigned char* bytes, BytesDeleter deleter,
              int width, int height, int stride, ImagePixelFormat format, int orientation = 0,
              const CImageTag* tag = nullptr);
  ~TQImageData() override;

  // Computes the image's hash id into the object's id (GetIdStruct()) and marks it set.
  virtual void CalcHashID() = 0;

  void GetRotationTransformMatrix(double out[9]) const;
  void SetRotationTransformMatrix(const double in[9]);
  void SetOrientationAngle(int angle) { orientation = angle; }

 private:
  double rotationTransformMatrix[9];
};

class NORVANE_API CImageDataWrapper : public TQObjectBase {
 public:
  // Takes ownership of `image` (which may be null).
  explicit CImageDataWrapper(CImageData* image);
  ~CImageDataWrapper() override;
  CImageDataWrapper(const CImageDataWrapper&) = delete;
  CImageDataWrapper& operator=(const CImageDataWrapper&) = delete;

  CImageData* GetImageData() const { return imageData; }
  // A new wrapper holding a deep copy (bytes and tag) of the held image, or null.
  CImageDataWrapper* DeepCopy() const;

 private:
  CImageData* imageData;
};

}  // namespace basic_structures
}  // namespace norvane

#endif  // NORVANE_BASIC_STRUCTURES_TQ_IMAGE_DATA_H_
