// A minimal reader of INI files, used for the log configuration.
//
// Load() parses a whole file into sections of key/value strings:
//  - blank lines and lines whose first non-blank character is ';' are skipped
//    ('#' is not a comment character);
//  - "[name]" opens the section `name` (trimmed; a missing ']' takes the rest of the
//    line); keys before the first header belong to the section with the empty name;
//    a repeated header reopens the section;
//  - any other line is split at its first '=' into a trimmed key and a trimmed value
//    (a line without '=' is a key with the empty value); a repeated key keeps the
//    last value. Lines may end in "\r\n" and may be of any length; a NUL byte ends
//    what is seen of a line.
// Only a regular file of at most kMaxFileSize bytes is read; anything else (a
// directory, a device, a FIFO, a larger file) makes Load() fail at once, without
// blocking and without reading more than that bound.
// The typed getters return the default only when the section or key is absent; a
// present value that does not read as a number gives 0.
//
// An INI_IO is filled by Load() and only read afterwards; concurrent readers are
// safe, a Load() concurrent with anything else is not.
#ifndef NORVANE_LOG_INI_IO_H_
#define NORVANE_LOG_INI_IO_H_

#include <cstddef>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "norvane/core/export.h"

namespace norvane {

class NORVANE_API INI_IO {
 public:
  typedef std::map<std::string, std::string> Section;

  INI_IO();
  // Not virtual: an INI_IO is used by value, never deleted through a base pointer.
  ~INI_IO();

  // The largest file Load() reads.
  static constexpr size_t kMaxFileSize = 1 << 20;

  // Stores the path and parses the file, adding to what earlier loads read. False
  // when the file cannot be opened, is not a regular file, is larger than
  // kMaxFileSize or cannot be read to its end; nothing changes then but the stored
  // path.
  virtual bool Load(const std::string& path);
  virtual std::string GetString(const std::string& section, const std::string& key,
                                const std::string& defaultValue) const;
  // A present value is read as a decimal number; 0 when that fails.
  virtual int GetInt(const std::string& section, const std::string& key, int defaultValue) const;
  // True for the exact text "true"; otherwise the value read as an int is not 0.
  virtual bool GetBool(const std::string& section, const std::string& key, bool defaultValue) const;
  // A present value is read as a decimal number; 0.0 when that fails.
  virtual double GetDouble(const std::string& section, const std::string& key,
                           double defaultValue) const;
  // The (key, value) pairs of the section in byte-wise key order; empty when the
  // section is absent.
  virtual std::vector<std::pair<std::string, std::string>> GetSectionEntries(
      const std::string& section) const;

  const std::string& GetPath() const { return path_; }

 private:
  // Null when the section or key is absent.
  const std::string* Find(const std::string& section, const std::string& key) const;

  std::string path_;
  std::map<std::string, Section> sections_;
};

}  // namespace norvane

#endif  // NORVANE_LOG_INI_IO_H_
