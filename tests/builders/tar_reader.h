// Reads ustar archives by the offsets of POSIX.1-1988, apart from what writes them, and strictly:
// what a careful reader could stumble over is an exception.
#ifndef WZAPP_TESTS_BUILDERS_TAR_READER_H
#define WZAPP_TESTS_BUILDERS_TAR_READER_H

#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace wzapp_test {

struct TarMember {
  std::string name;
  std::uint64_t mode = 0;
  std::uint64_t uid = 0;
  std::uint64_t gid = 0;
  std::uint64_t size = 0;
  std::uint64_t mtime = 0;
  char type = 0;
  std::string owner;
  std::string group;
  std::string content;
};

namespace tar_reader_detail {

inline constexpr std::size_t kBlock = 512;

inline void require(bool condition, const char* what) {
  if (!condition) throw std::runtime_error(std::string("tar: ") + what);
}

inline bool isZero(std::string_view octets) {
  return octets.find_first_not_of('\0') == std::string_view::npos;
}

// Up to its NUL, behind which there is nothing more.
inline std::string textOf(std::string_view field) {
  const std::size_t end = field.find('\0');
  require(end != std::string_view::npos, "text without an end");
  require(isZero(field.substr(end)), "octets behind a text");
  return std::string(field.substr(0, end));
}

inline std::uint64_t octalOf(const std::string& digits) {
  require(!digits.empty(), "number without digits");
  std::uint64_t number = 0;
  for (const char digit : digits) {
    require(digit >= '0' && digit <= '7', "number with other digits");
    number = 8 * number + static_cast<std::uint64_t>(digit - '0');
  }
  return number;
}

inline std::uint64_t numberOf(std::string_view field) {
  const std::string digits = textOf(field);
  require(digits.size() == 1 || digits.front() != '0', "number with a leading zero");
  return octalOf(digits);
}

}  // namespace tar_reader_detail

// The fields of a header block of 512 octets.
inline TarMember readTarHeader(std::string_view block) {
  using namespace tar_reader_detail;
  require(block.size() == kBlock, "size of a header");
  std::uint64_t sum = 8 * ' ';
  for (std::size_t i = 0; i < kBlock; ++i) {
    if (i < 148 || i >= 156) sum += static_cast<unsigned char>(block[i]);
  }
  const std::string_view checksum = block.substr(148, 8);
  require(checksum[6] == '\0' && checksum[7] == ' ', "end of the checksum");
  require(octalOf(std::string(checksum.substr(0, 6))) == sum, "checksum");
  require(block.substr(257, 8) == std::string_view("ustar\0"
                                                   "00",
                                                   8),
          "magic and version");
  require(isZero(block.substr(157, 100)), "link name");
  require(isZero(block.substr(329)), "device numbers, prefix or what is behind");

  TarMember member;
  member.name = textOf(block.substr(0, 100));
  member.mode = numberOf(block.substr(100, 8));
  member.uid = numberOf(block.substr(108, 8));
  member.gid = numberOf(block.substr(116, 8));
  member.size = numberOf(block.substr(124, 12));
  member.mtime = numberOf(block.substr(136, 12));
  member.type = block[156];
  member.owner = textOf(block.substr(265, 32));
  member.group = textOf(block.substr(297, 32));
  return member;
}

// The members of an archive that ends with two blocks of zeros and nothing behind them.
inline std::vector<TarMember> readTar(std::string_view archive) {
  using namespace tar_reader_detail;
  std::vector<TarMember> members;
  while (archive.size() > 2 * kBlock) {
    members.push_back(readTarHeader(archive.substr(0, kBlock)));
    archive.remove_prefix(kBlock);
    TarMember& member = members.back();
    require(member.size <= archive.size(), "size of a member");
    const auto size = static_cast<std::size_t>(member.size);
    const std::size_t padded = (size + kBlock - 1) / kBlock * kBlock;
    require(padded <= archive.size(), "size of a member");
    member.content = archive.substr(0, size);
    require(isZero(archive.substr(size, padded - size)), "padding");
    archive.remove_prefix(padded);
  }
  require(archive.size() == 2 * kBlock && isZero(archive), "end of the archive");
  return members;
}

}  // namespace wzapp_test

#endif  // WZAPP_TESTS_BUILDERS_TAR_READER_H
