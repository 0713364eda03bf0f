#include <string>

#include "devkeys/key_directory.h"
#include "wz/commands/commands.h"
#include "wz/reports/json_document.h"
#include "wz/reports/output.h"
#include "wz/reports/screen.h"
#include "wz/words/exit_code.h"

namespace wz {

int initKeys(const InitKeysOptions& options) {
  std::string error;
  Progress progress("making keys", devkeys::kKeyCount);
  if (!devkeys::makeKeyDirectory(options.directory, error, [&progress] { progress.step(); })) {
    printMessage(error);
    return kEnvironment;
  }
  if (options.asJson) {
    printJsonDocument("keys init", true, {},
                      [&](JsonWriter& writer) { putText(writer, "directory", options.directory); });
    return kDone;
  }
  printSuccess("made the development keys " + options.directory);
  printSuccess("  authorities  nine authorities, to be compiled in; table in authorities.txt");
  printSuccess("  roots        their issuers, to be a terminal's own certificates");
  printSuccess("  signers      application and manifest, to sign packages with");
  return kDone;
}

}  // namespace wz
