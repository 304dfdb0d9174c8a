// A text value that can be handed across module boundaries as an out-parameter.
//
// TQSafeString owns a copy of its text (std::string underneath) and is always
// zero-terminated, so c_str() stays valid until the next change or destruction.
// Sibling modules receive paths and messages in it without managing C buffers.
// Not synchronised: one owner at a time.
#ifndef NORVANE_CORE_SAFE_STRING_H_
#define NORVANE_CORE_SAFE_STRING_H_

#include <cstddef>
#include <string>

#include "norvane/core/export.h"

namespace norvane {

class NORVANE_API TQSafeString {
 public:
  TQSafeString();
  // A null `text` gives the empty string.
  explicit TQSafeString(const char* text);
  TQSafeString(const TQSafeString& other);
  TQSafeString& operator=(const TQSafeString& other);
  ~TQSafeString();

  const char* c_str() const;
  size_t length() const;
  bool empty() const;

  // Replaces the text; a null `text` gives the empty string.
  void assign(const char* text);
  // Replaces the text by `length` bytes starting at `text` (null: the empty string).
  void assign(const char* text, size_t length);
  void assign(const std::string& text);
  void clear();

 private:
  std::string value_;
};

}  // namespace norvane

#endif  // NORVANE_CORE_SAFE_STRING_H_
