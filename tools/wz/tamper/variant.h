/// A package that was changed in one way, and what an installation's log must say of it.
#ifndef WZ_TAMPER_VARIANT_H
#define WZ_TAMPER_VARIANT_H

#include <string>
#include <utility>
#include <vector>

namespace wz {

/// A file of the source directory.
struct DroppedFile {
  std::string name;
  std::string octets;
  bool isFolder = false;  ///< an empty folder of that name instead
};

struct Expected {
  /// The lines that tell what is wrong or goes, in any order, without line feeds; a * in one stands
  /// for whatever the terminal puts there.
  std::vector<std::string> log;
  std::string result;        ///< "OK", "NO PACKAGE", "ERROR" or "WARNING"
  bool isInstalled = false;  ///< the application, afterwards
};

struct Variant {
  std::string group;  ///< "flip"
  std::string what;   ///< what was changed, in words
  std::vector<DroppedFile> files;
  Expected expected;
};

using Variants = std::vector<Variant>;

}  // namespace wz

#endif  // WZ_TAMPER_VARIANT_H
