// libFuzzer target: INI_IO::Load on arbitrary bytes, then every getter on what it
// read, and the log's configuration step on the same file. Load reads from a path,
// so each input is written to an in-memory file reached through /proc/self/fd.
#include <sys/mman.h>
#include <unistd.h>

#include <cctype>
#include <cstddef>
#include <cstdint>
#include <string>

#include "norvane/log/ini_io.h"
#include "norvane/log/log.h"

namespace {

bool HasOuterSpace(const std::string& text) {
  return !text.empty() && (std::isspace(static_cast<unsigned char>(text.front())) ||
                           std::isspace(static_cast<unsigned char>(text.back())));
}

const std::string& InputPath() {
  static const std::string path = [] {
    int fd = memfd_create("norvane_ini_fuzz", 0);
    if (fd < 0) __builtin_trap();
    return "/proc/self/fd/" + std::to_string(fd);
  }();
  return path;
}

void WriteInput(const uint8_t* data, size_t size) {
  static const int fd = std::stoi(InputPath().substr(sizeof("/proc/self/fd/") - 1));
  if (ftruncate(fd, 0) != 0) __builtin_trap();
  size_t done = 0;
  while (done < size) {
    ssize_t n = pwrite(fd, data + done, size - done, static_cast<off_t>(done));
    if (n <= 0) __builtin_trap();
    done += static_cast<size_t>(n);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  WriteInput(data, size);
  norvane::INI_IO ini;
  if (!ini.Load(InputPath())) __builtin_trap();
  for (const char* section : {"", "BARCODECONFIG", "A", "s"}) {
    for (const auto& entry : ini.GetSectionEntries(section)) {
      // Keys and values are trimmed, and every listed key reads back its value.
      if (HasOuterSpace(entry.first) || HasOuterSpace(entry.second)) __builtin_trap();
      if (ini.GetString(section, entry.first, "\x01") != entry.second) __builtin_trap();
      (void)ini.GetInt(section, entry.first, 0);
      (void)ini.GetBool(section, entry.first, false);
      (void)ini.GetDouble(section, entry.first, 0.0);
    }
  }
  norvane::TQLog log;
  log.InitLog(InputPath().c_str());
  return 0;
}
