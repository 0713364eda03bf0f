/// Reads the authorities that are to be compiled in.
///
/// A directory holds the certificates, one DER file each, and authorities.txt with a line for each
/// row of the table, in its order:
///
///     2 signers-a.der
///     3 more/applications.der
///
/// A line is a kind and the name of a file, relative to that directory unless absolute; a name may
/// have blanks inside. Blanks around both and a carriage return at the end of a line do not count.
/// Empty lines and lines that begin with # are passed over.
#ifndef AUTHORITY_TABLE_TABLE_FILE_H
#define AUTHORITY_TABLE_TABLE_FILE_H

#include <string>
#include <vector>

namespace authority_table {

struct CertificateFile {
  std::string path;
  std::string der;
};

struct TableRow {
  int kind = 0;
  CertificateFile certificate;
};

/// Lines of text for whoever builds: what is wrong, and what only looks as if it were.
struct Findings {
  std::vector<std::string> errors;
  std::vector<std::string> warnings;
};

/// Path of the table in `directory`.
[[nodiscard]] std::string tablePath(const std::string& directory);

/// Reads the table and its certificates. What is returned is good when there are no errors: nine
/// rows of the kinds 2, 2, 3, 4, 3, 4, 2, 2, 2, each with a certificate that the library parses.
[[nodiscard]] std::vector<TableRow> readTable(const std::string& directory, Findings& findings);

/// Reads the certificates of a folder, its *.der files in the order of their names. There must be
/// at least one.
[[nodiscard]] std::vector<CertificateFile> readFolder(const std::string& folder,
                                                      Findings& findings);

}  // namespace authority_table

#endif  // AUTHORITY_TABLE_TABLE_FILE_H
