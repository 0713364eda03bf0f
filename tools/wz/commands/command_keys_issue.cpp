#include <cstdio>
#include <ctime>
#include <filesystem>
#include <string>
#include <system_error>
#include <vector>

#include "authority_table/table_file.h"
#include "devkeys/signer_issue.h"
#include "support/file_system.h"
#include "wz/commands/commands.h"
#include "wz/reports/certificate_facts.h"
#include "wz/reports/diagnostic.h"
#include "wz/reports/expiry.h"
#include "wz/reports/json_document.h"
#include "wz/reports/output.h"
#include "wz/words/exit_code.h"

namespace wz {
namespace {

namespace fs = std::filesystem;
using devkeys::IssuedSigner;
using devkeys::IssueOrder;

// "2110-01-01" out of "21100101...".
std::string dayText(const std::string& time) {
  return time.substr(0, 4) + "-" + time.substr(4, 2) + "-" + time.substr(6, 2);
}

// "2026-12-31" -> "20261231"; false for what is no day.
bool readDay(const std::string& text, std::string& day) {
  int year = 0, month = 0, date = 0, end = 0;
  if (std::sscanf(text.c_str(), "%4d-%2d-%2d%n", &year, &month, &date, &end) != 3 ||
      static_cast<std::size_t>(end) != text.size() || text.size() != 10) {
    return false;
  }
  std::tm utc{};
  utc.tm_year = year - 1900;
  utc.tm_mon = month - 1;
  utc.tm_mday = date;
  const std::time_t seconds = timegm(&utc);
  std::tm back{};
  if (gmtime_r(&seconds, &back) == nullptr || back.tm_mday != date || back.tm_mon != month - 1) {
    return false;  // such as February the 30th
  }
  day = text.substr(0, 4) + text.substr(5, 2) + text.substr(8, 2);
  return true;
}

// An exit code that ends the command, or kDone.
int readOrder(const IssueOptions& options, const std::string& keys, IssueOrder& order) {
  order.keys = keys;
  order.authority = options.authority;
  order.roles = options.roles;
  order.today = currentTime().substr(0, 8);
  if (!options.until.empty() && !readDay(options.until, order.until)) {
    printMessage("--until is a day, such as 2030-12-31, not " + options.until);
    return kUsage;
  }
  authority_table::Findings findings;
  std::error_code failure;
  if (!fs::is_directory(keys, failure)) {
    printMessage("there is no folder " + keys + " [WZ-0909]");
    return kEnvironment;
  }
  if (!fs::exists(authority_table::tablePath(keys), failure)) return kDone;
  for (const authority_table::TableRow& row : authority_table::readTable(keys, findings)) {
    order.table.push_back({row.kind, row.certificate.path});
  }
  for (const std::string& error : findings.errors) printMessage(error);
  return findings.errors.empty() ? kDone : kEnvironment;
}

// What is said ahead of the last dates of those that were issued.
Diagnostics expiriesOf(const std::vector<IssuedSigner>& issued) {
  Diagnostics diagnostics;
  for (const IssuedSigner& signer : issued) {
    std::string der, refusal;
    CertificateFacts facts;
    if (!wzapp::readFile(signer.file.c_str(), der) ||
        !readFacts(wzapp::viewOf(der), currentTime(), facts, refusal)) {
      continue;
    }
    if (auto expiry = expiryOf(facts, signer.file, "", currentTime(), kExpiryNotice)) {
      diagnostics.push_back(*expiry);
    }
  }
  return diagnostics;
}

void printJson(const char* command, const std::string& directory,
               const std::vector<IssuedSigner>& issued) {
  printJsonDocument(command, true, expiriesOf(issued), [&](JsonWriter& writer) {
    putText(writer, "directory", directory);
    writer.Key("signers");
    writer.StartArray();
    for (const IssuedSigner& signer : issued) {
      writer.StartObject();
      putText(writer, "role", signer.role);
      putText(writer, "file", signer.file);
      putText(writer, "serial", signer.serial);
      putNumber(writer, "authority", signer.authority);
      putText(writer, "permission", signer.permission);
      putText(writer, "until", dayText(signer.notAfter));
      putText(writer, "retired", signer.retired);
      writer.EndObject();
    }
    writer.EndArray();
  });
}

void printSigners(const std::vector<IssuedSigner>& issued) {
  for (const IssuedSigner& signer : issued) {
    printSuccess("  " + signer.file + "  serial " + signer.serial + ", " + signer.permission +
                 " below authority " + std::to_string(signer.authority) + ", until " +
                 dayText(signer.notAfter));
    if (!signer.retired.empty()) printSuccess("    the one before is now " + signer.retired);
  }
  printDiagnostics(expiriesOf(issued), false);
}

}  // namespace

int issueKeys(const IssueOptions& options) {
  const std::string keys = findKeyDirectory(options.keys);
  if (keys.empty()) return kUsage;
  IssueOrder order;
  if (const int code = readOrder(options, keys, order); code != kDone) return code;
  std::vector<IssuedSigner> issued;
  std::string error;
  if (!devkeys::issueSigners(order, options.directory, issued, error)) {
    printMessage(error + " [WZ-0909]");
    return kEnvironment;
  }
  if (options.asJson) {
    printJson("keys issue", options.directory, issued);
    return kDone;
  }
  printSuccess("issued by " + keys + ":");
  printSigners(issued);
  printSuccess("sign with them: wz pack APPDIR --keys " + options.directory);
  return kDone;
}

int rotateKeys(const IssueOptions& options) {
  IssueOrder order;
  if (const int code = readOrder(options, options.directory, order); code != kDone) return code;
  std::vector<IssuedSigner> issued;
  std::string error;
  if (!devkeys::rotateSigners(order, issued, error)) {
    printMessage(error + " [WZ-0909]");
    return kEnvironment;
  }
  if (options.asJson) {
    printJson("keys rotate", options.directory, issued);
    return kDone;
  }
  printSuccess("new signers in " + options.directory + ":");
  printSigners(issued);
  printSuccess(
      "terminals go on taking what the ones before have signed, and sign: nothing revokes them");
  return kDone;
}

}  // namespace wz
