/// A package report, in words and as JSON.
#ifndef WZ_REPORTS_PACKAGE_OUTPUT_H
#define WZ_REPORTS_PACKAGE_OUTPUT_H

#include "wz/reports/json_output.h"
#include "wz/reports/package_report.h"
#include "wz/reports/second_opinion.h"

namespace wz {

/// Prints the verdict, what is wrong and how to repair it, and on one screen what a good package
/// brings; with `verbose` every check, entry, certificate and manifest.
void printPackage(const PackageReport& report, bool verbose);

/// Says whether the second verifier says the same, and where it does not.
void printSecondOpinion(const SecondOpinion& opinion);

/// Writes it as a member of an object.
void putSecondOpinion(JsonWriter& writer, const SecondOpinion& opinion);

/// Writes the report as members of an object.
void putPackage(JsonWriter& writer, const PackageReport& report);

}  // namespace wz

#endif  // WZ_REPORTS_PACKAGE_OUTPUT_H
