// A file's bytes read through the operating system's page mapping instead of a copy: a large
// payload that is read front to back never has to be in memory whole. What has been read can
// be let go (release): those pages leave the process and are read again from the file if they
// are needed once more.
#pragma once

#include <cstddef>
#include <filesystem>
#include <string_view>

namespace dm {

// Threads: text(), prefetch() and release() may be called from any thread.
// Move-only; the mapping ends with the object, so views of text() must not outlive it.
// The file must not be truncated while it is mapped (as with any mapping, reading a page
// beyond a new end is a fault): map files the application owns, such as downloads.
class MappedFile {
 public:
  // Maps `path` read-only. Throws dm::Error (InvalidInput) when it cannot be opened, is not
  // a regular file or cannot be mapped. An empty file maps to an empty text.
  explicit MappedFile(const std::filesystem::path& path);
  ~MappedFile();
  MappedFile(MappedFile&& other) noexcept;
  MappedFile& operator=(MappedFile&& other) noexcept;
  MappedFile(const MappedFile&) = delete;
  MappedFile& operator=(const MappedFile&) = delete;

  std::string_view text() const { return {data_, size_}; }
  const std::filesystem::path& path() const { return path_; }

  // Asks the system to start reading the whole file into its cache now, without mapping it
  // into this process: later reads of text() then find it there. Returns at once.
  void prefetch() const;
  // The pages from the one holding `begin` up to the one holding `end` (that one excluded, as
  // the text after `end` is usually read next) leave this process's memory. The text stays
  // readable: a later read brings them back from the file.
  void release(std::size_t begin, std::size_t end) const;

 private:
  void unmap() noexcept;

  std::filesystem::path path_;
  const char* data_ = nullptr;
  std::size_t size_ = 0;
};

}  // namespace dm
