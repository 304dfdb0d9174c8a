#include "norvane/task_runtime/source_image_object.h"

#include "norvane/task_runtime/data_manager_pool.h"

namespace norvane {

TQSourceImageObject::TQSourceImageObject(basic_structures::TQImageData* sourceImage,
                                         unsigned int imagePriority, int imageTimeOutCount)
    : image(sourceImage),
      priority(imagePriority),
      timeOutCount(imageTimeOutCount),
      timeCheckCount(0),
      managerPool(nullptr) {}

TQSourceImageObject::~TQSourceImageObject() = default;

const std::string& TQSourceImageObject::GetHashID() {
  // The image computes its id once and keeps it; asking again is cheap.
  image->CalcHashID();
  return image->GetIdStruct().GetValue();
}

bool TQSourceImageObject::IsTimeOut() const {
  return timeOutCount < timeCheckCount.load(std::memory_order_seq_cst);
}

bool TQSourceImageObject::IsCheckPointNeedExit(int* errorCode) const {
  if (managerPool != nullptr && managerPool->GetTaskEffectTimeManager()->IsTimePointOpen()) {
    if (errorCode != nullptr) *errorCode = EC_OK;
    return true;
  }
  if (IsTimeOut()) {
    if (errorCode != nullptr) *errorCode = EC_TIMEOUT;
    return true;
  }
  return false;
}

void TQSourceImageObject::AddErrorCodeInfo(ErrorCode code, const char* targetROIDefName,
                                           const char* taskName, const char* detail,
                                           const char* extra) {
  TQErrorCodeInfo info;
  info.code = code;
  if (targetROIDefName != nullptr) info.targetROIDefName = targetROIDefName;
  if (taskName != nullptr) info.taskName = taskName;
  if (detail != nullptr) info.detail = detail;
  if (extra != nullptr) info.extra = extra;
  SyncObjectLock lock(&mutex);
  errors.push_back(std::move(info));
}

ErrorCode TQSourceImageObject::GetErrorCode() const {
  SyncObjectLock lock(&mutex);
  return errors.empty() ? EC_OK : errors.back().code;
}

std::list<TQErrorCodeInfo> TQSourceImageObject::GetErrorCodeInfos() const {
  SyncObjectLock lock(&mutex);
  return errors;
}

void TQSourceImageObject::SetTargetDefPriority(const std::string& name, unsigned int value) {
  targetDefPriorityMap[name] = value;
}

}  // namespace norvane
