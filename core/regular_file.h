// Opening files whose names another program may have taken over: where a regular
// file is expected, a FIFO would block the open or the read forever, a device such
// as /dev/zero would never end, and a symbolic link would send a write to whatever
// it points at. Every open here is non-blocking and close-on-exec, and keeps only
// regular files; writes never follow a final symbolic link.
//
// Header-only, so that the code above the library (the router, the program) uses
// the same rules as the library's log and INI reader. Functions are thread-safe;
// a FileDescriptor belongs to one owner.
#ifndef NORVANE_CORE_REGULAR_FILE_H_
#define NORVANE_CORE_REGULAR_FILE_H_

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>

namespace norvane {
namespace internal {

// Owns an open descriptor (or -1) and closes it.
class FileDescriptor {
 public:
  explicit FileDescriptor(int fd = -1) : fd_(fd) {}
  ~FileDescriptor() {
    if (fd_ >= 0) close(fd_);
  }
  FileDescriptor(FileDescriptor&& other) noexcept : fd_(other.fd_) { other.fd_ = -1; }
  FileDescriptor& operator=(FileDescriptor&& other) noexcept {
    if (this != &other) {
      if (fd_ >= 0) close(fd_);
      fd_ = other.fd_;
      other.fd_ = -1;
    }
    return *this;
  }
  FileDescriptor(const FileDescriptor&) = delete;
  FileDescriptor& operator=(const FileDescriptor&) = delete;
  int get() const { return fd_; }
  bool valid() const { return fd_ >= 0; }

 private:
  int fd_;
};

// Opens `path` with `flags` (O_RDONLY, or O_WRONLY with O_CREAT, O_APPEND, O_TRUNC,
// O_NOFOLLOW as wanted) and `mode` for a file it creates, and keeps it only when it
// is a regular file. O_TRUNC is applied after that check, so nothing else is ever
// truncated. On failure the descriptor is invalid and `reason` says why: the system's
// message, "not a regular file", or "a symbolic link, not followed"; `openError`,
// when given, receives the errno of a failed open (ENOENT: nothing there), else 0;
// `status`, when given, the file's status.
// OpenRegularFileAt opens `path` relative to the open folder `dir` (AT_FDCWD: the
// working directory).
inline FileDescriptor OpenRegularFileAt(int dir, const std::string& path, int flags, mode_t mode,
                                        std::string* reason, int* openError = nullptr,
                                        struct stat* status = nullptr) {
  const bool truncate = (flags & O_TRUNC) != 0;
  FileDescriptor file(
      openat(dir, path.c_str(), (flags & ~O_TRUNC) | O_NONBLOCK | O_NOCTTY | O_CLOEXEC, mode));
  if (openError != nullptr) *openError = file.valid() ? 0 : errno;
  if (!file.valid()) {
    // ENXIO: a FIFO opened for writing that no one reads, or a device that is not there.
    if (errno == ENXIO) {
      *reason = "not a regular file";
    } else if (errno == ELOOP && (flags & O_NOFOLLOW) != 0) {
      *reason = "a symbolic link, not followed";
    } else {
      *reason = std::strerror(errno);
    }
    return file;
  }
  struct stat own;
  if (status == nullptr) status = &own;
  if (fstat(file.get(), status) != 0) {
    *reason = std::strerror(errno);
    return FileDescriptor();
  }
  if (!S_ISREG(status->st_mode)) {
    *reason = S_ISDIR(status->st_mode) ? "a directory" : "not a regular file";
    return FileDescriptor();
  }
  if (truncate && ftruncate(file.get(), 0) != 0) {
    *reason = std::strerror(errno);
    return FileDescriptor();
  }
  return file;
}

inline FileDescriptor OpenRegularFile(const std::string& path, int flags, mode_t mode,
                                      std::string* reason, int* openError = nullptr,
                                      struct stat* status = nullptr) {
  return OpenRegularFileAt(AT_FDCWD, path, flags, mode, reason, openError, status);
}

// Opens `relative` ("a/b/name") below the folder `root` as OpenRegularFile does, and
// never through a symbolic link: the folders a and b are entered one by one, each
// only when it is a directory itself, and the name is opened with O_NOFOLLOW. A ".."
// is refused. `root` itself is taken as it is.
inline FileDescriptor OpenBelow(const std::string& root, const std::string& relative, int flags,
                                mode_t mode, std::string* reason) {
  FileDescriptor dir(open(root.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!dir.valid()) {
    *reason = root + ": " + std::strerror(errno);
    return dir;
  }
  size_t start = 0;
  for (size_t slash; (slash = relative.find('/', start)) != std::string::npos; start = slash + 1) {
    const std::string name = relative.substr(start, slash - start);
    if (name.empty() || name == ".") continue;
    if (name == "..") {
      *reason = "a parent folder in " + relative;
      return FileDescriptor();
    }
    FileDescriptor next(
        openat(dir.get(), name.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    if (!next.valid()) {
      // A link to a folder fails with ELOOP, a link to anything else with ENOTDIR.
      *reason = name + ": " + (errno == ELOOP || errno == ENOTDIR
                                   ? std::string("not a directory (links are not followed)")
                                   : std::string(std::strerror(errno)));
      return next;
    }
    dir = std::move(next);
  }
  return OpenRegularFileAt(dir.get(), relative.substr(start), flags | O_NOFOLLOW, mode, reason);
}

// Opens `path` for appending, creating it when missing with the mode fopen gives
// (0666 less the umask), without following a final symbolic link.
inline FileDescriptor OpenForAppend(const std::string& path, std::string* reason) {
  return OpenRegularFile(path, O_WRONLY | O_CREAT | O_APPEND | O_NOFOLLOW, 0666, reason);
}

// Writes all `size` bytes; false on a write error.
inline bool WriteAll(int fd, const void* data, size_t size) {
  const char* next = static_cast<const char*>(data);
  while (size > 0) {
    const ssize_t n = write(fd, next, size);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return false;
    next += n;
    size -= static_cast<size_t>(n);
  }
  return true;
}

// The whole content of the regular file at `path`, read with a bound. False, with
// `reason`, for a path that cannot be opened, anything but a regular file, a file
// over `limit` bytes (also one that grows past it while being read) and a read
// error. A final symbolic link is followed: reading through it is harmless once
// its target proves to be a regular file. `openError` as for OpenRegularFile.
inline bool ReadRegularFile(const std::string& path, size_t limit, std::string* content,
                            std::string* reason, int* openError = nullptr) {
  constexpr size_t kReadChunk = 64 << 10;
  struct stat status;
  FileDescriptor file = OpenRegularFile(path, O_RDONLY, 0, reason, openError, &status);
  if (!file.valid()) return false;
  const auto tooLarge = [&] {
    char text[48];  // snprintf: std::to_string would export a template's table from the library
    std::snprintf(text, sizeof(text), "larger than %zu bytes", limit);
    *reason = text;
    return false;
  };
  if (status.st_size < 0 || static_cast<uint64_t>(status.st_size) > limit) return tooLarge();
  content->resize(static_cast<size_t>(status.st_size));
  size_t got = 0;
  for (;;) {
    if (got == content->size()) {
      // The file may have grown since fstat: room for more, up to one byte past the limit.
      const size_t more = limit - got < kReadChunk ? limit - got + 1 : kReadChunk;
      content->resize(got + more);
    }
    const ssize_t n = read(file.get(), &(*content)[got], content->size() - got);
    if (n < 0) {
      if (errno == EINTR) continue;
      *reason = std::strerror(errno);
      return false;
    }
    if (n == 0) {
      content->resize(got);
      return true;
    }
    got += static_cast<size_t>(n);
    if (got > limit) return tooLarge();
  }
}

}  // namespace internal
}  // namespace norvane

#endif  // NORVANE_CORE_REGULAR_FILE_H_
