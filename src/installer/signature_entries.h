// The signatures in a package file.
#ifndef WZAPP_INSTALLER_SIGNATURE_ENTRIES_H
#define WZAPP_INSTALLER_SIGNATURE_ENTRIES_H

#include <optional>
#include <string_view>
#include <vector>

#include "archive/unzip.h"

namespace wzapp {

inline constexpr std::string_view kSignatureEnding = ".P7S";

// Finds the signatures of an archive, which must outlive it, by name. An archive may be full of
// them: no name is kept twice. The only exception is std::bad_alloc, by the constructor.
class SignatureEntries {
 public:
  explicit SignatureEntries(const UnZIP& archive);

  // The entry whose upper-cased name this is, of several the first of the index.
  [[nodiscard]] std::optional<UnZIP::Entry> find(std::string_view upperName) const;

 private:
  std::vector<UnZIP::Entry> entries_;  // by upper-cased name, then as in the index
};

}  // namespace wzapp

#endif  // WZAPP_INSTALLER_SIGNATURE_ENTRIES_H
