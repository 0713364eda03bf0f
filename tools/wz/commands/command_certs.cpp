#include <cstddef>
#include <string>
#include <string_view>

#include "wz/commands/commands.h"
#include "wz/reports/json_document.h"
#include "wz/reports/output.h"
#include "wz/reports/output_file.h"
#include "wz/reports/tar_members.h"
#include "wz/terminal/session.h"
#include "wz/words/exit_code.h"
#include "wzapp/wzapp.h"

namespace wz {
namespace {

// How many members of an archive begin with each of the two prefixes.
struct Counts {
  std::size_t terminal = 0;     // "os"
  std::size_t authorities = 0;  // "wz"
};

Counts count(std::string_view archive) {
  Counts counts;
  for (const TarMember& member : tarMembers(archive)) {
    ++(member.name.starts_with("os") ? counts.terminal : counts.authorities);
  }
  return counts;
}

std::string describe(const Counts& counts, const std::string& where) {
  const std::size_t all = counts.terminal + counts.authorities;
  return "wrote " + std::to_string(all) + (all == 1 ? " certificate" : " certificates") + where +
         ": " + std::to_string(counts.terminal) + " of the terminal, " +
         std::to_string(counts.authorities) + " authorities";
}

void printJson(const Counts& counts, const std::string& file) {
  printJsonDocument("certs", true, {}, [&](JsonWriter& writer) {
    putText(writer, "file", file);
    putNumber(writer, "terminal", counts.terminal);
    putNumber(writer, "authorities", counts.authorities);
  });
}

}  // namespace

int writeCertificates(const CertificatesOptions& options) {
  OutputFile file;
  std::string error;
  if (!file.choose(options.file, error)) {
    printMessage(error);
    return kEnvironment;
  }
  if (options.asJson && file.isStandardOutput()) {
    printMessage("with --json the archive cannot go to standard output, too; name a file with -o");
    return kUsage;
  }
  if (!enterChosenTerminal(options.terminal)) return kEnvironment;
  std::string archive;
  wzapp::wzGetCertificateArchive(archive);
  if (archive.empty()) {
    printMessage("there is not enough memory for the archive");
    return kEnvironment;
  }
  if (!file.write(archive, error)) {
    printMessage(error);
    return kEnvironment;
  }
  if (options.asJson) {
    printJson(count(archive), options.file);
  } else if (file.isStandardOutput()) {
    printNote(describe(count(archive), ""));
  } else {
    printSuccess(describe(count(archive), " to " + options.file));
  }
  return kDone;
}

}  // namespace wz
