// Paths: an input is a base and, behind its first line feed, a path. What is written straight from
// the rules here must agree with the library.

#include <string>
#include <string_view>
#include <vector>

#include "fuzz/check.h"
#include "support/file_system.h"

namespace {

constexpr std::size_t kMaxInput = 4096;

bool isSeparator(char octet) { return octet == '/' || octet == '\\'; }

std::vector<std::string> components(const std::string& path) {
  std::vector<std::string> found;
  if (path.empty()) return found;
  found.emplace_back();
  for (const char octet : path) {
    if (isSeparator(octet)) {
      found.emplace_back();
    } else {
      found.back() += octet;
    }
  }
  return found;
}

// Walks with an index and removes what has to go, a step at a time.
std::string normalizeByTheRules(const std::string& path) {
  std::vector<std::string> parts = components(path);
  std::string result;
  if (!parts.empty() && (parts[0].empty() || parts[0].back() == ':')) {
    result = parts[0] + "/";
    parts.erase(parts.begin());
  }
  std::size_t i = 0;
  while (i < parts.size()) {
    const auto at = parts.begin() + static_cast<std::ptrdiff_t>(i);
    if (parts[i].empty() || parts[i] == ".") {
      parts.erase(at);
    } else if (i == 0 || parts[i - 1] == ".." || parts[i] != "..") {
      ++i;
    } else {
      parts.erase(at - 1, at + 1);
      --i;
    }
  }
  for (std::size_t part = 0; part < parts.size(); ++part) {
    result += (part == 0 ? "" : "/") + parts[part];
  }
  return result.empty() ? "." : result;
}

bool isAbsoluteByTheRules(const std::string& path) {
  const std::vector<std::string> parts = components(path);
  if (parts.empty()) return false;
  if (parts[0].empty()) return true;
  return parts[0].back() == ':';
}

void checkNormalized(const std::string& path) {
  const std::string normalized = wzapp::normalizePath(path);
  FUZZ_CHECK(normalized == normalizeByTheRules(path));
  FUZZ_CHECK(!normalized.empty());
  FUZZ_CHECK(normalized.find('\\') == std::string::npos);
  FUZZ_CHECK(normalized.find("//") == std::string::npos);
  FUZZ_CHECK(!wzapp::isAbsolutePath(path) || wzapp::isAbsolutePath(normalized));
  // A name such as "C:" that has moved to the front becomes a volume the second time.
  if (wzapp::isAbsolutePath(path) || !wzapp::isAbsolutePath(normalized)) {
    FUZZ_CHECK(wzapp::normalizePath(normalized) == normalized);
  }
}

void checkDirName(const std::string& path) {
  const std::string directory = wzapp::dirName(path);
  FUZZ_CHECK(!directory.empty());
  const bool hasSeparator = path.find_first_of("/\\") != std::string::npos;
  if (!hasSeparator) {
    FUZZ_CHECK(directory == ".");
    return;
  }
  FUZZ_CHECK(path.starts_with(directory));
  // Behind the directory stand the name and, unless the directory has kept it, the separator.
  const std::string rest = path.substr(directory.size());
  const std::size_t last = rest.find_last_of("/\\");
  FUZZ_CHECK(last == 0 || (last == std::string::npos && isSeparator(directory.back())));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size > kMaxInput) return -1;
  const std::string input(reinterpret_cast<const char*>(data), size);
  const std::size_t cut = input.find('\n');
  const std::string base = input.substr(0, cut);
  const std::string path = cut == std::string::npos ? std::string() : input.substr(cut + 1);

  for (const std::string& each : {base, path}) {
    FUZZ_CHECK(wzapp::isAbsolutePath(each) == isAbsoluteByTheRules(each));
    checkNormalized(each);
    checkDirName(each);
  }
  const std::string joined = wzapp::joinPath(base, path);
  FUZZ_CHECK(joined ==
             (isAbsoluteByTheRules(path) ? path : normalizeByTheRules(base + "/" + path)));
  return 0;
}
