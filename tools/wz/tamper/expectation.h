/// What the log of an installation says of a variant: the lines that tell what is wrong or goes, as
/// they follow from what was done to it.
#ifndef WZ_TAMPER_EXPECTATION_H
#define WZ_TAMPER_EXPECTATION_H

#include <string>
#include <vector>

#include "wz/tamper/variant.h"

namespace wz {

using Lines = std::vector<std::string>;

/// Where a terminal puts things.
[[nodiscard]] std::string sourcePath(const std::string& name);
[[nodiscard]] std::string applicationPath(const std::string& name);
[[nodiscard]] std::string manifestPath(const std::string& name);

/// The application may go in, and its marketplace manifest; `lines` are said on the way.
[[nodiscard]] Expected installed(Lines lines = {});

/// The application's archive was refused; its manifest went in and stands for nothing.
[[nodiscard]] Expected onlyManifest(Lines lines);

/// The marketplace package was refused on a terminal that never had one, so that every application
/// goes again.
[[nodiscard]] Expected onlyApplication(const std::string& id, Lines lines);

/// Nothing went in.
[[nodiscard]] Expected nothing(Lines lines);

/// No package was found.
[[nodiscard]] Expected noPackage();

enum class Removal {
  kCounted,    ///< the manifest named the application: its installation failed
  kUncounted,  ///< nothing named it
};

/// The marketplace rules remove the application and the manifest's folder `folder`.
[[nodiscard]] Expected removedByRules(const std::string& id, const std::string& folder, Lines lines,
                                      Removal removal);

/// A signed package asked for the removal.
[[nodiscard]] Expected uninstalled(const std::string& id);

/// The application misses something on the terminal.
[[nodiscard]] Expected removedByDependencies(const std::string& id, Lines lines);

/// What the rules say of a folder or file `name` of the application root that no manifest admits.
[[nodiscard]] Lines strayApplication(const std::string& name);

}  // namespace wz

#endif  // WZ_TAMPER_EXPECTATION_H
