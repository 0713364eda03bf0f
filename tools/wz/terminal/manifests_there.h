/// The manifests that the dependency check reads on the terminal that this process is inside of.
#ifndef WZ_TERMINAL_MANIFESTS_THERE_H
#define WZ_TERMINAL_MANIFESTS_THERE_H

#include <string>
#include <vector>

#include "wz/reports/package_report.h"

namespace wz {

struct ManifestThere {
  std::string path;
  bool isApplication = false;  ///< otherwise of the terminal's own software
  PackagedManifest manifest;
};

/// Those of the terminal's own software, then those of applications.
[[nodiscard]] std::vector<ManifestThere> findManifestsThere();

}  // namespace wz

#endif  // WZ_TERMINAL_MANIFESTS_THERE_H
