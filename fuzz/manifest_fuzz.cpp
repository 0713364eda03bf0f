// Application manifests in both forms: a refusal is reported by one error and an acceptance by
// none, the id that is given out is the manifest's if it is a plain name, and what is imported and
// exported has numbers that are known.

#include <sys/mman.h>
#include <unistd.h>

#include <cstdarg>
#include <cstdio>
#include <string>

#include "fuzz/check.h"
#include "installer/application_manifest.h"
#include "installer/dependency_manifest.h"
#include "support/app_id.h"
#include "support/file_system.h"
#include "support/install_result.h"
#include "support/json_file.h"
#include "zelipc/zelipc.h"

namespace {

using wzapp::SponsorMode;
using zelipc::JSObject;

constexpr char kSponsor[] = "123456";

// A file in memory, the same for every input.
class MemoryFile {
 public:
  MemoryFile() : descriptor_(memfd_create("manifest", MFD_CLOEXEC)) {
    FUZZ_CHECK(descriptor_ >= 0);
  }

  void write(const std::string& content) const {
    FUZZ_CHECK(ftruncate(descriptor_, 0) == 0);
    FUZZ_CHECK(pwrite(descriptor_, content.data(), content.size(), 0) ==
               static_cast<ssize_t>(content.size()));
  }

  [[nodiscard]] std::string path() const { return "/proc/self/fd/" + std::to_string(descriptor_); }

 private:
  int descriptor_;
};

struct Log {
  int count = 0;
  std::string format;  // of the last message
};

// Formats the message, so that a sanitizer sees what it is made of.
void keepLast(void* user, const char* format, ...) {
  Log& log = *static_cast<Log*>(user);
  ++log.count;
  log.format = format;
  char line[4096];
  va_list arguments;
  va_start(arguments, format);
  FUZZ_CHECK(std::vsnprintf(line, sizeof line, format, arguments) > 0);
  va_end(arguments);
}

// What a check of the manifest in `mode` gives out.
std::string checkSponsor(SponsorMode mode, const std::string& path, bool& isAccepted) {
  Log log;
  wzapp::setInstallLog(keepLast, &log);
  wzapp::setInstallResult(wzapp::kInstallOk);
  std::string appId = "before";

  isAccepted =
      wzapp::checkManifestSponsor(mode, path, kSponsor, appId) == wzapp::SponsorVerdict::kAccepted;

  wzapp::setInstallLog(nullptr, nullptr);
  if (isAccepted) {
    FUZZ_CHECK(log.count == 0 && !appId.empty());
    FUZZ_CHECK(wzapp::installResult() == wzapp::kInstallOk);
    return appId;
  }
  FUZZ_CHECK(log.count == 1 && log.format.starts_with("Error: ") && log.format.ends_with("\n"));
  FUZZ_CHECK(wzapp::installResult() == wzapp::kInstallError);
  FUZZ_CHECK(appId.empty() != log.format.starts_with("Error: Invalid sponsor list"));
  return appId;
}

bool listsSponsor(const JSObject& root) {
  const JSObject& sponsors = root["sponsors"];
  for (std::size_t i = 0; i < sponsors.size(); ++i) {
    if (sponsors.at(i).asString() == kSponsor) return true;
  }
  return false;
}

// What an installation takes for the id of a manifest in JSON form: one that is no plain name is
// none. Spelled out once more, so that a mistake in telling plain names shows.
std::string idOf(const JSObject& root) {
  const std::string id = root["application"]["id"].asString();
  if (id == "." || id == ".." || (!id.empty() && id.back() == ':')) return {};
  for (const char octet : id) {
    if (octet == '/' || octet == '\\' || octet == '\0') return {};
  }
  return id;
}

void checkNumbers(const JSObject& root) {
  wzapp::FeatureTables features;
  const wzapp::DependencyManifest manifest = wzapp::takeDependencies(root, features);
  for (std::size_t kind = 0; kind < wzapp::kFeatureKindCount; ++kind) {
    const wzapp::NameTable& table = features[kind];
    for (const auto* numbers : {&manifest.exports[kind], &manifest.imports[kind]}) {
      for (const wzapp::NameTable::Number number : *numbers) {
        FUZZ_CHECK(number < table.size());
        FUZZ_CHECK(table.find(table.nameOf(number)) == number);
      }
    }
    FUZZ_CHECK(manifest.exports[kind].size() ==
                   root[wzapp::kFeatureKinds[kind].exportsKey].size() ||
               !root[wzapp::kFeatureKinds[kind].exportsKey].isArray());
  }
  FUZZ_CHECK(manifest.appId.value_or("") == idOf(root));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const MemoryFile memory;
  memory.write(std::string(reinterpret_cast<const char*>(data), size));
  const std::string path = memory.path();

  const std::string appId = wzapp::readManifestAppId(path);
  bool mayInstall = false;
  bool mayUninstall = false;
  const std::string installId = checkSponsor(SponsorMode::kInstall, path, mayInstall);
  const std::string uninstallId = checkSponsor(SponsorMode::kUninstall, path, mayUninstall);

  if (size > wzapp::kMaxManifestSize) {
    FUZZ_CHECK(appId.empty() && installId.empty() && uninstallId.empty());
    FUZZ_CHECK(!mayInstall && !mayUninstall);
    return 0;
  }
  JSObject object;
  if (wzapp::readJSONFile(object, path)) {
    const JSObject& root = object;
    FUZZ_CHECK(appId == idOf(root));
    FUZZ_CHECK(installId == appId && uninstallId == appId);
    FUZZ_CHECK(mayInstall == mayUninstall);
    FUZZ_CHECK(mayInstall == (!appId.empty() && listsSponsor(root)));
    checkNumbers(root);
    return 0;
  }
  FUZZ_CHECK(wzapp::isPlainAppId(appId) && wzapp::isPlainAppId(uninstallId));
  FUZZ_CHECK(installId.empty() || installId == appId);
  FUZZ_CHECK(uninstallId.empty() || !appId.empty());
  return 0;
}
