#include "norvane/task_runtime/region_object.h"

#include "norvane/basic_structures/object_ref_pool.h"
#include "norvane/basic_structures/transform_matrix.h"
#include "norvane/core/error_codes.h"
#include "norvane/core/hash_algorithm.h"

namespace norvane {

using basic_structures::TQImageData;

TQRegionObject::TQRegionObject()
    : elementType(static_cast<RegionObjectElementType>(0)),
      isWholeImage(false),
      regionObjectElement(nullptr) {}

TQRegionObject::TQRegionObject(TQRef<TQSourceImageObject>& source, RegionObjectElementType type)
    : elementType(type), sourceImage(source), isWholeImage(false), regionObjectElement(nullptr) {
  InitTQRegionObject(source ? source->GetImage() : nullptr);
}

TQRegionObject::TQRegionObject(RegionObjectElementType type, TQImageData* image)
    : elementType(type), isWholeImage(false), regionObjectElement(nullptr) {
  InitTQRegionObject(image);
}

TQRegionObject::TQRegionObject(RegionObjectElementType type, TQImageData* image,
                               const TQ_Quad& quad)
    : elementType(type), isWholeImage(false), regionObjectElement(nullptr) {
  InitTQRegionObject(image, quad);
}

TQRegionObject::TQRegionObject(const TQRegionObject& other)
    : TQ_Quad(other),
      elementType(other.elementType),
      targetROIDefName(other.targetROIDefName),
      productTaskName(other.productTaskName),
      sourceImage(other.sourceImage),
      regionImage(other.regionImage),
      isWholeImage(other.isWholeImage),
      referenceRegion(other.referenceRegion),
      regionObjectElement(other.regionObjectElement),
      moduleMap(other.moduleMap),
      regionHashId(other.regionHashId) {}

TQRegionObject::~TQRegionObject() = default;

const double* TQRegionObject::GetCropROITransMat(TQImageData*, int&, int&) { return nullptr; }

bool TQRegionObject::IsWholeFrameOf(const TQImageData* image) const {
  const int w = image->GetWidth();
  const int h = image->GetHeight();
  const Point frame[4] = {Point(0, 0), Point(w - 1, 0), Point(w - 1, h - 1), Point(0, h - 1)};
  return IsTotSamePoints(frame);
}

void TQRegionObject::UpdateHashIdIfComplete() {
  if (sourceImage && regionImage) CalcRegionHashId();
}

void TQRegionObject::InitTQRegionObject(TQImageData* image) {
  regionImage = image;
  isWholeImage = true;
  const int w = image != nullptr ? image->GetWidth() : 0;
  const int h = image != nullptr ? image->GetHeight() : 0;
  const Point frame[4] = {Point(0, 0), Point(w - 1, 0), Point(w - 1, h - 1), Point(0, h - 1)};
  SetVertices(frame);
  UpdateHashIdIfComplete();
}

void TQRegionObject::InitTQRegionObject(TQImageData* image, const TQ_Quad& quad) {
  regionImage = image;
  CloneQuad(quad);
  isWholeImage = image != nullptr && IsWholeFrameOf(image);
  UpdateHashIdIfComplete();
}

int TQRegionObject::SetLocationWithQuadrilateral(const basic_structures::CQuadrilateral& quad) {
  Point points[4];
  ConvertQuadrilateralToClockWisePoints(quad, points);
  TQ_Quad candidate(points);
  if (!candidate.IsConvex()) return EC_QUADRILATERAL_INVALID;
  SetVertices(points);
  id.isSet = false;  // the quad's own hash id no longer matches its corners
  if (regionImage) isWholeImage = IsWholeFrameOf(regionImage.get());
  UpdateHashIdIfComplete();
  return EC_OK;
}

void TQRegionObject::CalcRegionHashId() {
  if (!regionImage) return;
  regionImage->CalcHashID();
  const TQObjectBaseIdStruct& imageId = regionImage->GetIdStruct();
  if (isWholeImage) {
    regionHashId = imageId.GetValue();
    return;
  }
  CalcHashID();
  const std::string text = imageId.GetValue() + id.GetValue();
  TQRef<TQArray<char>> hash =
      TQHashAlgorithm::GenerateHash(text.data(), static_cast<unsigned int>(text.size()));
  regionHashId = hash->GetData();
}

TQRef<TQRegionObject>& TQRegionObject::GetCertainReferenceRegionByTargetName(
    const std::string& name) {
  TQRef<TQRegionObject>* holder = &referenceRegion;
  while (*holder && (*holder)->targetROIDefName != name) holder = &(*holder)->referenceRegion;
  return *holder;
}

bool TQRegionObject::IsTotSamePoints(const Point* points) const {
  const Point* own = GetVertices();
  for (int i = 0; i < 4; ++i) {
    if (own[i].x != points[i].x || own[i].y != points[i].y) return false;
  }
  return true;
}

void TQRegionObject::GetIdentityMatrix(double* matrix) const { ResetTransformMatrix(matrix); }

void* TQRegionObject::ConvertReferenceRegionToElement() const {
  if (!referenceRegion) return nullptr;
  const RegionObjectElementType type = referenceRegion->elementType;
  if (type == ROET_PLAIN_REGION || type == ROET_PLAIN_IMAGE) return nullptr;
  return referenceRegion->regionObjectElement;
}

void* TQRegionObject::RetainCache() {
  basic_structures::TQObjectRefPool::GetInstance()->RetainCache(this);
  return regionObjectElement;
}

void TQRegionObject::ReleaseCache() {
  basic_structures::TQObjectRefPool::GetInstance()->ReleaseCache(this);
}

TQRegionObjectManager::~TQRegionObjectManager() = default;

void TQRegionObjectManager::AddRegionObject(TQRegionObject* region) {
  if (region == nullptr) return;
  TQRef<TQRegionObject> held(region);
  MutexLock lock(&mutex);
  regions[region->GetRegionType()].push_back(std::move(held));
}

TQRegionObjectManager::RegionList* TQRegionObjectManager::GetCertainTypeRegions(
    RegionObjectElementType type) {
  MutexLock lock(&mutex);
  return &regions[type];
}

}  // namespace norvane
