#include "workstation/zelsec/terminal_table.h"

#include <array>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <system_error>

#include "workstation/terminal/terminal_directory.h"
#include "workstation/terminal/terminal_layout.h"
#include "workstation/terminal/terminal_profile.h"

namespace {

namespace fs = std::filesystem;

struct Row {
  int kind = 0;
  std::string der;
};

struct Table {
  bool isThere = false;
  std::array<Row, workstation::kTerminalTableRows> rows;  // without octets: trusts nobody
};

std::string readCertificate(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  std::string der(workstation::kMaxCertificateSize + 1, '\0');
  file.read(der.data(), static_cast<std::streamsize>(der.size()));
  der.resize(static_cast<std::size_t>(file.gcount()));
  if (der.size() > workstation::kMaxCertificateSize) der.clear();
  return der;
}

// What cannot be read is a row that trusts nobody, never one that was compiled in.
Table readTable(const std::string& terminal) {
  Table table;
  if (terminal.empty()) return table;
  const fs::path folder = fs::path(terminal) / workstation::kAuthoritiesFolder;
  std::error_code failure;
  table.isThere = fs::exists(folder / workstation::kAuthoritiesFile, failure);
  std::ifstream file(folder / workstation::kAuthoritiesFile);
  for (Row& row : table.rows) {
    std::string name;
    if (!(file >> row.kind >> std::ws) || !std::getline(file, name)) break;
    row.der = readCertificate(folder / name);
  }
  return table;
}

}  // namespace

int workstationAuthority(std::size_t row, int* kind, const unsigned char** der, std::size_t* size) {
  static const Table table = readTable(workstation::terminalDirectory());
  if (!table.isThere || row >= table.rows.size()) return 0;
  *kind = table.rows[row].kind;
  *der = reinterpret_cast<const unsigned char*>(table.rows[row].der.data());
  *size = table.rows[row].der.size();
  return 1;
}
