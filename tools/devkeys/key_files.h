/// Files of key directories, on their way to a folder that appears complete or not at all, also
/// when a signal ends the process meanwhile.
#ifndef DEVKEYS_KEY_FILES_H
#define DEVKEYS_KEY_FILES_H

#include <sys/types.h>

#include <filesystem>
#include <string>
#include <vector>

#include "devkeys/rsa_key.h"

namespace devkeys {

/// A folder or file could not be read or made; the text is for the user.
struct FileError {
  std::string text;
};

/// Throws the FileError of a path that could not be made.
[[noreturn]] void failAt(const std::filesystem::path& path, int error);

/// Writes a new file. Throws FileError, also where there is one.
void writeFile(const std::filesystem::path& path, const std::string& content, mode_t mode);

/// The octets of a file. Throws FileError.
[[nodiscard]] std::string readFile(const std::filesystem::path& path);

/// What becomes a folder, in memory: making keys takes seconds, writing them an instant. Folders
/// are for their owner alone. Every function throws FileError.
class KeyFiles {
 public:
  /// \param name  in the folder; the folders above it are made.
  void add(const std::string& name, std::string content, mode_t mode);
  /// NAME.der, and NAME.key for its owner alone.
  void addPair(const std::string& name, const std::string& certificate, const RsaKey& key);
  /// The files of an existing folder that have not been added, with their modes.
  void addRestOf(const std::filesystem::path& folder);

  /// Makes them the new folder `directory`.
  void write(const std::filesystem::path& directory) const;
  /// Puts them in the place of the folder `directory`, which is removed.
  void replace(const std::filesystem::path& directory) const;

 private:
  struct File {
    std::string name;  // in the directory
    std::string content;
    mode_t mode;
  };

  void fill(const std::filesystem::path& folder) const;

  std::vector<File> files_;
};

}  // namespace devkeys

#endif  // DEVKEYS_KEY_FILES_H
