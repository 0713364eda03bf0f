// What the steps of one installation run share.
#ifndef WZAPP_INSTALLER_INSTALL_RUN_H
#define WZAPP_INSTALLER_INSTALL_RUN_H

#include <cstddef>
#include <string>
#include <vector>

#include "installer/marketplace_rules.h"
#include "installer/newcomers.h"

namespace wzapp {

// What is deleted from the source directory once it was dealt with.
struct DealtWith {
  std::string path;
  bool isDeletedLast = false;
};

struct InstallRun {
  std::vector<DealtWith> toDelete;  // in the order of the source directory
  std::size_t packageFiles = 0;
  Newcomers newcomers;
  bool isJudged = true;    // false once something that a judgement needs could not be found out
  bool isDecided = false;  // who may stay, and who not; or that nobody can tell
  AppIds installed;  // by a package that was extracted, at least in part; without an id the empty
  AppIds removed;    // by the rules and the dependency check
};

}  // namespace wzapp

#endif  // WZAPP_INSTALLER_INSTALL_RUN_H
