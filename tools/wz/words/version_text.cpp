#include "wz/words/version_text.h"

namespace wz {

std::string versionText(bool trustsDevelopmentKeys) {
  std::string text = "wz " WZ_VERSION "\nplatform: workstation";
  if (trustsDevelopmentKeys) {
    text += "\nauthorities: development keys; this build is not for terminals";
  }
  return text;
}

}  // namespace wz
