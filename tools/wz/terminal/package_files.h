/// Package files on their way into a terminal. They are opened outside, where their paths lead to
/// what the user means, and copied inside; the user's own stay as they are.
#ifndef WZ_TERMINAL_PACKAGE_FILES_H
#define WZ_TERMINAL_PACKAGE_FILES_H

#include <span>
#include <string>
#include <vector>

#include "crypto/store/authorities.h"
#include "wz/terminal/installation.h"

namespace wz {

/// Where a package of that name waits to be installed.
[[nodiscard]] std::string placeOfPackage(const std::string& name);

/// What a package is called beside its place until it is whole; terminals pass it over.
[[nodiscard]] std::string partOf(const std::string& place);

/// The digest of a file, hexadecimal; empty when it cannot be read.
[[nodiscard]] std::string sha256OfFile(const std::string& path);

/// Whether terminals look at packages of this name: an exit code, after a message unless kDone.
[[nodiscard]] int checkPackageName(const std::string& file);

class PackageFiles {
 public:
  PackageFiles() = default;
  ~PackageFiles();
  PackageFiles(const PackageFiles&) = delete;
  PackageFiles& operator=(const PackageFiles&) = delete;

  /// Opens the files and examines what they are for. An exit code, after a message unless kDone.
  [[nodiscard]] int open(const std::vector<std::string>& files,
                         EntrySizes sizes = EntrySizes::kLeftOut);
  /// The same as a terminal sees them that has these authorities.
  [[nodiscard]] int open(const std::vector<std::string>& files, EntrySizes sizes,
                         std::span<const wzapp::Authority> authorities);

  /// Copies the files into the source directory of the terminal that this process is inside of by
  /// now. False after a message, and then none is there.
  [[nodiscard]] bool copyIn() const;

  [[nodiscard]] const std::vector<WaitingPackage>& packages() const { return packages_; }

 private:
  std::vector<WaitingPackage> packages_;
  std::vector<int> descriptors_;
};

}  // namespace wz

#endif  // WZ_TERMINAL_PACKAGE_FILES_H
