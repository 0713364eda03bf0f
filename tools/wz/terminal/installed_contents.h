/// What is installed on the terminal that this process is inside of, as packages bring it.
#ifndef WZ_TERMINAL_INSTALLED_CONTENTS_H
#define WZ_TERMINAL_INSTALLED_CONTENTS_H

#include "wz/reports/package_difference.h"

namespace wz {

/// Those of the applications and marketplace manifests in `wanted` that are there, named as there.
[[nodiscard]] Contents findInstalledContents(const Contents& wanted);

}  // namespace wz

#endif  // WZ_TERMINAL_INSTALLED_CONTENTS_H
