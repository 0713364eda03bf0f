#include "verifier/installed_files.h"

#include <algorithm>
#include <vector>

namespace verifier {
namespace {

// No ".." is left that could lead out of the root.
std::string harmless(std::string_view name) {
  std::string path(name);
  std::replace(path.begin(), path.end(), '\\', '/');
  if (path.size() <= 1) return path;
  if (path == "..") return "_";
  if (path.starts_with("../")) path.replace(0, 2, "_");
  if (path.size() > 2 && path.ends_with("/..")) path.replace(path.size() - 2, 2, "_");
  for (std::size_t at = 0; (at = path.find("/../")) != std::string::npos;) {
    path.replace(at + 1, 2, "_");
  }
  return path;
}

bool isAbsolute(const std::string& path) {
  const std::size_t slash = path.find('/');
  if (slash == 0) return true;
  const std::size_t end = std::min(slash, path.size());
  return end > 0 && path[end - 1] == ':';
}

std::string normalised(const std::string& path) {
  std::string result;
  for (std::size_t start = 0; start <= path.size();) {
    const std::size_t end = std::min(path.find('/', start), path.size());
    const std::string part = path.substr(start, end - start);
    if (!part.empty() && part != ".") result += "/" + part;
    start = end + 1;
  }
  return result;
}

}  // namespace

std::string destinationOf(std::string_view name, const std::string& root) {
  const std::string path = harmless(name);
  return isAbsolute(path) ? path : normalised(root + "/" + path);
}

bool liesBelow(const std::string& path, const std::string& root) {
  return normalised(path).starts_with(root + "/");
}

std::string upperCase(std::string_view text) {
  std::string upper(text);
  for (char& c : upper) {
    if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
  }
  return upper;
}

bool InstalledFiles::makeFolders(const std::string& path) {
  const std::string place = normalised(path);
  std::vector<std::string> folders;
  for (std::size_t at = 0; (at = place.find('/', at + 1)) != std::string::npos;) {
    const std::string folder = place.substr(0, at);
    if (exists(folder) && !isFolder(folder)) return false;
    folders.push_back(folder);
  }
  for (const std::string& folder : folders) paths_.try_emplace(folder);
  return true;
}

bool InstalledFiles::write(const std::string& path, std::string content) {
  const std::string place = normalised(path);
  if (!makeFolders(path)) return false;
  if (isFolder(place) || path.ends_with('/')) return false;
  paths_[place] = std::move(content);
  return true;
}

bool InstalledFiles::exists(const std::string& path) const { return paths_.contains(path); }

bool InstalledFiles::isFolder(const std::string& path) const {
  const auto found = paths_.find(path);
  return found != paths_.end() && !found->second;
}

std::optional<std::string> InstalledFiles::read(const std::string& path) const {
  const auto found = paths_.find(path);
  if (found == paths_.end()) return std::nullopt;
  return found->second.value_or("");
}

std::set<std::string> InstalledFiles::list(const std::string& folder) const {
  std::set<std::string> names;
  const std::string prefix = folder + "/";
  for (auto at = paths_.lower_bound(prefix); at != paths_.end() && at->first.starts_with(prefix);
       ++at) {
    const std::string rest = at->first.substr(prefix.size());
    if (rest.find('/') == std::string::npos) names.insert(rest);
  }
  return names;
}

void InstalledFiles::remove(const std::string& path) {
  paths_.erase(path);
  const std::string prefix = path + "/";
  auto at = paths_.lower_bound(prefix);
  while (at != paths_.end() && at->first.starts_with(prefix)) at = paths_.erase(at);
}

}  // namespace verifier
