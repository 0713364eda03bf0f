/// Which signers are those of development, whose private keys lie open.
#ifndef WZ_REPORTS_DEVELOPMENT_KEY_H
#define WZ_REPORTS_DEVELOPMENT_KEY_H

#include "wz/reports/package_report.h"

namespace wz {

/// A finding for each certificate of a package that is a development key: by its name or its
/// issuer's, or because those that accept it were compiled in as development keys.
/// \param isByCompiledIn  whether the package was examined by the authorities compiled in.
[[nodiscard]] Diagnostics developmentKeysIn(const PackageReport& report, bool isByCompiledIn);

}  // namespace wz

#endif  // WZ_REPORTS_DEVELOPMENT_KEY_H
