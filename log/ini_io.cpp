#include "norvane/log/ini_io.h"

#include <cctype>
#include <cstring>
#include <locale>
#include <sstream>

#include "core/regular_file.h"

namespace norvane {
namespace {

bool IsSpace(char c) { return std::isspace(static_cast<unsigned char>(c)) != 0; }

// The text between `begin` and `end` without the white space at either end.
std::string Trim(const char* begin, const char* end) {
  while (begin < end && IsSpace(*begin)) ++begin;
  while (end > begin && IsSpace(end[-1])) --end;
  return std::string(begin, end);
}

template <typename T>
T ReadNumber(const std::string& text) {
  std::istringstream stream(text);
  stream.imbue(std::locale::classic());
  T value = T();
  stream >> value;
  if (stream.fail()) return T();
  return value;
}

}  // namespace

INI_IO::INI_IO() = default;

INI_IO::~INI_IO() = default;

bool INI_IO::Load(const std::string& path) {
  path_ = path;
  std::string content, reason;
  if (!internal::ReadRegularFile(path, kMaxFileSize, &content, &reason)) return false;

  std::string current;
  const char* next = content.data();
  const char* const stop = next + content.size();
  while (next < stop) {
    // One line without its '\n'; as text, it ends at a NUL byte.
    const char* begin = next;
    const char* newline = static_cast<const char*>(std::memchr(begin, '\n', stop - begin));
    const char* end = newline != nullptr ? newline : stop;
    next = newline != nullptr ? newline + 1 : stop;
    if (const void* nul = std::memchr(begin, '\0', end - begin)) end = static_cast<const char*>(nul);

    std::string line = Trim(begin, end);
    if (line.empty() || line[0] == ';') continue;
    if (line[0] == '[') {
      size_t close = line.find(']', 1);
      if (close == std::string::npos) close = line.size();
      current = Trim(line.data() + 1, line.data() + close);
      sections_[current];
      continue;
    }
    size_t equals = line.find('=');
    if (equals == std::string::npos) {
      sections_[current][line] = std::string();
    } else {
      sections_[current][Trim(line.data(), line.data() + equals)] =
          Trim(line.data() + equals + 1, line.data() + line.size());
    }
  }
  return true;
}

const std::string* INI_IO::Find(const std::string& section, const std::string& key) const {
  auto s = sections_.find(section);
  if (s == sections_.end()) return nullptr;
  auto k = s->second.find(key);
  if (k == s->second.end()) return nullptr;
  return &k->second;
}

std::string INI_IO::GetString(const std::string& section, const std::string& key,
                              const std::string& defaultValue) const {
  const std::string* value = Find(section, key);
  return value != nullptr ? *value : defaultValue;
}

int INI_IO::GetInt(const std::string& section, const std::string& key, int defaultValue) const {
  const std::string* value = Find(section, key);
  return value != nullptr ? ReadNumber<int>(*value) : defaultValue;
}

bool INI_IO::GetBool(const std::string& section, const std::string& key, bool defaultValue) const {
  const std::string* value = Find(section, key);
  if (value == nullptr) return defaultValue;
  if (*value == "true") return true;
  return ReadNumber<int>(*value) != 0;
}

double INI_IO::GetDouble(const std::string& section, const std::string& key,
                         double defaultValue) const {
  const std::string* value = Find(section, key);
  return value != nullptr ? ReadNumber<double>(*value) : defaultValue;
}

std::vector<std::pair<std::string, std::string>> INI_IO::GetSectionEntries(
    const std::string& section) const {
  std::vector<std::pair<std::string, std::string>> entries;
  auto s = sections_.find(section);
  if (s == sections_.end()) return entries;
  entries.assign(s->second.begin(), s->second.end());
  return entries;
}

}  // namespace norvane
