// A reference-counted vector, for lists that a function hands to its caller
// through TQRef (GetAllFiles returns its file list this way).
//
// TQVector<T> is a TQObjectBase: the last TQRef releases it. Its elements are a
// plain std::vector and are not synchronised; the count is.
#ifndef NORVANE_CORE_TQ_VECTOR_H_
#define NORVANE_CORE_TQ_VECTOR_H_

#include <cstddef>
#include <vector>

#include "norvane/core/object_base.h"

namespace norvane {

template <typename T>
class TQVector : public TQObjectBase {
 public:
  typedef typename std::vector<T>::iterator iterator;
  typedef typename std::vector<T>::const_iterator const_iterator;

  TQVector() = default;
  TQVector(const TQVector&) = delete;
  TQVector& operator=(const TQVector&) = delete;

  void push_back(const T& value) { items_.push_back(value); }
  void push_back(T&& value) { items_.push_back(static_cast<T&&>(value)); }
  size_t size() const { return items_.size(); }
  bool empty() const { return items_.empty(); }
  void clear() { items_.clear(); }
  T& operator[](size_t index) { return items_[index]; }
  const T& operator[](size_t index) const { return items_[index]; }
  iterator begin() { return items_.begin(); }
  iterator end() { return items_.end(); }
  const_iterator begin() const { return items_.begin(); }
  const_iterator end() const { return items_.end(); }

  std::vector<T>& GetVector() { return items_; }
  const std::vector<T>& GetVector() const { return items_; }

 private:
  std::vector<T> items_;
};

}  // namespace norvane

#endif  // NORVANE_CORE_TQ_VECTOR_H_
