#include "wz/workbench/event_log.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "wz/reports/json_output.h"

namespace wz {
namespace {

constexpr std::uint64_t kMarkEvery = 256;

bool writeAt(int file, std::uint64_t offset, const std::string& text) {
  for (std::size_t done = 0; done < text.size();) {
    const ssize_t count =
        pwrite(file, text.data() + done, text.size() - done, static_cast<off_t>(offset + done));
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) return false;
    done += static_cast<std::size_t>(count);
  }
  return true;
}

// As much as there is, up to `size`.
std::string readAt(int file, std::uint64_t offset, std::size_t size) {
  std::string text(size, '\0');
  std::size_t done = 0;
  while (done < size) {
    const ssize_t count =
        pread(file, text.data() + done, size - done, static_cast<off_t>(offset + done));
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) break;
    done += static_cast<std::size_t>(count);
  }
  text.resize(done);
  return text;
}

}  // namespace

EventLog::~EventLog() {
  if (file_ >= 0) close(file_);
}

bool EventLog::begin(const std::string& folder, std::string& error) {
  std::string name = folder + "/events-XXXXXX";
  file_ = mkostemp(name.data(), O_CLOEXEC);
  if (file_ < 0) {
    error = "cannot keep events in " + folder + ": " + std::strerror(errno);
    return false;
  }
  unlink(name.c_str());
  begin_ = std::chrono::steady_clock::now();
  return true;
}

std::int64_t EventLog::now() const {
  return std::chrono::duration_cast<std::chrono::microseconds>(std::chrono::steady_clock::now() -
                                                               begin_)
      .count();
}

std::uint64_t EventLog::append(const std::string& source, const std::string& line) {
  const std::string head = jsonLine([&](JsonWriter& writer) { putText(writer, "source", source); });
  const wzapp::MutexLock lock(mutex_);
  if (hasFailed_) return 0;
  const std::string text = "{\"event\":\"story\",\"sequence\":" + std::to_string(count_ + 1) +
                           ",\"at\":" + std::to_string(now()) + "," +
                           head.substr(1, head.size() - 2) + ",\"line\":" + line + "}\n";
  hasFailed_ = !writeAt(file_, size_, text);
  if (hasFailed_) return 0;
  if (count_ % kMarkEvery == 0) marks_.push_back(size_);
  size_ += text.size();
  return ++count_;
}

std::uint64_t EventLog::last() const {
  const wzapp::MutexLock lock(mutex_);
  return count_;
}

EventLog::Cursor EventLog::find(std::uint64_t sequence) const {
  Cursor cursor;
  std::uint64_t count = 0;
  {
    const wzapp::MutexLock lock(mutex_);
    count = count_;
    if (sequence > count_) return {size_, count_ + 1};
    const std::uint64_t mark = std::max<std::uint64_t>(sequence, 1) - 1;
    if (!marks_.empty()) {
      cursor = {marks_[mark / kMarkEvery], mark / kMarkEvery * kMarkEvery + 1};
    }
  }
  std::vector<std::string> passed;
  while (cursor.next < sequence && cursor.next <= count && read(cursor, 1, passed)) {
  }
  return cursor;
}

bool EventLog::read(Cursor& cursor, std::size_t most, std::vector<std::string>& events) const {
  events.clear();
  std::uint64_t size = 0;
  {
    const wzapp::MutexLock lock(mutex_);
    size = size_;
  }
  const std::uint64_t left = size - std::min(size, cursor.offset);
  if (left == 0) return false;
  constexpr std::size_t kLeast = 8192;
  for (std::size_t wanted = std::max(most, kLeast);; wanted *= 4) {
    const auto there = static_cast<std::size_t>(std::min<std::uint64_t>(left, wanted));
    const std::string text = readAt(file_, cursor.offset, there);
    std::size_t begin = 0;
    for (std::size_t end; (end = text.find('\n', begin)) != std::string::npos;) {
      events.push_back(text.substr(begin, end - begin));
      begin = end + 1;
      if (begin >= most) break;
    }
    cursor.offset += begin;
    cursor.next += events.size();
    if (!events.empty()) return true;
    if (there == left) return false;  // it could not be read back
  }
}

}  // namespace wz
