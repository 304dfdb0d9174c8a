// Intrusive reference counting for the library's shared runtime objects.
//
// TQObjectBase keeps its count inside the object and may be shared between threads:
// every change of the count is an atomic operation with full barriers. A new object
// has count 0; the first TQRef (or retain()) that takes it brings it to 1, and the
// release() that brings it back to 0 hands the object to its deleter (by default
// `delete`). Releasing an object whose count is already 0 throws the int 4711, the
// only diagnostic of an unbalanced release.
//
// TQSingleThreadObjectBase is the same with a plain count, for objects that never
// leave one thread. TQRef<T> owns exactly one reference and holds nothing but the
// pointer, so a vector of TQRef is a plain array of pointers.
//
// The id and deleter of a TQObjectBase are not synchronised: set them before the
// object is shared.
#ifndef NORVANE_CORE_OBJECT_BASE_H_
#define NORVANE_CORE_OBJECT_BASE_H_

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string>
#include <type_traits>
#include <utility>

#include "norvane/core/export.h"

namespace norvane {

// The value thrown by release() on an object whose count is already 0.
constexpr int kReleasePastZero = 4711;
// Stored into the count by the release that destroys the object.
constexpr uint32_t kReleasedPoison = 0xDEADF001u;

// Hash identity of an object: empty until its owner computes it. The owner sets
// isSet itself after storing a non-empty value.
struct NORVANE_API TQObjectBaseIdStruct {
  bool isSet = false;
  std::string value;

  const std::string& GetValue() const { return value; }
  void SetValue(const std::string& text) { value = text; }
};

class NORVANE_API TQObjectBase {
 public:
  // Disposes of an object whose count reached 0; the result is ignored.
  typedef int (*Deleter)(TQObjectBase* object);

  TQObjectBase() : refCount(0), deleter(&DefaultDeleter) {}
  // A copy starts unowned (count 0); see operator=.
  TQObjectBase(const TQObjectBase& other) : refCount(0) { *this = other; }
  // Sets this count to 0, takes the other's id when it is set (otherwise only clears
  // isSet and keeps this object's id text) and its deleter.
  TQObjectBase& operator=(const TQObjectBase& other) {
    refCount.store(0, std::memory_order_seq_cst);
    if (other.id.isSet) {
      id.isSet = true;
      id.value = other.id.value;
    } else {
      id.isSet = false;
    }
    deleter = other.deleter;
    return *this;
  }
  virtual ~TQObjectBase();

  void retain() { refCount.fetch_add(1, std::memory_order_seq_cst); }

  // Throws int 4711 when the count is already 0 (nothing is destroyed then).
  // The test is a separate load before the decrement, deliberately.
  void release() {
    if (refCount.load(std::memory_order_seq_cst) == 0) throw kReleasePastZero;
    if (refCount.fetch_sub(1, std::memory_order_seq_cst) == 1) {
      refCount.store(static_cast<int32_t>(kReleasedPoison), std::memory_order_seq_cst);
      deleter(this);
    }
  }

  int GetRefCount() const { return refCount.load(std::memory_order_seq_cst); }
  const TQObjectBaseIdStruct& GetIdStruct() const { return id; }
  TQObjectBaseIdStruct& GetIdStruct() { return id; }
  Deleter GetDeleter() const { return deleter; }

  // The deleter installed by the constructor: `delete object` for non-null objects.
  static int DefaultDeleter(TQObjectBase* object);

 protected:
  std::atomic<int32_t> refCount;
  TQObjectBaseIdStruct id;
  Deleter deleter;
};

class NORVANE_API TQSingleThreadObjectBase {
 public:
  TQSingleThreadObjectBase() : refCount(0) {}
  TQSingleThreadObjectBase(const TQSingleThreadObjectBase&) : refCount(0) {}
  TQSingleThreadObjectBase& operator=(const TQSingleThreadObjectBase&) {
    refCount = 0;
    return *this;
  }
  virtual ~TQSingleThreadObjectBase();

  void retain() { ++refCount; }
  // Throws int 4711 when the count is already 0.
  void release() {
    if (refCount == 0) throw kReleasePastZero;
    if (refCount == 1) {
      refCount = static_cast<int32_t>(kReleasedPoison);
      delete this;
      return;
    }
    --refCount;
  }

  int GetRefCount() const { return refCount; }

 protected:
  int32_t refCount;
};

// Holder of one counted reference. Assigning retains the new object before
// releasing the old one, so self-assignment is safe. The destructor is noexcept:
// a release past zero there terminates the process.
template <typename T>
class TQRef {
 public:
  TQRef() noexcept : ptr_(nullptr) {}
  TQRef(std::nullptr_t) noexcept : ptr_(nullptr) {}
  TQRef(T* p) : ptr_(nullptr) { *this = p; }
  TQRef(const TQRef& other) : ptr_(nullptr) { *this = other.ptr_; }
  TQRef(TQRef&& other) noexcept : ptr_(other.ptr_) { other.ptr_ = nullptr; }
  template <typename U, typename = std::enable_if_t<std::is_convertible<U*, T*>::value>>
  TQRef(const TQRef<U>& other) : ptr_(nullptr) {
    *this = static_cast<T*>(other.get());
  }
  ~TQRef() {
    if (ptr_ != nullptr) ptr_->release();
  }

  TQRef& operator=(T* p) {
    if (p != nullptr) p->retain();
    T* old = ptr_;
    ptr_ = p;
    if (old != nullptr) old->release();
    return *this;
  }
  TQRef& operator=(const TQRef& other) { return *this = other.ptr_; }
  TQRef& operator=(TQRef&& other) {
    if (this != &other) {
      T* old = ptr_;
      ptr_ = other.ptr_;
      other.ptr_ = nullptr;
      if (old != nullptr) old->release();
    }
    return *this;
  }

  T* get() const noexcept { return ptr_; }
  T* operator->() const noexcept { return ptr_; }
  T& operator*() const noexcept { return *ptr_; }
  explicit operator bool() const noexcept { return ptr_ != nullptr; }
  bool IsNull() const noexcept { return ptr_ == nullptr; }

  friend bool operator==(const TQRef& a, const TQRef& b) { return a.ptr_ == b.ptr_; }
  friend bool operator!=(const TQRef& a, const TQRef& b) { return a.ptr_ != b.ptr_; }
  friend bool operator==(const TQRef& a, std::nullptr_t) { return a.ptr_ == nullptr; }
  friend bool operator!=(const TQRef& a, std::nullptr_t) { return a.ptr_ != nullptr; }

 private:
  T* ptr_;
};

}  // namespace norvane

#endif  // NORVANE_CORE_OBJECT_BASE_H_
