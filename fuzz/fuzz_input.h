// Helpers shared by the fuzz targets: a failed check that libFuzzer reports as a
// crash, fixed-size fields read off the input in turn, and for runs outside libFuzzer
// (replay_main.cpp, the tests) the name of the input that made a check fail.
#ifndef NORVANE_FUZZ_FUZZ_INPUT_H_
#define NORVANE_FUZZ_FUZZ_INPUT_H_

#include <signal.h>
#include <unistd.h>

#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <initializer_list>

// The entry point every fuzz target defines.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

namespace norvane_fuzz {

inline void Check(bool condition) {
  if (!condition) __builtin_trap();
}

constexpr size_t kInputNameSize = 256;

inline char* InputName() {
  static char name[kInputNameSize];
  return name;
}

// Names the input about to run, printf-style.
inline void NameInput(const char* format, ...) __attribute__((format(printf, 1, 2)));
inline void NameInput(const char* format, ...) {
  va_list args;
  va_start(args, format);
  std::vsnprintf(InputName(), kInputNameSize, format, args);
  va_end(args);
}

// When a check traps or the process aborts, the named input is written to standard
// error before the signal takes its usual course. Crashes the sanitizers catch are
// theirs to report.
inline void NameInputsOnCrash() {
  for (int sig : {SIGILL, SIGTRAP, SIGABRT}) {
    signal(sig, [](int caught) {
      const char* name = InputName();
      if (write(2, "crashed on ", 11) < 0 || write(2, name, strlen(name)) < 0 ||
          write(2, "\n", 1) < 0) {
        // nothing more to do in a signal handler
      }
      signal(caught, SIG_DFL);
      raise(caught);
    });
  }
}

// Reads the next fixed-size field; zero once the input runs out.
class Fields {
 public:
  Fields(const uint8_t* data, size_t size) : data_(data), size_(size) {}
  template <typename T>
  T Next() {
    T value{};
    const size_t n = size_ < sizeof(T) ? size_ : sizeof(T);
    std::memcpy(&value, data_, n);
    data_ += n;
    size_ -= n;
    return value;
  }
  bool empty() const { return size_ == 0; }
  const uint8_t* rest() const { return data_; }
  size_t restSize() const { return size_; }

 private:
  const uint8_t* data_;
  size_t size_;
};

}  // namespace norvane_fuzz

#endif  // NORVANE_FUZZ_FUZZ_INPUT_H_
