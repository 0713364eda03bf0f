#include "wz/terminal/line_reader.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <cstdint>
#include <utility>

namespace wz {

LineReader::~LineReader() {
  if (!thread_.joinable()) return;
  const std::uint64_t one = 1;
  (void)!write(stop_, &one, sizeof one);
  thread_.join();
  close(stop_);
}

bool LineReader::begin(std::function<void(std::string line)> onLine, std::function<void()> onEnd) {
  onLine_ = std::move(onLine);
  onEnd_ = std::move(onEnd);
  stop_ = eventfd(0, EFD_CLOEXEC);
  if (stop_ < 0) return false;
  thread_ = std::thread([this] { run(); });
  return true;
}

void LineReader::run() {
  std::string text;
  for (;;) {
    pollfd descriptors[] = {{STDIN_FILENO, POLLIN, 0}, {stop_, POLLIN, 0}};
    if (poll(descriptors, 2, -1) < 0) continue;
    if (descriptors[1].revents != 0) return;
    char octets[4096];
    const ssize_t count = read(STDIN_FILENO, octets, sizeof octets);
    if (count <= 0) return onEnd_();
    text.append(octets, static_cast<std::size_t>(count));
    for (std::size_t end = text.find('\n'); end != std::string::npos; end = text.find('\n')) {
      onLine_(text.substr(0, end));
      text.erase(0, end + 1);
    }
  }
}

}  // namespace wz
