/// Prints what a certificate says and what a terminal makes of it: the same for one in a file of
/// its own and for one in a package.
#ifndef WZ_REPORTS_CERTIFICATE_OUTPUT_H
#define WZ_REPORTS_CERTIFICATE_OUTPUT_H

#include <string>

#include "wz/reports/certificate_facts.h"
#include "wz/reports/json_output.h"

namespace wz {

/// A line with a name, in the column where those of a certificate stand.
void printFact(const std::string& indent, const char* name, const std::string& value);

/// \param kind        what a terminal makes of it; 0: it refuses it.
/// \param acceptance  the same in words.
/// \param indent      before each line.
void printCertificate(const CertificateFacts& facts, int kind, const std::string& acceptance,
                      const std::string& indent);

/// The same as members of an object.
void putCertificate(JsonWriter& writer, const CertificateFacts& facts, int kind,
                    const std::string& acceptance);

}  // namespace wz

#endif  // WZ_REPORTS_CERTIFICATE_OUTPUT_H
