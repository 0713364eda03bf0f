#include "wz/reports/terminal_output.h"

#include <cstdint>

#include "installer/dependency_check.h"
#include "support/platform_info.h"
#include "wz/terminal/screen_trial.h"
#include "wz/terminal/trusted_authorities.h"

namespace wz {

void putTerminal(JsonWriter& writer, const workstation::TerminalProfile& profile) {
  putText(writer, "serial", profile.serial);
  putText(writer, "model", profile.model);
  putText(writer, "modelName", wzapp::modelName());
  putNumber(writer, "width", static_cast<std::uint64_t>(profile.displayWidth));
  putNumber(writer, "height", static_cast<std::uint64_t>(profile.displayHeight));
  putFlag(writer, "colour", profile.displayColour);
  putNumber(writer, "memoryKB", static_cast<std::uint64_t>(profile.memoryKB));
  putNumber(writer, "keys", static_cast<std::uint64_t>(wzapp::keyCount()));
  putFlag(writer, "touch", wzapp::hasTouchScreen() != 0);
  putText(writer, "sponsor", profile.sponsorId);
  putText(writer, "sponsorText", profile.sponsorText);
  putNumber(writer, "engine", profile.engine);
  putText(writer, "authorities", trustedText());
  putText(writer, "platform", wzapp::hardwareDescriptor());
  putTexts(writer, "notes", modelContradictions(profile));
}

}  // namespace wz
