#include "packaging/work_folder.h"

#include <stdlib.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <system_error>

namespace packaging {
namespace {

bool fail(const std::string& target, std::string& error) {
  error = "cannot write " + target + ": " + std::strerror(errno);
  return false;
}

}  // namespace

WorkFolder::~WorkFolder() {
  std::error_code ignored;
  if (!path_.empty()) std::filesystem::remove_all(path_, ignored);
}

bool WorkFolder::makeBeside(const std::string& target, std::string& error) {
  target_ = target;
  const std::filesystem::path folder = std::filesystem::path(target).parent_path();
  std::string path = ((folder.empty() ? "." : folder) / ".wz-XXXXXX").string();
  if (mkdtemp(path.data()) == nullptr) return fail(target, error);
  path_ = path;
  return true;
}

bool WorkFolder::moveToTarget(const std::string& name, std::string& error) const {
  return std::rename((*this / name).c_str(), target_.c_str()) == 0 || fail(target_, error);
}

}  // namespace packaging
