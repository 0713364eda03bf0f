/// The files of a terminal's configuration root, in memory.
#ifndef VERIFIER_INSTALLED_FILES_H
#define VERIFIER_INSTALLED_FILES_H

#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>

namespace verifier {

inline const std::string kApplicationRoot = "/mnt/flash/etc/config/wzapp/wz";
inline const std::string kManifestRoot = "/mnt/flash/etc/config/wzapp/mp";
inline const std::string kDataRoot = "/mnt/flash/etc/config/wzapp/fsroot";

/// The path to which an entry of that name is to be unpacked; it may lie outside of `root`, where
/// terminals write nothing.
[[nodiscard]] std::string destinationOf(std::string_view name, const std::string& root);
[[nodiscard]] bool liesBelow(const std::string& path, const std::string& root);

[[nodiscard]] std::string upperCase(std::string_view text);

class InstalledFiles {
 public:
  /// Makes the folders above a file. False when one of them is a file.
  [[nodiscard]] bool makeFolders(const std::string& path);
  /// Makes a file with the folders above it. False when one of them is a file, or it is a folder.
  [[nodiscard]] bool write(const std::string& path, std::string content);

  [[nodiscard]] bool exists(const std::string& path) const;
  [[nodiscard]] bool isFolder(const std::string& path) const;
  /// The content; of a folder, which can be opened too, nothing.
  [[nodiscard]] std::optional<std::string> read(const std::string& path) const;

  /// The names in a folder.
  [[nodiscard]] std::set<std::string> list(const std::string& folder) const;

  /// With all that is below.
  void remove(const std::string& path);

 private:
  std::map<std::string, std::optional<std::string>> paths_;  // folders have no content
};

}  // namespace verifier

#endif  // VERIFIER_INSTALLED_FILES_H
