#include "packaging/work_folder.h"

#include <cerrno>
#include <cstring>
#include <filesystem>

#include "packaging/temporary_folders.h"

namespace packaging {
namespace {

bool fail(const std::string& target, std::string& error) {
  error = "cannot write " + target + ": " + std::strerror(errno);
  return false;
}

}  // namespace

WorkFolder::~WorkFolder() {
  if (!path_.empty()) removeTemporaryFolder(path_);
}

bool WorkFolder::makeBeside(const std::string& target, std::string& error) {
  target_ = target;
  const std::filesystem::path folder = std::filesystem::path(target).parent_path();
  std::string path = ((folder.empty() ? "." : folder) / ".wz-XXXXXX").string();
  if (!makeTemporaryFolder(path)) return fail(target, error);
  path_ = path;
  return true;
}

bool WorkFolder::moveToTarget(const std::string& name, std::string& error) const {
  return moveOut(*this / name, target_) || fail(target_, error);
}

}  // namespace packaging
