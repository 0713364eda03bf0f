/// A file descriptor with one owner.
#ifndef WORKSTATION_BROWSER_ENGINE_UNIQUE_FD_H
#define WORKSTATION_BROWSER_ENGINE_UNIQUE_FD_H

#include <unistd.h>

#include <utility>

namespace workstation {

class UniqueFd {
 public:
  UniqueFd() = default;
  explicit UniqueFd(int fd) : fd_(fd) {}
  UniqueFd(UniqueFd&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
  UniqueFd& operator=(UniqueFd&& other) noexcept {
    if (this != &other) reset(std::exchange(other.fd_, -1));
    return *this;
  }
  ~UniqueFd() { reset(); }

  void reset(int fd = -1) {
    if (fd_ >= 0) ::close(fd_);
    fd_ = fd;
  }

  int get() const { return fd_; }
  explicit operator bool() const { return fd_ >= 0; }

 private:
  int fd_ = -1;
};

}  // namespace workstation

#endif  // WORKSTATION_BROWSER_ENGINE_UNIQUE_FD_H
