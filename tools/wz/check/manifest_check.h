/// What is wrong with the text of an application's manifest, or of a configuration.
#ifndef WZ_CHECK_MANIFEST_CHECK_H
#define WZ_CHECK_MANIFEST_CHECK_H

#include <string>
#include <string_view>

#include "wz/reports/diagnostic.h"

namespace wz {

/// Checks a manifest in JSON form. One that does not look like JSON is left to those who read
/// sections.
/// \param file, entry  where the text comes from, for the diagnostics.
void checkManifestText(std::string_view text, const std::string& file, const std::string& entry,
                       Diagnostics& diagnostics);

/// Checks that a configuration is JSON.
void checkConfiguration(std::string_view text, const std::string& file, const std::string& entry,
                        Diagnostics& diagnostics);

}  // namespace wz

#endif  // WZ_CHECK_MANIFEST_CHECK_H
