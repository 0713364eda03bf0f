// Writes the page of each code, and a page that lists them, for the documentation. It is compiled
// and run by ./dev docs, with a C++ compiler alone.

#include <filesystem>
#include <fstream>
#include <iostream>
#include <string>
#include <string_view>

#include "wz/words/codes.h"
#include "wz/words/explain.h"

namespace {

using wz::Code;

// What would be taken for markup is shown as it stands. Braces would be a command behind a
// backslash.
std::string plain(std::string_view text) {
  std::string result;
  for (const char c : text) {
    if (c == '{' || c == '}') {
      result += c == '{' ? "&#123;" : "&#125;";
      continue;
    }
    if (std::string_view("\\`*_[]<>#|@%&~").find(c) != std::string_view::npos) result += '\\';
    result += c;
  }
  return result;
}

std::string anchor(const Code& code) {
  std::string name = code.id;
  name.erase(2, 1);
  return name;
}

std::string link(const Code& code) {
  return "[" + std::string(code.id) + "](" + code.id + ".md): " + plain(code.title);
}

void writePage(std::ostream& out, const Code& code) {
  std::string logLine = code.logLine;
  if (logLine.ends_with('\n')) logLine.pop_back();
  out << "# " << code.id << ": " << plain(code.title) << " {#" << anchor(code) << "}\n\n"
      << (code.severity == wz::Severity::kError ? "An error." : "A warning.") << "\n\n";
  if (!logLine.empty()) out << "In the installer's log:\n\n    " << logLine << "\n\n";
  if (code.layer != wz::Layer::kNone) out << "The library's number: " << code.number << ".\n\n";
  out << "## The rule\n\n"
      << plain(code.rule) << "\n\n## Common causes\n\n"
      << plain(code.causes) << "\n\n";
  for (const Code* const cause : wz::codesBehind(code)) out << "- " << link(*cause) << "\n";
  if (const Code* const behind = wz::findCode(code.behind)) {
    out << "The log says only " << link(*behind) << ".\n";
  }
  out << "\n## The repair\n\n" << plain(code.repair) << "\n";
  if (*code.command != '\0') out << "\n    " << code.command << "\n";
}

bool write(const std::filesystem::path& folder) {
  std::filesystem::create_directories(folder);
  std::ofstream list(folder / "codes.md");
  list << "# Codes {#codes}\n\n";
  for (const Code* const code : wz::allCodes()) {
    std::ofstream page(folder / (std::string(code->id) + ".md"));
    writePage(page, *code);
    list << "- " << link(*code) << "\n";
    if (!page.flush()) return false;
  }
  return static_cast<bool>(list.flush());
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::cerr << "Usage: error_pages DIR\n";
    return 2;
  }
  if (write(argv[1])) return 0;
  std::cerr << "error_pages: cannot write below " << argv[1] << "\n";
  return 3;
}
