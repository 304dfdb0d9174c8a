// Test helper: `length` bytes mapped so that they end exactly where an inaccessible
// page begins, so any read or write past the end faults at once (also without a
// sanitizer).
#ifndef NORVANE_TESTS_TEST_SUPPORT_GUARDED_BUFFER_H_
#define NORVANE_TESTS_TEST_SUPPORT_GUARDED_BUFFER_H_

#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdlib>

namespace norvane {
namespace test_support {

class GuardedBuffer {
 public:
  explicit GuardedBuffer(size_t length) {
    const size_t page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
    size_ = ((length + page - 1) / page + 1) * page;
    void* base = mmap(nullptr, size_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (base == MAP_FAILED) std::abort();
    base_ = static_cast<unsigned char*>(base);
    if (mprotect(base_ + size_ - page, page, PROT_NONE) != 0) std::abort();
    data_ = base_ + size_ - page - length;
  }
  ~GuardedBuffer() { munmap(base_, size_); }
  GuardedBuffer(const GuardedBuffer&) = delete;
  GuardedBuffer& operator=(const GuardedBuffer&) = delete;

  unsigned char* data() { return data_; }

 private:
  size_t size_;
  unsigned char* base_;
  unsigned char* data_;
};

}  // namespace test_support
}  // namespace norvane

#endif  // NORVANE_TESTS_TEST_SUPPORT_GUARDED_BUFFER_H_
