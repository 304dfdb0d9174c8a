// The pieces of a captured image that tasks work on.
//
// A TQRegionObject is a quadrilateral (a TQ_Quad) in the coordinates of its region
// image, pointing back to its source image and to the region it was derived from
// (the reference chain ends in an empty holder). Its hash id is its image's id when it
// covers the whole frame, otherwise "BKDR_" + the hash of the image id followed by the
// quad's id; it is recomputed whenever the image or location changes while both the
// source image and the region image are known.
//
// TQRegionObjectManager groups the regions of one image by element type.
//
// Thread safety: a region is set up by one thread before others read it; the
// manager locks its map for each addition and lookup.
#ifndef NORVANE_TASK_RUNTIME_REGION_OBJECT_H_
#define NORVANE_TASK_RUNTIME_REGION_OBJECT_H_

#include <map>
#include <string>
#include <vector>

#include "norvane/basic_structures/quadrilateral.h"
#include "norvane/basic_structures/tq_image_data.h"
#include "norvane/core/export.h"
#include "norvane/core/mutex.h"
#include "norvane/core/object_base.h"
#include "norvane/core/thread_annotations.h"
#include "norvane/geometry/quad.h"
#include "norvane/task_runtime/source_image_object.h"
#include "norvane/task_runtime/task_types.h"

namespace norvane {

class NORVANE_API TQRegionObject : public TQ_Quad {
 public:
  typedef basic_structures::TQPoint_<int> Point;

  TQRegionObject();
  // The whole image of `source`, as a region of the given type.
  TQRegionObject(TQRef<TQSourceImageObject>& source, RegionObjectElementType type);
  // The whole of `image`.
  TQRegionObject(RegionObjectElementType type, basic_structures::TQImageData* image);
  // `quad` in the coordinates of `image`.
  TQRegionObject(RegionObjectElementType type, basic_structures::TQImageData* image,
                 const TQ_Quad& quad);
  TQRegionObject(const TQRegionObject& other);
  ~TQRegionObject() override;
  TQRegionObject& operator=(const TQRegionObject&) = delete;

  // The transform of a cropped region image, with its size; this class has none and
  // returns null, leaving the sizes alone.
  virtual const double* GetCropROITransMat(basic_structures::TQImageData* image, int& width,
                                           int& height);
  // Recomputes the region hash id from the region image and the quad.
  virtual void CalcRegionHashId();

  // The region becomes the whole of `image`.
  void InitTQRegionObject(basic_structures::TQImageData* image);
  // The region becomes `quad` (vertices and their caches) in `image`.
  void InitTQRegionObject(basic_structures::TQImageData* image, const TQ_Quad& quad);
  // Moves the region to the quadrilateral, put in clockwise order. -50057 and no change
  // when it is not convex; else 0.
  int SetLocationWithQuadrilateral(const basic_structures::CQuadrilateral& quad);

  basic_structures::TQImageData* GetRegionImage() const { return regionImage.get(); }
  const TQ_Quad& GetRegionQuad() const { return *this; }
  RegionObjectElementType GetRegionType() const { return elementType; }
  const std::string& GetRegionHashId() const { return regionHashId; }
  void SetRegionHashId(const std::string& hashId) { regionHashId = hashId; }
  const std::string& GetTargetROIDefName() const { return targetROIDefName; }
  void SetTargetROIDefName(const std::string& name) { targetROIDefName = name; }
  const std::string& GetProductTaskName() const { return productTaskName; }
  void SetProductTaskName(const std::string& name) { productTaskName = name; }
  TQRef<TQSourceImageObject>& GetSourceImageObject() { return sourceImage; }
  void SetSourceImageObject(TQRef<TQSourceImageObject>& source) { sourceImage = source; }
  TQRef<TQRegionObject>& GetReferenceRegion() { return referenceRegion; }
  void SetReferenceRegion(TQRef<TQRegionObject>& region) { referenceRegion = region; }
  bool RegionIsWholeImage() const { return isWholeImage; }
  void* GetCRegionObjectElementPtr() const { return regionObjectElement; }
  void SetCRegionObjectElementPtr(void* element) { regionObjectElement = element; }
  std::map<std::string, std::string>& GetModuleMap() { return moduleMap; }

  // Walks the reference chain from this region's reference region and returns the
  // holder of the first region whose definition name is `name`, or the empty holder
  // that ends the chain.
  TQRef<TQRegionObject>& GetCertainReferenceRegionByTargetName(const std::string& name);
  // Whether the vertices equal `points`, in this order.
  bool IsTotSamePoints(const Point* points) const;
  void GetIdentityMatrix(double* matrix) const;
  // The reference region's element, unless there is none or it is a plain region or
  // image (types 7 and 8).
  void* ConvertReferenceRegionToElement() const;
  // Keeps one reference in the process-wide pool; returns the element pointer.
  void* RetainCache();
  void ReleaseCache();

 private:
  bool IsWholeFrameOf(const basic_structures::TQImageData* image) const;
  void UpdateHashIdIfComplete();

  RegionObjectElementType elementType;
  std::string targetROIDefName;
  std::string productTaskName;
  TQRef<TQSourceImageObject> sourceImage;
  TQRef<basic_structures::TQImageData> regionImage;
  bool isWholeImage;
  TQRef<TQRegionObject> referenceRegion;
  void* regionObjectElement;
  std::map<std::string, std::string> moduleMap;
  std::string regionHashId;
};

class NORVANE_API TQRegionObjectManager : public TQObjectBase {
 public:
  typedef std::vector<TQRef<TQRegionObject>> RegionList;

  ~TQRegionObjectManager() override;
  // Appends a new reference to the list of the region's type.
  void AddRegionObject(TQRegionObject* region);
  // The list of a type (created empty when unknown); read it after the call returns,
  // while no other thread adds regions of that type.
  RegionList* GetCertainTypeRegions(RegionObjectElementType type);

 private:
  std::map<RegionObjectElementType, RegionList> regions GUARDED_BY(mutex);
  Mutex mutex;
};

}  // namespace norvane

#endif  // NORVANE_TASK_RUNTIME_REGION_OBJECT_H_
