// Names of archive entries: what passes the check of its destination lies below the root, however
// its path is read.

#include <string>
#include <vector>

#include "fuzz/check.h"
#include "installer/directories.h"
#include "installer/entry_path.h"
#include "support/file_system.h"

namespace {

constexpr std::size_t kMaxInput = 4096;

std::vector<std::string> components(const std::string& path) {
  std::vector<std::string> found(1);
  for (const char octet : path) {
    if (octet == '/') {
      found.emplace_back();
    } else {
      found.back() += octet;
    }
  }
  return found;
}

// "/" for each backslash and "_" for each "..", component by component.
std::string sanitizedByTheRules(const std::string& name) {
  std::string path = name;
  for (char& octet : path) {
    if (octet == '\\') octet = '/';
  }
  std::string result;
  for (const std::string& component : components(path)) {
    result += "/" + (component == ".." ? std::string("_") : component);
  }
  return result.substr(1);
}

// Walks a path as a system without symbolic links does, and tells whether it is ever outside.
bool staysBelow(const std::string& path, const std::string& root) {
  if (!path.starts_with('/')) return false;
  std::vector<std::string> at;
  const std::vector<std::string> way = components(root.substr(1));
  std::size_t mostDepth = 0;
  for (const std::string& component : components(path)) {
    if (component.empty() || component == ".") continue;
    if (component != "..") {
      at.push_back(component);
    } else if (!at.empty()) {
      at.pop_back();
    }
    // Once below, it may not come out again.
    if (mostDepth > way.size() && at.size() <= way.size()) return false;
    if (at.size() > mostDepth) mostDepth = at.size();
  }
  if (at.size() <= way.size()) return false;
  for (std::size_t i = 0; i < way.size(); ++i) {
    if (at[i] != way[i]) return false;
  }
  return true;
}

void checkBelow(const std::string& name, const std::string& root) {
  const std::string sanitized = wzapp::sanitizeEntryPath(name);
  wzapp::Destination destination(root);
  destination.find(name);
  const std::string& path = destination.path();

  FUZZ_CHECK(path == wzapp::joinPath(root, sanitized));
  FUZZ_CHECK(destination.normalized() == wzapp::normalizePath(path));
  FUZZ_CHECK(destination.isBelowRoot() == staysBelow(path, root));
  if (destination.isBelowRoot()) {
    // What is opened is the normalised path.
    FUZZ_CHECK(staysBelow(destination.normalized(), root));
    FUZZ_CHECK(destination.normalized().starts_with(root + "/"));
    FUZZ_CHECK(staysBelow(wzapp::dirName(path) + "/file", root));
  } else if (!wzapp::isAbsolutePath(sanitized)) {
    FUZZ_CHECK(path == root);  // a relative name leads nowhere else
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size > kMaxInput) return -1;
  std::string name(reinterpret_cast<const char*>(data), size);
  name = name.substr(0, name.find('\0'));  // as the names of entries are

  const std::string sanitized = wzapp::sanitizeEntryPath(name);
  FUZZ_CHECK(sanitized == sanitizedByTheRules(name));
  FUZZ_CHECK(wzapp::sanitizeEntryPath(sanitized) == sanitized);
  for (const char* root : {wzapp::kAppRoot, wzapp::kManifestRoot}) {
    checkBelow(name, root);
    checkBelow(root + ("/" + name), root);
  }
  return 0;
}
