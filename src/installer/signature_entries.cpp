#include "installer/signature_entries.h"

#include <algorithm>

#include "support/text.h"

namespace wzapp {
namespace {

std::string upperNameOf(UnZIP::Entry entry) { return toUpper(entry->first); }

}  // namespace

SignatureEntries::SignatureEntries(const UnZIP& archive) {
  for (auto entry = archive.index().begin(); entry != archive.index().end(); ++entry) {
    if (endsInAnyCase(entry->first, kSignatureEnding)) entries_.push_back(entry);
  }
  std::ranges::stable_sort(entries_, {}, upperNameOf);
}

std::optional<UnZIP::Entry> SignatureEntries::find(const std::string& upperName) const {
  const auto found = std::ranges::lower_bound(entries_, upperName, {}, upperNameOf);
  if (found == entries_.end() || upperNameOf(*found) != upperName) return std::nullopt;
  return *found;
}

}  // namespace wzapp
