// Turns certificates into the sources that compile them in; run by the build.

#include <cstdio>
#include <exception>
#include <fstream>
#include <string>
#include <string_view>
#include <vector>

#include "authority_table/source_text.h"
#include "authority_table/table_file.h"
#include "support/file_system.h"

namespace {

using namespace authority_table;

constexpr int kDone = 0, kRejected = 1, kUsage = 2, kEnvironment = 3;

int usage() {
  std::fputs(
      "Usage: wzapp_authority_table authorities DIR SOURCE DEPFILE\n"
      "       wzapp_authority_table compiled-in-authorities DIR SOURCE DEPFILE\n"
      "       wzapp_authority_table roots DIR SOURCE DEPFILE\n"
      "Writes the table of the authorities in DIR, or the list of the roots in DIR, as a C++\n"
      "source, and which files it was made of; compiled-in-authorities is the table behind that of "
      "a\n"
      "terminal's folder. A source that would be the same stays untouched.\n",
      stderr);
  return kUsage;
}

struct Result {
  std::string text;
  std::vector<std::string> inputs;
};

Result makeAuthorities(const std::string& directory, TableUse use, Findings& findings) {
  const std::vector<TableRow> rows = readTable(directory, findings);
  Result result{findings.errors.empty() ? authoritiesSource(rows, use) : "",
                {tablePath(directory)}};
  for (const TableRow& row : rows) result.inputs.push_back(row.certificate.path);
  return result;
}

Result makeRoots(const std::string& directory, Findings& findings) {
  const std::vector<CertificateFile> roots = readFolder(directory, findings);
  Result result{findings.errors.empty() ? rootsSource(roots) : "", {}};
  for (const CertificateFile& root : roots) result.inputs.push_back(root.path);
  return result;
}

// As make and ninja read it.
std::string dependencies(const std::string& source, const std::vector<std::string>& inputs) {
  const auto escaped = [](const std::string& path) {
    std::string text;
    for (const char c : path) {
      if (c == ' ' || c == '#') text += '\\';
      if (c == '$') text += '$';
      text += c;
    }
    return text;
  };
  std::string text = escaped(source) + ":";
  for (const std::string& input : inputs) text += " \\\n  " + escaped(input);
  return text + "\n";
}

bool write(const std::string& path, const std::string& content) {
  std::ofstream file(path, std::ios::binary);
  file << content;
  file.close();
  if (!file) std::fprintf(stderr, "%s: cannot be written\n", path.c_str());
  return !file.fail();
}

int run(int argc, char** argv) {
  if (argc != 5) return usage();
  const std::string_view what = argv[1];
  const bool isBehind = what == "compiled-in-authorities";
  if (what != "authorities" && !isBehind && what != "roots") return usage();
  const std::string source = argv[3];
  Findings findings;
  const Result result =
      what == "roots"
          ? makeRoots(argv[2], findings)
          : makeAuthorities(argv[2], isBehind ? TableUse::kBehindTerminals : TableUse::kAlone,
                            findings);
  for (const std::string& warning : findings.warnings) {
    std::fprintf(stderr, "warning: %s\n", warning.c_str());
  }
  for (const std::string& error : findings.errors) std::fprintf(stderr, "%s\n", error.c_str());
  if (!findings.errors.empty()) return kRejected;
  std::string before;
  const bool isSame = wzapp::readFile(source.c_str(), before) && before == result.text;
  const bool written =
      (isSame || write(source, result.text)) && write(argv[4], dependencies(source, result.inputs));
  return written ? kDone : kEnvironment;
}

}  // namespace

int main(int argc, char** argv) {
  try {
    return run(argc, argv);
  } catch (const std::exception& problem) {
    std::fprintf(stderr, "wzapp_authority_table: %s\n", problem.what());
    return kEnvironment;
  }
}
