#include "wz/words/version_text.h"

namespace wz {

std::string versionNumber() { return WZ_VERSION; }

std::string versionText(bool trustsDevelopmentKeys, const std::string& table) {
  std::string text = "wz " WZ_VERSION "\nplatform: workstation";
  if (trustsDevelopmentKeys) {
    text += "\nauthorities: development keys; this build is not for terminals";
  }
  text += "\ntable in force: " + table;
  return text;
}

}  // namespace wz
