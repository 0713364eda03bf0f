/// A folder whose files are read by names that somebody else gives: nothing outside of it is ever
/// opened, whatever the name is and wherever links point to. Links that stay inside are followed.
#ifndef WZ_WORKBENCH_SAFE_FOLDER_H
#define WZ_WORKBENCH_SAFE_FOLDER_H

#include <cstdint>
#include <string>
#include <vector>

#include "workstation/browser/engine/process/unique_fd.h"

namespace wz {

struct FolderEntry {
  std::string name;
  std::string kind;  ///< file, folder, link or other
  std::uint64_t size = 0;
  std::string mode;      ///< "rw-r--r--"
  std::string modified;  ///< ISO 8601, UTC
};

/// Any thread may read.
class SafeFolder {
 public:
  /// Nothing can be opened in one that is not there.
  explicit SafeFolder(const std::string& path);

  /// A regular file, its size in `size`; an empty descriptor when there is none.
  [[nodiscard]] workstation::UniqueFd openFile(const std::string& name, std::uint64_t& size) const;

  /// Replaces `content` by that of a file. False when there is none or it has more than `limit`
  /// octets.
  [[nodiscard]] bool readFile(const std::string& name, std::size_t limit,
                              std::string& content) const;

  /// What is in the folder `name` (empty: this one), folders first, by their names. False when
  /// there is no such folder.
  [[nodiscard]] bool list(const std::string& name, std::vector<FolderEntry>& entries) const;

 private:
  [[nodiscard]] workstation::UniqueFd open(const std::string& name, int flags) const;

  workstation::UniqueFd folder_;
};

}  // namespace wz

#endif  // WZ_WORKBENCH_SAFE_FOLDER_H
