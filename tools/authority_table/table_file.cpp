#include "authority_table/table_file.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string_view>
#include <system_error>

#include "certificate_words/certificate_words.h"
#include "crypto/certificate/certificate_record.h"
#include "crypto/certificate/certificate_summary.h"
#include "crypto/store/authorities.h"
#include "support/file_system.h"

namespace authority_table {
namespace {

namespace fs = std::filesystem;

constexpr int kKinds[wzapp::kAuthorityCount] = {2, 2, 3, 4, 3, 4, 2, 2, 2};
constexpr char kExplanation[] =
    "the table of authorities has nine rows, of the kinds 2, 2, 3, 4, 3, 4, 2, 2, 2 in this order";
constexpr std::string_view kBlanks = " \t\r";

std::string_view trimmed(std::string_view text) {
  const std::size_t first = text.find_first_not_of(kBlanks);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

bool readLine(std::string_view line, const fs::path& directory, TableRow& row) {
  const std::size_t kindEnd = line.find_first_of(kBlanks);
  if (kindEnd != 1 || line[0] < '0' || line[0] > '9') return false;
  row.kind = line[0] - '0';
  row.certificate.path = (directory / trimmed(line.substr(kindEnd))).string();
  return true;
}

// Whether the library could use it once it is compiled in.
void readCertificate(CertificateFile& certificate, Findings& findings) {
  if (!wzapp::readFile(certificate.path.c_str(), certificate.der)) {
    findings.errors.push_back(certificate.path + ": cannot be read");
    return;
  }
  const wzapp::ByteView der = wzapp::viewOf(certificate.der);
  wzapp::CertificateRecord record;
  if (const int code = wzapp::parseCertificate(der, record); code != 0) {
    findings.errors.push_back(certificate.path + ": is no certificate that the library reads: " +
                              certificate_words::whyNotParsed(code) + " (" + std::to_string(code) +
                              ")");
    return;
  }
  wzapp::CertificateSummary summary;
  if (const int code = wzapp::summariseCertificate(der, summary); code != 0) {
    findings.warnings.push_back(certificate.path + ": the library will never use this one: " +
                                certificate_words::whyNotSummarised(code) + " (" +
                                std::to_string(code) + ")");
  }
}

}  // namespace

std::string tablePath(const std::string& directory) {
  return (fs::path(directory) / "authorities.txt").string();
}

std::vector<TableRow> readTable(const std::string& directory, Findings& findings) {
  const std::string path = tablePath(directory);
  std::vector<TableRow> rows;
  std::string content;
  if (!wzapp::readFile(path.c_str(), content)) {
    findings.errors.push_back(path + ": cannot be read");
    return rows;
  }
  std::size_t number = 0;
  bool kindsFit = true;
  for (std::string_view rest = content; !rest.empty();) {
    const std::size_t end = std::min(rest.find('\n'), rest.size());
    const std::string_view line = trimmed(rest.substr(0, end));
    rest.remove_prefix(std::min(end + 1, rest.size()));
    const std::string place = path + ":" + std::to_string(++number) + ": ";
    if (line.empty() || line[0] == '#') continue;
    TableRow row;
    if (!readLine(line, directory, row)) {
      findings.errors.push_back(place + "'" + std::string(line) +
                                "' is not a kind and a file, such as: 2 authority.der");
      continue;
    }
    const std::size_t index = rows.size();
    if (index < wzapp::kAuthorityCount && row.kind != kKinds[index]) {
      kindsFit = false;
      findings.errors.push_back(place + "row " + std::to_string(index + 1) + " is of kind " +
                                std::to_string(row.kind) + " where kind " +
                                std::to_string(kKinds[index]) + " belongs");
    }
    readCertificate(row.certificate, findings);
    rows.push_back(std::move(row));
  }
  const bool countFits = rows.size() == wzapp::kAuthorityCount;
  if (!countFits) {
    findings.errors.push_back(path + ": has " + std::to_string(rows.size()) + " rows");
  }
  if (!countFits || !kindsFit) findings.errors.push_back(path + ": " + kExplanation);
  return rows;
}

std::vector<CertificateFile> readFolder(const std::string& folder, Findings& findings) {
  std::vector<CertificateFile> certificates;
  std::error_code failure;
  for (fs::directory_iterator entry(folder, failure), end; !failure && entry != end;
       entry.increment(failure)) {
    if (entry->path().extension() == ".der") {
      certificates.push_back({entry->path().string(), {}});
    }
  }
  std::sort(certificates.begin(), certificates.end(),
            [](const CertificateFile& a, const CertificateFile& b) { return a.path < b.path; });
  for (CertificateFile& certificate : certificates) readCertificate(certificate, findings);
  if (certificates.empty()) findings.errors.push_back(folder + ": holds no *.der file");
  return certificates;
}

}  // namespace authority_table
