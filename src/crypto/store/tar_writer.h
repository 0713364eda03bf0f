// Writes tar archives in the ustar format (POSIX.1-1988) piece by piece:
//
//   archive = { header content zeros } end     header 512 octets, zeros up to the next multiple
//   end     = two blocks of zeros              of 512 octets
//
// Regular files of root that all may read, nothing else. Any thread may write.
#ifndef WZAPP_CRYPTO_STORE_TAR_WRITER_H
#define WZAPP_CRYPTO_STORE_TAR_WRITER_H

#include <cstddef>
#include <cstdint>
#include <ctime>
#include <string>

#include "support/byte_view.h"

namespace wzapp {

inline constexpr std::size_t kTarBlockSize = 512;

// The block before a file. What is text ends with a NUL unless it fills its field.
struct TarHeader {
  char name[100];
  char mode[8];
  char uid[8];
  char gid[8];
  char size[12];   // octal
  char mtime[12];  // octal, seconds since 1970
  char checksum[8];
  char typeflag;
  char linkname[100];
  char magic[6];
  char version[2];
  char uname[32];
  char gname[32];
  char devmajor[8];
  char devminor[8];
  char prefix[155];
  char unused[12];
};
static_assert(sizeof(TarHeader) == kTarBlockSize);

// `name` is cut to 99 octets, and ends at its first NUL.
// `size`: of the content in octets; less than 8 GiB.
// `mtime`: seconds since 1970, which the field holds from 1970 up to the year 2242; a time outside
// of that is written as the nearest one.
[[nodiscard]] TarHeader makeTarHeader(const std::string& name, std::size_t size, std::time_t mtime);

// Appends a file: its header, its content and the zeros behind it.
void appendTarFile(std::string& archive, const std::string& name, ByteView content,
                   std::time_t mtime);

// Appends the end of the archive.
void appendTarEnd(std::string& archive);

}  // namespace wzapp

#endif  // WZAPP_CRYPTO_STORE_TAR_WRITER_H
