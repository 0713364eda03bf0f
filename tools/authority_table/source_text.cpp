#include "authority_table/source_text.h"

#include <cstddef>
#include <filesystem>

namespace authority_table {
namespace {

constexpr char kDigits[] = "0123456789abcdef";
constexpr std::size_t kOctetsInLine = 16;

std::string arrayName(std::size_t index) { return "kCertificate" + std::to_string(index + 1); }

void appendArray(std::string& text, std::size_t index, const std::string& octets) {
  text += "constexpr std::uint8_t " + arrayName(index) + "[] = {";
  for (std::size_t i = 0; i < octets.size(); ++i) {
    const auto octet = static_cast<unsigned char>(octets[i]);
    text += i % kOctetsInLine == 0 ? "\n    " : " ";
    text += {'0', 'x', kDigits[octet >> 4], kDigits[octet & 0xF], ','};
  }
  text += "\n};\n\n";
}

std::string quoted(const std::string& name) {
  std::string text = "\"";
  for (const char c : name) {
    if (c == '"' || c == '\\') text += '\\';
    text += c;
  }
  return text + "\"";
}

std::string fileName(const CertificateFile& certificate) {
  return std::filesystem::path(certificate.path).filename().string();
}

}  // namespace

std::string authoritiesSource(const std::vector<TableRow>& rows, TableUse use) {
  const bool isAlone = use == TableUse::kAlone;
  std::string text =
      "// Generated from the directory of authorities.\n"
      "#include \"crypto/store/";
  text += isAlone ? "authorities.h" : "compiled_in_authorities.h";
  text +=
      "\"\n"
      "\n"
      "namespace wzapp {\n"
      "namespace {\n"
      "\n";
  for (std::size_t i = 0; i < rows.size(); ++i) appendArray(text, i, rows[i].certificate.der);
  text +=
      "}  // namespace\n"
      "\n"
      "const std::array<Authority, kAuthorityCount>& ";
  text += isAlone ? "authorities" : "compiledInAuthorities";
  text +=
      "() {\n"
      "  static constexpr std::array<Authority, kAuthorityCount> kTable{{\n";
  for (std::size_t i = 0; i < rows.size(); ++i) {
    text += "      {" + std::to_string(rows[i].kind) + ", " + arrayName(i) + "},\n";
  }
  text +=
      "  }};\n"
      "  return kTable;\n"
      "}\n"
      "\n"
      "}  // namespace wzapp\n";
  return text;
}

std::string rootsSource(const std::vector<CertificateFile>& certificates) {
  std::string text =
      "// Generated from the roots of the development keys.\n"
      "#include \"wz/terminal/development_roots.h\"\n"
      "\n"
      "namespace wz {\n"
      "namespace {\n"
      "\n";
  for (std::size_t i = 0; i < certificates.size(); ++i) appendArray(text, i, certificates[i].der);
  text += "constexpr DevelopmentRoot kRoots[] = {\n";
  for (std::size_t i = 0; i < certificates.size(); ++i) {
    text += "    {" + quoted(fileName(certificates[i])) + ", " + arrayName(i) + "},\n";
  }
  text +=
      "};\n"
      "\n"
      "}  // namespace\n"
      "\n"
      "std::span<const DevelopmentRoot> developmentRoots() { return kRoots; }\n"
      "\n"
      "}  // namespace wz\n";
  return text;
}

}  // namespace authority_table
