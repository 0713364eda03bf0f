/// Writes certificates as C++.
#ifndef AUTHORITY_TABLE_SOURCE_TEXT_H
#define AUTHORITY_TABLE_SOURCE_TEXT_H

#include <string>
#include <vector>

#include "authority_table/table_file.h"

namespace authority_table {

enum class TableUse {
  kAlone,            ///< defines wzapp::authorities()
  kBehindTerminals,  ///< defines wzapp::compiledInAuthorities(), behind the tables of terminals
};

/// The source of a table.
[[nodiscard]] std::string authoritiesSource(const std::vector<TableRow>& rows, TableUse use);

/// The source that defines wz::developmentRoots().
[[nodiscard]] std::string rootsSource(const std::vector<CertificateFile>& certificates);

}  // namespace authority_table

#endif  // AUTHORITY_TABLE_SOURCE_TEXT_H
