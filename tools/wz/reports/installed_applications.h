/// The applications of the terminal that this process is inside of.
#ifndef WZ_REPORTS_INSTALLED_APPLICATIONS_H
#define WZ_REPORTS_INSTALLED_APPLICATIONS_H

#include <map>
#include <string>
#include <vector>

namespace wz {

struct InstalledApplication {
  std::string id, version;
  bool isInstalled = false;       ///< it has a manifest or a folder of its own
  std::string marketplaceFolder;  ///< name of the folder with its marketplace manifest; empty: none
  std::vector<std::string> sponsors;  ///< that the marketplace manifest lists
  std::string stamp;                  ///< differs once its own manifest has been written again
  std::string marketplaceStamp;       ///< the same of the marketplace manifest
  std::string marketplaceVersion;
  std::vector<std::string> exportedTriggers, exportedInterfaces;
};

/// Whether there is another one of the two manifests, or one of them anew.
[[nodiscard]] bool isWrittenAnew(const InstalledApplication& before,
                                 const InstalledApplication& now);

/// As terminals compare versions; one that is not stated is not older than any.
[[nodiscard]] bool isOlderVersion(const std::string& version, const std::string& than);

/// By their ids in upper case, as terminals tell them apart.
using InstalledApplications = std::map<std::string, InstalledApplication>;

[[nodiscard]] InstalledApplications findInstalledApplications();

/// "; did you mean shop?" where the id of an installed application is near; or nothing.
[[nodiscard]] std::string suggestedId(const InstalledApplications& applications,
                                      const std::string& id);

}  // namespace wz

#endif  // WZ_REPORTS_INSTALLED_APPLICATIONS_H
