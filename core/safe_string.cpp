#include "norvane/core/safe_string.h"

namespace norvane {

TQSafeString::TQSafeString() = default;

TQSafeString::TQSafeString(const char* text) { assign(text); }

TQSafeString::TQSafeString(const TQSafeString& other) = default;

TQSafeString& TQSafeString::operator=(const TQSafeString& other) = default;

TQSafeString::~TQSafeString() = default;

const char* TQSafeString::c_str() const { return value_.c_str(); }

size_t TQSafeString::length() const { return value_.length(); }

bool TQSafeString::empty() const { return value_.empty(); }

void TQSafeString::assign(const char* text) {
  if (text == nullptr) {
    value_.clear();
  } else {
    value_.assign(text);
  }
}

void TQSafeString::assign(const char* text, size_t length) {
  if (text == nullptr) {
    value_.clear();
  } else {
    value_.assign(text, length);
  }
}

void TQSafeString::assign(const std::string& text) { value_ = text; }

void TQSafeString::clear() { value_.clear(); }

}  // namespace norvane
