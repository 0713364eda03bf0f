#include "archive/unzip.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <new>
#include <string_view>

#include "support/file_system.h"

// Behind the system's headers: it would switch them to offsets of 64 bits.
#include <minizip/unzip.h>

namespace wzapp {
namespace {

constexpr mode_t kFileMode = 0666;
constexpr off_t kStatusBlock = 512;  // of st_blocks

// The largest file whose limit can be counted; there is none.
constexpr std::uint64_t kLargestSize = UINT64_MAX / UnZIP::kMaxExpansion;

// Octets of memory that an entry of the index takes: its node, and its name.
std::size_t costOf(std::string_view name) {
  constexpr std::size_t kNode = sizeof(UnZIP::Index::value_type) + 4 * sizeof(void*);
  constexpr std::size_t kAlignment = alignof(UnZIP::Index::value_type);
  return kNode + (name.size() / kAlignment + 1) * kAlignment;
}

using Block = std::array<std::uint8_t, UnZIP::kBlockSize>;

// Cuts off what a file held before behind what was written over it, and the room behind its end
// that it was given for more than came. A file of which nothing was written over keeps its content
// if `isKept`.
bool cutBehindWritten(int file, bool isKept) {
  struct stat status;
  if (fstat(file, &status) != 0) return false;
  const off_t end = lseek(file, 0, SEEK_CUR);
  if (end < 0 || !S_ISREG(status.st_mode)) return true;
  const off_t size = end == 0 && isKept ? status.st_size : end;
  const off_t blocks = size / status.st_blksize + 1;
  if (size >= status.st_size && status.st_blocks * kStatusBlock <= blocks * status.st_blksize) {
    return true;
  }
  return ftruncate(file, size) == 0;
}

// Both digests of an entry on their way.
struct Digests {
  Sha1Context sha1;
  Sha256Context sha256;
};

}  // namespace

UnZIP::UnZIP(const std::string& path) {
  // Not blocking: opening a pipe would wait for somebody to write into it.
  const int descriptor = ::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
  if (descriptor < 0) return;
  open(descriptor);
  ::close(descriptor);
}

UnZIP::UnZIP(int descriptor) {
  if (descriptor >= 0) open(descriptor);
}

UnZIP::~UnZIP() { close(); }

void UnZIP::open(int descriptor) {
  if (!file_.open(descriptor)) return;
  octetsLeft_ = std::min(file_.size(), kLargestSize) * kMaxExpansion;
  try {
    handle_ = file_.openArchive();
    if (handle_ != nullptr && readIndex()) return;
  } catch (const std::bad_alloc&) {
    // An index that does not fit into memory is one that cannot be read.
  }
  close();
}

void UnZIP::close() {
  if (handle_ != nullptr) {
    closeEntry();
    unzClose(handle_);
  }
  handle_ = nullptr;
  index_.clear();
  memory_.release();
  indexSize_ = 0;
  file_.close();
}

// The archive stands at its first entry.
bool UnZIP::readIndex() {
  unz_global_info64 info;
  if (unzGetGlobalInfo64(handle_, &info) != UNZ_OK) return false;
  for (std::uint64_t left = info.number_entry; left > 0; --left) {
    if (!indexCurrentEntry()) return false;
    if (left > 1 && unzGoToNextFile(handle_) != UNZ_OK) return false;
  }
  return true;
}

bool UnZIP::indexCurrentEntry() {
  unz_file_info64 info;
  char buffer[kNameLimit];
  if (unzGetCurrentFileInfo64(handle_, &info, buffer, sizeof buffer, nullptr, 0, nullptr, 0) !=
      UNZ_OK) {
    return false;
  }
  // A name that fills the buffer has not been terminated.
  if (info.size_filename >= kNameLimit) return false;
  unz64_file_pos position;
  if (unzGetFilePos64(handle_, &position) != UNZ_OK) return false;

  const std::string_view name = buffer;
  std::replace(buffer, buffer + name.size(), '\\', '/');
  auto place = index_.lower_bound(name);
  if (place == index_.end() || place->first != name) {
    indexSize_ += costOf(name);
    if (indexSize_ > kMaxIndexSize) return false;
    place = index_.try_emplace(place, keep(name));
  }
  place->second = {position.pos_in_zip_directory, position.num_of_file, info.uncompressed_size};
  return true;
}

// In memory that lives as long as the index, with a zero octet behind it.
std::string_view UnZIP::keep(std::string_view name) {
  auto* const kept = static_cast<char*>(memory_.allocate(name.size() + 1, 1));
  *std::ranges::copy(name, kept).out = '\0';
  return {kept, name.size()};
}

bool UnZIP::goTo(Entry entry) {
  if (entry == index_.end()) return false;
  current_ = &index_.find(entry->first)->second;
  const unz64_file_pos position = {current_->offset, current_->number};
  return unzGoToFilePos64(handle_, &position) == UNZ_OK;
}

// Closes the entry that an operation before may have left open.
bool UnZIP::openEntry() {
  position_ = 0;
  return unzOpenCurrentFile(handle_) == UNZ_OK;
}

// The number of octets read; 0 at the end of the entry, negative when it cannot be read.
int UnZIP::readOpenOctets(std::span<std::uint8_t> block) {
  const int count = unzReadCurrentFile(handle_, block.data(), static_cast<unsigned>(block.size()));
  if (count <= 0) return count;
  return countOctets(static_cast<std::uint64_t>(count)) ? count : UNZ_BADZIPFILE;
}

// False where more comes out than may: only of a file that has changed more than was stated when it
// was opened.
bool UnZIP::countOctets(std::uint64_t octets) {
  position_ += octets;
  if (position_ > current_->size) return false;
  if (position_ <= current_->counted) return true;
  const std::uint64_t added = position_ - current_->counted;
  if (added > octetsLeft_) return false;
  octetsLeft_ -= added;
  current_->counted = position_;
  return true;
}

// What it says about the CRC is not asked for; without an open entry it does nothing.
void UnZIP::closeEntry() { static_cast<void>(unzCloseCurrentFile(handle_)); }

ReadEnd UnZIP::readOpenEntry(const BlockSink& sink) {
  Block block;
  while (true) {
    const int count = readOpenOctets(block);
    if (count == 0) return ReadEnd::kComplete;
    if (count < 0) return ReadEnd::kUnreadable;
    if (!sink(ByteView(block.data(), static_cast<std::size_t>(count)))) return ReadEnd::kStopped;
  }
}

bool UnZIP::writeOpenEntry(int descriptor) {
  return readOpenEntry([descriptor](ByteView block) { return writeWhole(descriptor, block); }) ==
         ReadEnd::kComplete;
}

bool UnZIP::extractToFile(Entry entry, const std::string& path) {
  return extractToFile(entry, [&path] {
    return ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, kFileMode);
  });
}

bool UnZIP::extractToFile(Entry entry, const FileOpener& openTarget) {
  if (!goTo(entry) || !openEntry()) return false;
  const int target = openTarget();
  bool isWritten = false;
  if (target >= 0) {
    errno = 0;  // a damaged entry fails without a call of the system that does
    isWritten = writeOpenEntry(target);
    const bool isSystemsFault = !isWritten && errno != 0;
    if (!cutBehindWritten(target, isSystemsFault)) isWritten = false;
    // Some file systems tell of octets that they lost only now.
    if (::close(target) != 0) isWritten = false;
  }
  closeEntry();
  return isWritten;
}

bool UnZIP::digestEntry(Entry entry, std::span<std::uint8_t, kSha1Size> sha1,
                        std::span<std::uint8_t, kSha256Size> sha256) {
  return digestEntry(entry, sha1, sha256, [](ByteView) { return true; });
}

bool UnZIP::digestEntry(Entry entry, std::span<std::uint8_t, kSha1Size> sha1,
                        std::span<std::uint8_t, kSha256Size> sha256, const BlockSink& copy) {
  Digests digests{};
  digestStart(&digests.sha1);
  digestStart(&digests.sha256);

  const auto digestAndCopy = [&digests, &copy](ByteView block) {
    digestAdd(&digests.sha1, &digests.sha256, block);
    return copy(block);
  };
  const ReadEnd end = readBlocks(entry, digestAndCopy);

  if (end == ReadEnd::kNotOpened) return false;
  if (end != ReadEnd::kComplete) {
    std::ranges::fill(sha1, std::uint8_t{0});
    std::ranges::fill(sha256, std::uint8_t{0});
    return false;
  }
  digestFinish(&digests.sha1, sha1.data());
  digestFinish(&digests.sha256, sha256.data());
  return true;
}

bool UnZIP::readEntry(Entry entry, std::vector<std::uint8_t>& content, std::size_t maxSize) {
  if (!goTo(entry)) return false;
  unz_file_info64 info;
  if (unzGetCurrentFileInfo64(handle_, &info, nullptr, 0, nullptr, 0, nullptr, 0) != UNZ_OK) {
    return false;
  }
  if (info.uncompressed_size > maxSize) return false;
  if (!openEntry()) return false;
  const bool isRead = readStatedOctets(info.uncompressed_size, content);
  closeEntry();
  return isRead;
}

bool UnZIP::readStatedOctets(std::uint64_t size, std::vector<std::uint8_t>& content) {
  Block block;
  content.clear();
  while (content.size() < size) {
    const std::uint64_t room = std::min<std::uint64_t>(size - content.size(), block.size());
    const int count = readOpenOctets(std::span(block).first(static_cast<std::size_t>(room)));
    if (count <= 0) return false;
    try {
      content.insert(content.end(), block.begin(), block.begin() + count);
    } catch (const std::bad_alloc&) {
      return false;
    }
  }
  return true;
}

ReadEnd UnZIP::readBlocks(Entry entry, const BlockSink& sink) {
  if (!goTo(entry) || !openEntry()) return ReadEnd::kNotOpened;
  return readOpenEntry(sink);
}

}  // namespace wzapp
