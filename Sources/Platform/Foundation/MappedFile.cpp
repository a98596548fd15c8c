#include "Platform/Foundation/MappedFile.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string>
#include <utility>

#include "Platform/Foundation/Error.h"

namespace dm {

namespace {

std::size_t pageSize() {
  static const std::size_t size = static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
  return size;
}

[[noreturn]] void fail(const std::filesystem::path& path, const std::string& why) {
  throw Error(ErrorCode::InvalidInput, "cannot read " + path.string() + ": " + why);
}

}  // namespace

MappedFile::MappedFile(const std::filesystem::path& path) : path_(path) {
  const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) fail(path, std::strerror(errno));
  struct stat info {};
  if (::fstat(fd, &info) != 0) {
    const int error = errno;
    ::close(fd);
    fail(path, std::strerror(error));
  }
  if (!S_ISREG(info.st_mode)) {
    ::close(fd);
    fail(path, "not a regular file");
  }
  size_ = static_cast<std::size_t>(info.st_size);
  if (size_ > 0) {
    void* mapped = ::mmap(nullptr, size_, PROT_READ, MAP_PRIVATE, fd, 0);
    if (mapped == MAP_FAILED) {
      const int error = errno;
      ::close(fd);
      size_ = 0;
      fail(path, std::strerror(error));
    }
    data_ = static_cast<const char*>(mapped);
    // Read front to back: the system reads ahead further.
    ::madvise(mapped, size_, MADV_SEQUENTIAL);
  }
  ::close(fd);  // the mapping keeps the file
}

MappedFile::~MappedFile() {
  unmap();
}

MappedFile::MappedFile(MappedFile&& other) noexcept
    : path_(std::move(other.path_)),
      data_(std::exchange(other.data_, nullptr)),
      size_(std::exchange(other.size_, 0)) {}

MappedFile& MappedFile::operator=(MappedFile&& other) noexcept {
  if (this != &other) {
    unmap();
    path_ = std::move(other.path_);
    data_ = std::exchange(other.data_, nullptr);
    size_ = std::exchange(other.size_, 0);
  }
  return *this;
}

void MappedFile::unmap() noexcept {
  if (data_) ::munmap(const_cast<char*>(data_), size_);
  data_ = nullptr;
  size_ = 0;
}

void MappedFile::prefetch() const {
  if (data_) ::madvise(const_cast<char*>(data_), size_, MADV_WILLNEED);
}

void MappedFile::release(std::size_t begin, std::size_t end) const {
  const std::size_t first = begin / pageSize() * pageSize();
  const std::size_t last = std::min(end, size_) / pageSize() * pageSize();
  if (!data_ || last <= first) return;
  // Unchanged pages of a private file mapping: dropping them loses nothing, a later read
  // maps them again from the file (usually still in the system's cache).
  ::madvise(const_cast<char*>(data_) + first, last - first, MADV_DONTNEED);
}

}  // namespace dm
