/// Reads a manifest for a report.
#ifndef WZ_REPORTS_PACKAGED_MANIFEST_H
#define WZ_REPORTS_PACKAGED_MANIFEST_H

#include <string>

#include "wz/reports/package_report.h"

namespace wz {

/// Reads the manifest at `path` in either form; what cannot be read has no id.
/// \param entry  what the manifest is called in the package.
[[nodiscard]] PackagedManifest readPackagedManifest(const std::string& path,
                                                    const std::string& entry);

}  // namespace wz

#endif  // WZ_REPORTS_PACKAGED_MANIFEST_H
