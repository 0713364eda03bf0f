// Whole archives, in a file without a name. The index is in order and free of what it must not
// hold, and an entry is the same octets whichever way it is read.

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <string>
#include <string_view>
#include <vector>

#include "archive/unzip.h"
#include "fuzz/check.h"
#include "support/file_system.h"

namespace {

using wzapp::ByteView;
using wzapp::ReadEnd;
using wzapp::UnZIP;

constexpr std::size_t kMaxInput = 1 << 16;
constexpr int kMaxEntries = 20;               // any number may show the same octets,
constexpr std::size_t kMaxContent = 1 << 20;  // and each becomes a thousand times as many

int fileOf(const std::uint8_t* data, std::size_t size) {
  const int descriptor = memfd_create("archive", MFD_CLOEXEC);
  FUZZ_CHECK(descriptor >= 0);
  FUZZ_CHECK(size == 0 || write(descriptor, data, size) == static_cast<ssize_t>(size));
  return descriptor;
}

std::string contentOf(int descriptor) {
  std::string content(static_cast<std::size_t>(lseek(descriptor, 0, SEEK_CUR)), '\0');
  FUZZ_CHECK(pread(descriptor, content.data(), content.size(), 0) ==
             static_cast<ssize_t>(content.size()));
  return content;
}

void checkName(std::string_view name) {
  FUZZ_CHECK(name.size() < UnZIP::kNameLimit);
  FUZZ_CHECK(name.find('\\') == std::string_view::npos);
  FUZZ_CHECK(name.find('\0') == std::string_view::npos);
  FUZZ_CHECK(name.data()[name.size()] == '\0');
}

void checkDigests(UnZIP& archive, UnZIP::Entry entry, ReadEnd end, const std::string& content) {
  std::array<std::uint8_t, wzapp::kSha1Size> sha1;
  std::array<std::uint8_t, wzapp::kSha256Size> sha256;
  std::array<std::uint8_t, wzapp::kSha1Size> expectedSha1{};
  std::array<std::uint8_t, wzapp::kSha256Size> expectedSha256{};
  sha1.fill(7);
  sha256.fill(7);
  const ByteView octets = wzapp::viewOf(content);
  if (end == ReadEnd::kComplete) {
    FUZZ_CHECK(wzapp::digestByOid(wzapp::kSha1Oid, octets, expectedSha1.data()) == 0);
    FUZZ_CHECK(wzapp::digestByOid(wzapp::kSha256Oid, octets, expectedSha256.data()) == 0);
  } else if (end == ReadEnd::kNotOpened) {
    expectedSha1 = sha1;
    expectedSha256 = sha256;
  }

  const bool isDigested = archive.digestEntry(entry, sha1, sha256);

  FUZZ_CHECK(isDigested == (end == ReadEnd::kComplete));
  FUZZ_CHECK(sha1 == expectedSha1);
  FUZZ_CHECK(sha256 == expectedSha256);
}

void checkReadWhole(UnZIP& archive, UnZIP::Entry entry, ReadEnd end, const std::string& content) {
  const std::vector<std::uint8_t> before = {1, 2, 3};
  std::vector<std::uint8_t> read = before;

  const bool isRead = archive.readEntry(entry, read);

  FUZZ_CHECK(read.size() <= wzapp::kMaxFileSize);
  if (end == ReadEnd::kNotOpened) FUZZ_CHECK(!isRead && read == before);
  if (!isRead) return;
  FUZZ_CHECK(content.starts_with(std::string(read.begin(), read.end())));
}

void checkExtracted(UnZIP& archive, UnZIP::Entry entry, ReadEnd end, const std::string& content) {
  const int target = fileOf(nullptr, 0);

  const bool isExtracted = archive.extractToFile(entry, [target] { return dup(target); });

  FUZZ_CHECK(isExtracted == (end == ReadEnd::kComplete));
  FUZZ_CHECK(contentOf(target) == content);
  close(target);
}

void checkEntry(UnZIP& archive, UnZIP::Entry entry) {
  std::string content;
  const ReadEnd end = archive.readBlocks(entry, [&content](ByteView block) {
    FUZZ_CHECK(!block.empty() && block.size() <= UnZIP::kBlockSize);
    content.append(block.begin(), block.end());
    return content.size() < kMaxContent;
  });
  if (end == ReadEnd::kStopped) return;
  checkDigests(archive, entry, end, content);
  checkReadWhole(archive, entry, end, content);
  checkExtracted(archive, entry, end, content);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size > kMaxInput) return -1;
  const int descriptor = fileOf(data, size);
  UnZIP archive(descriptor);
  close(descriptor);

  // An entry takes at least the 46 octets of its record.
  FUZZ_CHECK(archive.index().size() <= size / 46);
  FUZZ_CHECK(
      std::ranges::is_sorted(archive.index(), {}, [](const auto& row) { return row.first; }));
  int left = kMaxEntries;
  for (auto entry = archive.index().begin(); entry != archive.index().end(); ++entry) {
    checkName(entry->first);
    if (--left >= 0) checkEntry(archive, entry);
  }
  return 0;
}
