#include "archive/archive_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <limits>
#include <type_traits>

// Behind the system's headers: it would switch them to offsets of 64 bits.
#include <minizip/unzip.h>

namespace wzapp {
namespace {

static_assert(std::is_same_v<unzFile, void*>);

constexpr auto kLastPosition = static_cast<std::uint64_t>(std::numeric_limits<off_t>::max());

// --- What minizip calls -----------------------------------------------------------------------
// The stream is the file itself, which is open already and is not closed by minizip.

ArchiveFile& fileOf(voidpf stream) { return *static_cast<ArchiveFile*>(stream); }

voidpf openStream(voidpf file, const void* /*path*/, int /*mode*/) { return file; }

uLong readStream(voidpf /*file*/, voidpf stream, void* buffer, uLong size) {
  return static_cast<uLong>(fileOf(stream).read(static_cast<std::uint8_t*>(buffer), size));
}

uLong writeStream(voidpf /*file*/, voidpf /*stream*/, const void* /*buffer*/, uLong /*size*/) {
  return 0;
}

ZPOS64_T tellStream(voidpf /*file*/, voidpf stream) { return fileOf(stream).position(); }

long seekStream(voidpf /*file*/, voidpf stream, ZPOS64_T offset, int origin) {
  return fileOf(stream).seek(offset, origin) ? 0 : -1;
}

int closeStream(voidpf /*file*/, voidpf /*stream*/) { return 0; }

int testStream(voidpf /*file*/, voidpf stream) { return fileOf(stream).hasFailed() ? 1 : 0; }

}  // namespace

bool ArchiveFile::open(int descriptor) {
  close();
  struct stat status;
  if (fstat(descriptor, &status) != 0 || !S_ISREG(status.st_mode)) return false;
  descriptor_ = fcntl(descriptor, F_DUPFD_CLOEXEC, 0);
  size_ = static_cast<std::uint64_t>(status.st_size);
  return descriptor_ >= 0;
}

void ArchiveFile::close() {
  if (descriptor_ >= 0) ::close(descriptor_);
  descriptor_ = -1;
  position_ = 0;
  windowSize_ = 0;
  hasFailed_ = false;
}

void* ArchiveFile::openArchive() {
  zlib_filefunc64_def functions = {openStream, readStream,  writeStream, tellStream,
                                   seekStream, closeStream, testStream,  this};
  return unzOpen2_64(nullptr, &functions);
}

std::size_t ArchiveFile::read(std::uint8_t* octets, std::size_t count) {
  const std::size_t done =
      count < kWindowSize ? readWindow(octets, count) : readFile(octets, count, position_);
  position_ += done;
  return done;
}

// Through the window; the position stays.
std::size_t ArchiveFile::readWindow(std::uint8_t* octets, std::size_t count) {
  std::size_t done = 0;
  while (done < count) {
    const std::uint64_t from = position_ + done;
    if (from < windowStart_ || from - windowStart_ >= windowSize_) {
      windowStart_ = from;
      windowSize_ = readFile(window_.data(), window_.size(), from);
      if (windowSize_ == 0) break;
    }
    const auto skipped = static_cast<std::size_t>(from - windowStart_);
    const std::size_t part = std::min(count - done, windowSize_ - skipped);
    std::memcpy(octets + done, window_.data() + skipped, part);
    done += part;
  }
  return done;
}

// As many of the octets as the file has.
std::size_t ArchiveFile::readFile(std::uint8_t* octets, std::size_t count, std::uint64_t from) {
  count = static_cast<std::size_t>(std::min<std::uint64_t>(count, kLastPosition - from));
  std::size_t done = 0;
  while (done < count) {
    const ssize_t part =
        pread(descriptor_, octets + done, count - done, static_cast<off_t>(from + done));
    if (part < 0 && errno == EINTR) continue;
    if (part < 0) hasFailed_ = true;
    if (part <= 0) break;
    done += static_cast<std::size_t>(part);
  }
  return done;
}

// As fseek(3): a negative `offset` comes as its two's complement, and behind the end there is
// nothing to read, but room to stand.
bool ArchiveFile::seek(std::uint64_t offset, int origin) {
  std::uint64_t target = offset;
  if (origin == ZLIB_FILEFUNC_SEEK_CUR) target += position_;
  if (origin == ZLIB_FILEFUNC_SEEK_END) target += size_;
  if (target > kLastPosition) return false;
  position_ = target;
  return true;
}

}  // namespace wzapp
