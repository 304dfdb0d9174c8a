#include "norvane/log/ini_io.h"

#include <stdio.h>
#include <sys/types.h>

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <locale>
#include <sstream>

namespace norvane {
namespace {

bool IsSpace(char c) { return std::isspace(static_cast<unsigned char>(c)) != 0; }

// The text between `begin` and `end` without the white space at either end.
std::string Trim(const char* begin, const char* end) {
  while (begin < end && IsSpace(*begin)) ++begin;
  while (end > begin && IsSpace(end[-1])) --end;
  return std::string(begin, end);
}

// Reads a text file line by line; each line (without its '\n') may be of any
// length, and a NUL byte ends what is seen of it.
class LineReader {
 public:
  explicit LineReader(FILE* file) : file_(file) {}
  ~LineReader() {
    std::free(buffer_);
    std::fclose(file_);
  }
  LineReader(const LineReader&) = delete;
  LineReader& operator=(const LineReader&) = delete;

  // False at end of file.
  bool Next(std::string* line) {
    if (getline(&buffer_, &capacity_, file_) < 0) return false;
    line->assign(buffer_, std::char_traits<char>::length(buffer_));
    if (!line->empty() && line->back() == '\n') line->pop_back();
    return true;
  }

 private:
  FILE* const file_;
  char* buffer_ = nullptr;
  size_t capacity_ = 0;
};

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
  FILE* file = std::fopen(path.c_str(), "r");
  if (file == nullptr) return false;

  LineReader reader(file);
  std::string current;
  std::string raw;
  while (reader.Next(&raw)) {
    const char* begin = raw.data();
    const char* end = begin + raw.size();
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
