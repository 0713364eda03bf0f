/// The packages of a matrix: named and digested at once, opened and examined when their turn comes.
#ifndef WZ_MATRIX_MATRIX_PACKAGES_H
#define WZ_MATRIX_MATRIX_PACKAGES_H

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "crypto/store/authorities.h"
#include "wz/terminal/package_files.h"
#include "wz/terminal/terminal_image.h"

namespace wz {

/// The authorities of a terminal: its own table, or the one compiled in. They live as long as the
/// image.
[[nodiscard]] std::vector<wzapp::Authority> tableOf(const TerminalImage& image);

struct MatrixPackage {
  std::string file;  ///< as the user calls it
  std::string sha256;
  std::uint64_t octets = 0;
};

class MatrixPackages {
 public:
  /// Looks at the files. An exit code, after a message unless kDone.
  [[nodiscard]] int name(const std::vector<std::string>& files);

  [[nodiscard]] const std::vector<MatrixPackage>& all() const { return packages_; }

  /// Packages as a terminal sees them that has the authorities of `image`. Null after a message:
  /// one cannot be read, or is not what it was.
  [[nodiscard]] std::shared_ptr<const PackageFiles> open(const std::vector<std::size_t>& packages,
                                                         const TerminalImage& image);

 private:
  std::vector<MatrixPackage> packages_;
  // What is examined stays as long as somebody has it. By numbers and authorities.
  std::map<std::string, std::weak_ptr<const PackageFiles>> open_;
};

}  // namespace wz

#endif  // WZ_MATRIX_MATRIX_PACKAGES_H
