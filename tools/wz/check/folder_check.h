/// Everything that can be told of an application's folder without a terminal.
#ifndef WZ_CHECK_FOLDER_CHECK_H
#define WZ_CHECK_FOLDER_CHECK_H

#include <span>
#include <string>
#include <vector>

#include "crypto/store/authorities.h"
#include "wz/reports/diagnostic.h"
#include "wz/terminal/trusted_authorities.h"

namespace wz {

struct CheckOptions {
  std::string leftOut;  ///< a file that is not packed whatever its name; empty: none
  unsigned engine = 0;  ///< major version of the terminal's browser; 0: not known, not checked
  /// By which the signers of packages are judged.
  std::span<const wzapp::Authority> authorities = trustedAuthorities();
  bool areInForce = true;  ///< those authorities
  bool isRelease = false;  ///< development keys do not sign
};

/// What was found in one folder or package.
struct CheckReport {
  std::string file;              ///< as it was named
  bool isPackage = false;        ///< or else a folder
  std::vector<std::string> ids;  ///< of its applications
  Diagnostics diagnostics;
};

/// Checks the folder of an application. Diagnostics name files by the path that was given.
[[nodiscard]] CheckReport checkFolder(const std::string& path, const CheckOptions& options);

/// Checks a package: its archives as `wz inspect` does, and each application in it as a folder.
/// What is unpacked lies in the folder for temporary files meanwhile.
[[nodiscard]] CheckReport checkPackage(const std::string& file, const CheckOptions& options);

/// Adds what is wrong with several folders, or several packages, together: ids that are the same,
/// or of which one ends the exports of another. A folder and a package may be one application.
void checkTogether(std::vector<CheckReport>& reports);

/// Takes away what was found deliberate.
/// \param allowed  codes.
void dropAllowed(const std::vector<std::string>& allowed, std::vector<CheckReport>& reports);

}  // namespace wz

#endif  // WZ_CHECK_FOLDER_CHECK_H
