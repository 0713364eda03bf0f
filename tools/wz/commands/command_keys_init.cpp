#include <string>

#include "devkeys/key_directory.h"
#include "wz/commands/commands.h"
#include "wz/reports/json_document.h"
#include "wz/reports/output.h"
#include "wz/words/exit_code.h"

namespace wz {

int initKeys(const InitKeysOptions& options) {
  std::string error;
  if (!devkeys::makeKeyDirectory(options.directory, error)) {
    printMessage(error);
    return kEnvironment;
  }
  if (options.asJson) {
    printJsonDocument("keys init", true, {},
                      [&](JsonWriter& writer) { putText(writer, "directory", options.directory); });
    return kDone;
  }
  printLine("made the development keys " + options.directory);
  printLine("  authorities  nine authorities, to be compiled in; table in authorities.txt");
  printLine("  roots        their issuers, to be a terminal's own certificates");
  printLine("  signers      application and manifest, to sign packages with");
  return kDone;
}

}  // namespace wz
