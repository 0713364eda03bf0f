/// Writes certificates as C++.
#ifndef AUTHORITY_TABLE_SOURCE_TEXT_H
#define AUTHORITY_TABLE_SOURCE_TEXT_H

#include <string>
#include <vector>

#include "authority_table/table_file.h"

namespace authority_table {

/// The source that defines wzapp::authorities().
[[nodiscard]] std::string authoritiesSource(const std::vector<TableRow>& rows);

/// The source that defines wz::developmentRoots().
[[nodiscard]] std::string rootsSource(const std::vector<CertificateFile>& certificates);

}  // namespace authority_table

#endif  // AUTHORITY_TABLE_SOURCE_TEXT_H
