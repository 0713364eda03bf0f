#include "crypto/store/tar_writer.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <iterator>
#include <numeric>
#include <string_view>

namespace wzapp {

namespace {

// Eleven octal digits and a NUL.
constexpr std::uint64_t kLargestNumber = 077777777777;

// Into a field of zeros.
template <std::size_t kSize>
void putText(char (&field)[kSize], std::string_view text) {
  text.copy(field, kSize);
}

void putNumber(char (&field)[12], std::uint64_t number) {
  std::to_chars(field, std::end(field) - 1, std::min(number, kLargestNumber), 8);
}

// The octets of the header, whose checksum is still zero, as unsigned numbers, those of the
// checksum counted as blanks.
unsigned sumOf(const TarHeader& header) {
  constexpr unsigned kBlanks = ' ' * sizeof header.checksum;
  const auto* const octets = reinterpret_cast<const unsigned char*>(&header);
  return std::accumulate(octets, octets + sizeof header, kBlanks);
}

}  // namespace

TarHeader makeTarHeader(const std::string& name, std::size_t size, std::time_t mtime) {
  TarHeader header{};
  putText(header.name, std::string_view(name.c_str()).substr(0, sizeof header.name - 1));
  putText(header.mode, "644");
  putText(header.uid, "0");
  putText(header.gid, "0");
  putNumber(header.size, size);
  putNumber(header.mtime, static_cast<std::uint64_t>(std::max<std::time_t>(mtime, 0)));
  header.typeflag = '0';
  putText(header.magic, "ustar");
  putText(header.version, "00");
  putText(header.uname, "root");
  putText(header.gname, "root");
  std::snprintf(header.checksum, sizeof header.checksum, "%06o", sumOf(header));
  header.checksum[7] = ' ';
  return header;
}

void appendTarFile(std::string& archive, const std::string& name, ByteView content,
                   std::time_t mtime) {
  const TarHeader header = makeTarHeader(name, content.size(), mtime);
  const std::size_t inLastBlock = content.size() % kTarBlockSize;
  archive.append(reinterpret_cast<const char*>(&header), sizeof header);
  archive.append(content.begin(), content.end());
  if (inLastBlock != 0) archive.append(kTarBlockSize - inLastBlock, '\0');
}

void appendTarEnd(std::string& archive) { archive.append(2 * kTarBlockSize, '\0'); }

}  // namespace wzapp
