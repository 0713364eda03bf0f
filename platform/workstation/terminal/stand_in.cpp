#include "workstation/terminal/stand_in.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "workstation/terminal/covered_folder.h"
#include "workstation/terminal/private_namespaces.h"

namespace workstation {
namespace {

bool fail(const std::string& folder, const char* step, std::string& error) {
  error = "cannot show anything else in " + folder + ": " + step + ": " + std::strerror(errno);
  return false;
}

}  // namespace

bool showInFolder(const std::string& folder, const std::map<std::string, std::string>& links,
                  std::string& error) {
  const unsigned uid = geteuid(), gid = getegid();
  if (const char* const step = makePrivateNamespaces({uid, gid, uid, gid})) {
    return fail(folder, step, error);
  }
  CoveredFolder covered(folder);
  covered.keepAll([&links](const std::string& name) { return links.count(name) == 0; });
  if (!covered.cover()) return fail(folder, "covering it", error);
  for (const auto& [name, target] : links) {
    if (symlink(target.c_str(), (folder + "/" + name).c_str()) != 0) {
      return fail(folder, name.c_str(), error);
    }
  }
  if (!covered.seal()) return fail(folder, "sealing it", error);
  if (const char* const step = dropAllCapabilities()) return fail(folder, step, error);
  return true;
}

}  // namespace workstation
