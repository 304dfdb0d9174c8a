// Bases of the captured results that sibling modules return.
//
// A ResultImpBase owns a list of counted result items (TXPItemBase), an error code
// with its message, and the identity of the source image. A per-task result can point
// at the overall captured result that contains it (its parent): items added with
// AddResultItemExternal and every removal are passed on to the parent, so the two
// stay in step. Locks are always taken child first, then parent; a parent never calls
// into its children.
//
// Thread safety: the item list is guarded by the result's mutex in the add, has and
// remove operations. GetResultItem and GetResultItems take no lock: use them once
// the result is complete. All other fields are set up before the result is shared.
#ifndef NORVANE_BASIC_STRUCTURES_RESULT_BASE_H_
#define NORVANE_BASIC_STRUCTURES_RESULT_BASE_H_

#include <cstdint>
#include <string>
#include <vector>

#include "norvane/basic_structures/captured_result_item.h"
#include "norvane/basic_structures/image_data.h"
#include "norvane/core/export.h"
#include "norvane/core/mutex.h"
#include "norvane/core/object_base.h"
#include "norvane/core/thread_annotations.h"

namespace Json {
class Value;
}  // namespace Json

namespace norvane {

class BufferedItemManager;

namespace basic_structures {

// The type of a buffered item: which buffer of a BufferedItemManager keeps it. The
// values are the sibling modules'; any 32-bit value may be used.
enum BufferedItemType : int32_t {};

// The base of every result item. The deriving class sets `publicItem`, the
// caller-visible object that stands for this item. The two flags, the int and the two
// strings are defined by the sibling modules; this base stores and copies them.
class NORVANE_API TXPItemBase : public TQObjectBase {
 public:
  TXPItemBase();
  // Copies the flags, the int and the strings; not the reference item nor the
  // public item pointer.
  TXPItemBase(const TXPItemBase& other);
  ~TXPItemBase() override;
  TXPItemBase& operator=(const TXPItemBase&) = delete;

  // A new item of the same kind with the same content; owned by the caller.
  virtual TXPItemBase* Clone() const = 0;

  // Stores one reference in the process-wide pool and returns the public item.
  CCapturedResultItem* RetainCache();
  // Drops the oldest reference stored in the pool for this item.
  void ReleaseCache();

  CCapturedResultItem* GetPublicItem() const { return publicItem; }
  const TQRef<TXPItemBase>& GetReferenceItem() const { return referenceItem; }
  void SetReferenceItem(const TQRef<TXPItemBase>& item) { referenceItem = item; }
  const std::string& GetTargetROIDefName() const { return targetROIDefName; }
  void SetTargetROIDefName(const std::string& name) { targetROIDefName = name; }
  const std::string& GetTaskName() const { return taskName; }
  void SetTaskName(const std::string& name) { taskName = name; }

 protected:
  TQRef<TXPItemBase> referenceItem;
  bool isModified;
  bool isValid;
  int itemType;
  CCapturedResultItem* publicItem;
  std::string targetROIDefName;
  std::string taskName;
};

class NORVANE_API ResultImpBase : public TQObjectBase {
 public:
  // `hashId` may be null (empty id); the tag is cloned when not null.
  ResultImpBase(const char* hashId, const CImageTag* tag);
  // Copies the hash id, the tag (cloned), the rotation matrix, the error code and
  // text; the copy has no items, no parent and no product result.
  explicit ResultImpBase(const ResultImpBase* other);
  ~ResultImpBase() override;
  ResultImpBase(const ResultImpBase&) = delete;
  ResultImpBase& operator=(const ResultImpBase&) = delete;

  const std::string& GetOriginalImageHashId() const { return originalImageHashId; }
  const CImageTag* GetOriginalImageTag() const { return originalImageTag; }
  int GetErrorCode() const { return errorCode; }
  const std::string& GetErrorString() const { return errorString; }
  // Sets the code and its message from the error table.
  void SetErrorCode(int code);
  void SetErrorString(const std::string& text);
  void* GetCProductResultPtr() const { return productResultPtr; }
  void SetCProductResultPtr(void* pointer) { productResultPtr = pointer; }
  void GetSourceImageRotationMatrix(double* out) const;
  void SetSourceImageRotationMatrix(const double* in);
  void SetCaptureResultPointer(ResultImpBase* parent) { captureResult = parent; }
  ResultImpBase* GetCaptureResultPointer() const { return captureResult; }

  // Item `index` (not checked); no lock.
  TQRef<TXPItemBase> GetResultItem(int index) const;
  // No lock: for a complete result.
  const std::vector<TQRef<TXPItemBase>>& GetResultItems() const;
  int GetResultItemCount();

  // Appends (an empty holder too); not passed to the parent.
  void AddResultItem(TQRef<TXPItemBase> item);
  void AddResultItems(const std::vector<TQRef<TXPItemBase>>& items);
  // Appends a new reference and passes the item on to the parent. -10002 for null.
  int AddResultItemExternal(TXPItemBase* item);
  // Whether some item's public item is `item`; false for null.
  bool HasResultItem(const CCapturedResultItem* item);
  // Removes the first item whose public item is `item` (order kept), then asks the
  // parent to do the same, found or not. Always 0.
  int RemoveResultItem(const CCapturedResultItem* item);

  void RetainCache();
  void ReleaseCache();

 protected:
  std::string originalImageHashId;
  CImageTag* originalImageTag;
  int errorCode;
  std::string errorString;
  void* productResultPtr;
  Mutex mutex;
  double sourceImageRotationMatrix[9];
  std::vector<TQRef<TXPItemBase>> items GUARDED_BY(mutex);
  ResultImpBase* captureResult;
};

// The base of the sets that copy buffered items out of a BufferedItemManager.
class NORVANE_API BufferedItemSetBase : public TQObjectBase {
 public:
  ~BufferedItemSetBase() override;
  // Copies what this set wants from the manager; called under the manager's lock.
  virtual void CopyFromBufferedItemManager(const BufferedItemManager* manager) = 0;
};

// The base of parameter objects; every operation is defined by the sibling modules.
class NORVANE_API TXPParameterBase : public TQObjectBase {
 public:
  ~TXPParameterBase() override = 0;
  virtual int ReadFromJson(const Json::Value& value) = 0;
  virtual void WriteToJson(Json::Value& value) const = 0;
  virtual TXPParameterBase* Clone() const = 0;

  // Fills all `size` bytes of `buffer` with 0 and copies min(length, size) bytes of
  // `text`: a text as long as the buffer fills it without a terminating zero.
  // Nothing happens for a null buffer or a size below 1.
  static void CopyStringToBuffer(const std::string& text, char* buffer, int size);
};

}  // namespace basic_structures
}  // namespace norvane

#endif  // NORVANE_BASIC_STRUCTURES_RESULT_BASE_H_
