// Paths and files. A path is a byte string, never converted or checked as text. Both "/" and "\"
// separate components wherever a path is taken apart, and a first component that ends in ":" is a
// volume; what is put together is written with "/".
//
// Nothing here keeps state: any thread may call. Failures are told by the result alone; the only
// exception is std::bad_alloc.
#ifndef WZAPP_SUPPORT_FILE_SYSTEM_H
#define WZAPP_SUPPORT_FILE_SYSTEM_H

#include <sys/stat.h>

#include <cstddef>
#include <string>
#include <string_view>

#include "support/byte_view.h"
#include "support/finding.h"

namespace wzapp {

// The most octets that are read whole into memory.
inline constexpr std::size_t kMaxFileSize = std::size_t{16} << 20;

// The most octets of a manifest, in either form: it is read before anybody has vouched for it, and
// a run reads many.
inline constexpr std::size_t kMaxManifestSize = std::size_t{1} << 20;

// Replaces `content` by the octets of the file. False, with `content` empty, for a file that cannot
// be opened or holds more than `limit` octets. A read error ends the content like the end of the
// file and is not reported. Nothing is waited for: of a pipe only what lies in it is read.
[[nodiscard]] bool readFile(const char* path, std::string& content,
                            std::size_t limit = kMaxFileSize);

// The same for those who judge by what they read: kUnknown, after three attempts, when the file
// cannot be opened for a reason that says nothing about it, or a read fails. A file that holds more
// than `limit` octets is kNone. `content` is empty unless the file was found; a directory reads as
// an empty file.
[[nodiscard]] Finding readWholeFile(const char* path, std::string& content, std::size_t limit);

// Whether `path` begins with a separator or its first component ends in ":".
[[nodiscard]] bool isAbsolutePath(const std::string& path);

// What stands before the last separator: "a/b" of "a/b/c"; "." where there is no separator. The
// root and a volume keep theirs: "/" of "/a", "C:/" of "C:/a". The library itself makes every
// folder on the way to a file instead; this is for those who check where a path leads.
[[nodiscard]] std::string dirName(const std::string& path);

// `path` without empty and "." components, each ".." folded with the name before it. A ".." that
// has no name to fold with stays, behind the root as well. Never empty: "." stands for nothing.
[[nodiscard]] std::string normalizePath(const std::string& path);

// The same into `normalized`, whose memory is used again; `path` is no view of it.
void normalizePath(std::string_view path, std::string& normalized);

// `path` seen from the directory `base`, normalised; an absolute `path` as it is.
[[nodiscard]] std::string joinPath(const std::string& base, const std::string& path);

// Creates the directory `path` and its missing parents, mode 0777 before the process's mask. True
// when something of that name exists already, whatever it is. False when a directory cannot be
// created; parents that were created stay. A path that ends in a separator is created, yet false:
// give it without.
[[nodiscard]] bool makePath(const std::string& path);

// Writes all octets to an open file, from its current position. False, with part of them written,
// when they do not go in however often they are offered: a full disk, a limit.
[[nodiscard]] bool writeWhole(int descriptor, ByteView octets);

// stat(2) and lstat(2): 0, or -1 with errno.
[[nodiscard]] int fileStat(const char* path, struct stat& status);
[[nodiscard]] int linkStat(const char* path, struct stat& status);

// fileStat() for those who judge by what is there: kUnknown after three attempts.
[[nodiscard]] Finding findStatus(const char* path, struct stat& status);

}  // namespace wzapp

#endif  // WZAPP_SUPPORT_FILE_SYSTEM_H
