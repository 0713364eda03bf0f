#include "wz/terminal/installed_contents.h"

#include <filesystem>
#include <string>
#include <system_error>

#include "installer/application_manifest.h"
#include "support/text.h"
#include "wz/reports/packaged_manifest.h"
#include "wz/terminal/package_files.h"
#include "wzapp/wzapp.h"

namespace wz {
namespace {

namespace fs = std::filesystem;

void takeFile(const fs::path& root, const fs::path& path, Content& content) {
  std::error_code failure;
  if (fs::symlink_status(path, failure).type() != fs::file_type::regular) return;
  const std::uintmax_t size = fs::file_size(path, failure);
  content.files[path.lexically_relative(root).string()] = {failure ? 0 : size,
                                                           sha256OfFile(path.string())};
}

void takeFolder(const fs::path& root, const fs::path& folder, Content& content) {
  std::error_code failure;
  for (fs::recursive_directory_iterator entry(folder, failure), end; !failure && entry != end;
       entry.increment(failure)) {
    takeFile(root, entry->path(), content);
  }
}

// The folder of the application and its manifest, or that of the marketplace's.
bool find(InnerKind kind, const std::string& upperId, Content& content) {
  const bool isApplication = kind == InnerKind::kApplication;
  const fs::path root = isApplication ? wzapp::wzInstallAppRoot() : wzapp::wzInstallManifestRoot();
  const std::string manifestName =
      kind == InnerKind::kUninstall ? wzapp::kUninstallManifest : wzapp::kMarketplaceManifest;
  bool isFound = false;
  std::error_code failure;
  for (fs::directory_iterator entry(root, failure), end; !failure && entry != end;
       entry.increment(failure)) {
    const std::string upperName = wzapp::toUpper(entry->path().filename().string());
    const bool isManifest = isApplication && wzapp::manifestStem(upperName) == upperId;
    if (!isManifest && upperName != upperId) continue;
    const fs::path manifest = isManifest ? entry->path() : entry->path() / manifestName;
    std::error_code ignored;
    if (isManifest) {
      takeFile(root, entry->path(), content);
    } else {
      takeFolder(root, entry->path(), content);
    }
    if ((isManifest || !isApplication) && fs::exists(manifest, ignored)) {
      const PackagedManifest read = readPackagedManifest(manifest.string(), manifest.string());
      takeManifest(read, content);
      content.id = read.id;
      isFound = true;
    }
    isFound = isFound || isApplication;
  }
  return isFound;
}

}  // namespace

Contents findInstalledContents(const Contents& wanted) {
  Contents found;
  for (const Content& one : wanted) {
    Content content;
    content.kind = one.kind;
    content.id = one.id;
    if (find(one.kind, wzapp::toUpper(one.id), content)) found.push_back(std::move(content));
  }
  return found;
}

}  // namespace wz
