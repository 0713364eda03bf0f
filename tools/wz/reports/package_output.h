/// A package report, in words and as JSON.
#ifndef WZ_REPORTS_PACKAGE_OUTPUT_H
#define WZ_REPORTS_PACKAGE_OUTPUT_H

#include "wz/reports/json_output.h"
#include "wz/reports/package_report.h"

namespace wz {

/// Prints the verdict, what is wrong and how to repair it, and on one screen what a good package
/// brings; with `verbose` every check, entry, certificate and manifest.
void printPackage(const PackageReport& report, bool verbose);

/// Writes the report as members of an object.
void putPackage(JsonWriter& writer, const PackageReport& report);

}  // namespace wz

#endif  // WZ_REPORTS_PACKAGE_OUTPUT_H
