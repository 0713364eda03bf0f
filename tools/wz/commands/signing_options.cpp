#include "wz/commands/signing_options.h"

#include <stdlib.h>

#include <algorithm>
#include <filesystem>
#include <system_error>

#include "authority_table/table_file.h"
#include "wz/reports/output.h"
#include "wz/terminal/own_keys.h"
#include "wz/terminal/trusted_authorities.h"

namespace wz {
namespace fs = std::filesystem;

bool SigningAuthorities::load(const std::string& keyDirectory) {
  std::error_code failure;
  if (!fs::exists(authority_table::tablePath(keyDirectory), failure)) return true;
  authority_table::Findings findings;
  const auto table = authority_table::readTable(keyDirectory, findings);
  for (const std::string& error : findings.errors) printMessage(error);
  if (!findings.errors.empty()) return false;
  for (const authority_table::TableRow& row : table) ders_.push_back(row.certificate.der);
  for (std::size_t i = 0; i < table.size(); ++i) {
    rows_.push_back({table[i].kind, wzapp::viewOf(ders_[i])});
  }
  return true;
}

std::span<const wzapp::Authority> SigningAuthorities::rows() const {
  if (rows_.empty()) return trustedAuthorities();
  return rows_;
}

bool SigningAuthorities::areInForce() const {
  return std::ranges::equal(rows(), trustedAuthorities(),
                            [](const wzapp::Authority& a, const wzapp::Authority& b) {
                              return a.kind == b.kind && std::ranges::equal(a.der, b.der);
                            });
}

std::string knownKeyDirectory() {
  const char* const variable = getenv("WZ_KEYS");
  if (variable != nullptr && *variable != '\0') return variable;
  const std::string build = buildKeyDirectory();
  return build.empty() && hasOwnKeys() ? ownKeyDirectory() : build;
}

std::string findKeyDirectory(const std::string& given) {
  std::string keys = given.empty() ? knownKeyDirectory() : given;
  if (keys.empty() && !ownKeyDirectory().empty() && makeOwnKeys()) keys = ownKeyDirectory();
  if (keys.empty()) {
    printMessage(
        "which keys? Name their folder with --keys DIR or in the environment variable WZ_KEYS; "
        "make one with: wz keys init DIR");
  }
  return keys;
}

bool loadSigners(const SigningOptions& options, const std::string& keyDirectory,
                 bool forApplication, bool forManifest, packaging::PackageSigners& signers) {
  std::string error;
  const auto load = [&](packaging::SignerRole role, std::optional<packaging::Signer>& signer) {
    if (signer.emplace().load(keyDirectory, role, options.signCommand, error)) return true;
    printMessage(error + " [WZ-0903]");
    return false;
  };
  if (forApplication && !load(packaging::SignerRole::kApplication, signers.application)) {
    return false;
  }
  return !forManifest || load(packaging::SignerRole::kManifest, signers.manifest);
}

}  // namespace wz
