/// Where the keys are that sign packages, and whose authorities are above them.
#ifndef WZ_COMMANDS_SIGNING_OPTIONS_H
#define WZ_COMMANDS_SIGNING_OPTIONS_H

#include <span>
#include <string>
#include <vector>

#include "crypto/store/authorities.h"
#include "packaging/package_maker.h"

namespace wz {

struct SigningOptions {
  std::string keys;         // folder; empty: what findKeyDirectory finds
  std::string signCommand;  // empty: the keys in the folder sign
};

/// The authorities by which signers are judged.
class SigningAuthorities {
 public:
  /// Those of the key directory where it has a table, otherwise those in force. False after a
  /// message when the table is faulty.
  [[nodiscard]] bool load(const std::string& keyDirectory);

  [[nodiscard]] std::span<const wzapp::Authority> rows() const;
  /// Whether they are those in force (trusted_authorities.h).
  [[nodiscard]] bool areInForce() const;

 private:
  std::vector<std::string> ders_;
  std::vector<wzapp::Authority> rows_;  // none: those in force
};

/// The key directory that is meant where none is given: by WZ_KEYS, the development keys beside
/// this program, or the user's own. Empty when there is none.
[[nodiscard]] std::string knownKeyDirectory();

/// The key directory that is given, or the one that is known; the user's own keys are made where
/// there is none (own_keys.h). Empty after a message when there can be none.
[[nodiscard]] std::string findKeyDirectory(const std::string& given);

/// Loads the signers that are asked for. False after a message.
[[nodiscard]] bool loadSigners(const SigningOptions& options, const std::string& keyDirectory,
                               bool forApplication, bool forManifest,
                               packaging::PackageSigners& signers);

}  // namespace wz

#endif  // WZ_COMMANDS_SIGNING_OPTIONS_H
