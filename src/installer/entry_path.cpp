#include "installer/entry_path.h"

#include <algorithm>
#include <utility>

#include "archive/unzip.h"
#include "support/file_system.h"

namespace wzapp {
namespace {

constexpr std::string_view kParent = "..";
constexpr std::string_view kFirstParent = "../";
constexpr std::string_view kLastParent = "/..";
constexpr std::string_view kInnerParent = "/../";
constexpr std::string_view kReplacement = "_";

}  // namespace

std::string sanitizeEntryPath(std::string name) {
  std::ranges::replace(name, '\\', '/');
  if (name.size() <= 1) return name;
  if (name == kParent) return std::string(kReplacement);
  if (name.starts_with(kFirstParent)) name.replace(0, kParent.size(), kReplacement);
  if (name.ends_with(kLastParent)) {
    name.replace(name.size() - kParent.size(), kParent.size(), kReplacement);
  }
  // A replacement makes no new parent in front of it, so that the search goes on from there.
  std::size_t at = name.find(kInnerParent);
  while (at != std::string::npos) {
    name.replace(at + 1, kParent.size(), kReplacement);
    at = name.find(kInnerParent, at + 1);
  }
  return name;
}

bool isBelow(std::string_view path, std::string_view root) {
  return path.size() > root.size() && path.starts_with(root) && path[root.size()] == '/';
}

Destination::Destination(std::string_view root) : root_(root) {
  // For any name that an archive may have.
  sanitized_.reserve(UnZIP::kNameLimit);
  joined_.reserve(root.size() + 1 + UnZIP::kNameLimit);
  normalized_.reserve(root.size() + 1 + UnZIP::kNameLimit);
}

void Destination::find(std::string_view name) {
  sanitized_ = name;
  sanitized_ = sanitizeEntryPath(std::move(sanitized_));
  isAbsolute_ = isAbsolutePath(sanitized_);
  joined_.clear();
  if (!isAbsolute_) joined_.append(root_).append("/");
  joined_.append(sanitized_);
  normalizePath(joined_, normalized_);
}

}  // namespace wzapp
