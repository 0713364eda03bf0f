// An open file that is closed with its owner.
#ifndef WZAPP_INSTALLER_FILE_DESCRIPTOR_H
#define WZAPP_INSTALLER_FILE_DESCRIPTOR_H

#include <unistd.h>

#include <utility>

namespace wzapp {

// Owns a descriptor; a negative one is none.
class FileDescriptor {
 public:
  FileDescriptor() = default;
  explicit FileDescriptor(int number) : number_(number) {}
  FileDescriptor(FileDescriptor&& other) noexcept : number_(other.release()) {}
  FileDescriptor& operator=(FileDescriptor&& other) noexcept {
    std::swap(number_, other.number_);
    return *this;
  }
  FileDescriptor(const FileDescriptor&) = delete;
  FileDescriptor& operator=(const FileDescriptor&) = delete;
  ~FileDescriptor() {
    if (isOpen()) close(number_);
  }

  [[nodiscard]] int get() const { return number_; }
  [[nodiscard]] bool isOpen() const { return number_ >= 0; }

  // Leaves the descriptor to the caller.
  [[nodiscard]] int release() { return std::exchange(number_, -1); }

 private:
  int number_ = -1;
};

}  // namespace wzapp

#endif  // WZAPP_INSTALLER_FILE_DESCRIPTOR_H
