#include "installer/signature_entries.h"

#include <algorithm>

#include "support/text.h"

namespace wzapp {
namespace {

bool isSignature(const UnZIP::Index::value_type& entry) {
  return endsInAnyCase(entry.first, kSignatureEnding);
}

// An order of upper-cased names, without making them.
bool isLessInUpperCase(std::string_view a, std::string_view b) {
  return std::ranges::lexicographical_compare(
      a, b, [](char left, char right) { return toUpper(left) < toUpper(right); });
}

std::string_view nameOf(UnZIP::Entry entry) { return entry->first; }

// The names of an index differ, so that no two entries are alike.
bool comesBefore(UnZIP::Entry a, UnZIP::Entry b) {
  if (isLessInUpperCase(nameOf(a), nameOf(b))) return true;
  return !isLessInUpperCase(nameOf(b), nameOf(a)) && nameOf(a) < nameOf(b);
}

}  // namespace

SignatureEntries::SignatureEntries(const UnZIP& archive) {
  const UnZIP::Index& index = archive.index();
  entries_.reserve(static_cast<std::size_t>(std::ranges::count_if(index, isSignature)));
  for (auto entry = index.begin(); entry != index.end(); ++entry) {
    if (isSignature(*entry)) entries_.push_back(entry);
  }
  std::ranges::sort(entries_, comesBefore);
}

std::optional<UnZIP::Entry> SignatureEntries::find(std::string_view upperName) const {
  const auto found = std::ranges::lower_bound(entries_, upperName, isLessInUpperCase, nameOf);
  if (found == entries_.end() || isLessInUpperCase(upperName, nameOf(*found))) return std::nullopt;
  return *found;
}

}  // namespace wzapp
