#include "wz/terminal/trusted_authorities.h"

#include <filesystem>
#include <system_error>
#include <vector>

#include "authority_table/table_file.h"
#include "workstation/terminal/terminal_layout.h"
#include "workstation/terminal/terminal_profile.h"
#include "wz/terminal/development_roots.h"
#include "wz/terminal/own_keys.h"

namespace wz {
namespace {

namespace fs = std::filesystem;

struct Trusted {
  TableSource source = TableSource::kCompiledIn;
  std::string directory;
  std::vector<authority_table::TableRow> table;
  std::vector<wzapp::Authority> rows;
};

bool readTable(const std::string& directory, Trusted& trusted) {
  authority_table::Findings findings;
  trusted.table = authority_table::readTable(directory, findings);
  if (!findings.errors.empty()) return false;
  for (const authority_table::TableRow& row : trusted.table) {
    trusted.rows.push_back({row.kind, wzapp::viewOf(row.certificate.der)});
  }
  return true;
}

bool hasTable(const std::string& terminal) {
  std::error_code failure;
  return !developmentRoots().empty() &&
         fs::exists(
             fs::path(terminal) / workstation::kAuthoritiesFolder / workstation::kAuthoritiesFile,
             failure);
}

Trusted settle() {
  Trusted trusted;
  const std::string terminal = workstation::terminalDirectory();
  const std::string keys = terminal.empty() ? knownTableDirectory() : "";
  if (!terminal.empty() && hasTable(terminal)) {
    trusted.source = TableSource::kTerminal;  // which the library asks for itself
    trusted.directory = terminal;
  } else if (!keys.empty() && readTable(keys, trusted)) {
    trusted.source = TableSource::kOwnKeys;
    trusted.directory = keys;
    return trusted;
  }
  trusted.rows.assign(wzapp::authorities().begin(), wzapp::authorities().end());
  return trusted;
}

const Trusted& trusted() {
  static const Trusted settled = settle();
  return settled;
}

}  // namespace

std::span<const wzapp::Authority> trustedAuthorities() { return trusted().rows; }

TableSource trustedSource() { return trusted().source; }

std::string trustedText() {
  if (developmentRoots().empty()) return "a product's, compiled in";
  switch (trusted().source) {
    case TableSource::kTerminal:
      return "development keys that the terminal " + trusted().directory + " brings along";
    case TableSource::kOwnKeys:
      return "development keys of your own, " + trusted().directory;
    case TableSource::kCompiledIn:
      break;
  }
  return "development keys, compiled in";
}

}  // namespace wz
