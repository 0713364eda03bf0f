/// Names that nobody can guess.
#ifndef WZ_WORDS_RANDOM_TEXT_H
#define WZ_WORDS_RANDOM_TEXT_H

#include <sys/random.h>

#include <cstddef>
#include <string>

namespace wz {

/// Two hexadecimal digits for each of `octets` (at most 256) from the system's source of
/// randomness; empty when it has none.
inline std::string randomText(std::size_t octets) {
  constexpr char kHex[] = "0123456789abcdef";
  std::string random(octets, '\0');
  if (getrandom(random.data(), octets, 0) != static_cast<ssize_t>(octets)) return {};
  std::string text;
  for (const char octet : random) {
    text += kHex[static_cast<unsigned char>(octet) >> 4];
    text += kHex[static_cast<unsigned char>(octet) & 15];
  }
  return text;
}

}  // namespace wz

#endif  // WZ_WORDS_RANDOM_TEXT_H
