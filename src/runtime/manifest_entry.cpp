#include "runtime/manifest_entry.h"

#include <cstddef>
#include <utility>

#include "support/app_id.h"
#include "support/config_file.h"
#include "support/file_system.h"
#include "support/json_file.h"
#include "zelipc/zelipc.h"

namespace wzapp {
namespace {

using zelipc::JSObject;

constexpr char kDesktop[] = "desktop";

// "imports_trigger": [ { "id": "pay", "file": "pay.html" }, ... ]
// The first element with the id decides, even if it names no file.
std::string triggerFile(const JSObject& triggers, const std::string& entry) {
  if (!triggers.isArray()) return {};
  for (std::size_t index = 0; index < triggers.size(); ++index) {
    const JSObject& trigger = triggers.at(index);
    if (trigger.has("id") && trigger["id"].asString() == entry) return trigger["file"].asString();
  }
  return {};
}

// What is missing reads as null, and null as the empty string.
ManifestEntry fromJSON(const JSObject& root, const std::string& entry) {
  const JSObject& application = root["application"];
  ManifestEntry result;
  result.appId = application["id"].asString();
  result.version = application["version"].asString();
  result.startFile = entry == kDesktop ? root[kDesktop]["file"].asString()
                                       : triggerFile(root["imports_trigger"], entry);
  return result;
}

// Every entry point has a section of its own name, the desktop too.
ManifestEntry fromConfigFile(const ConfigFile& manifest, const std::string& entry) {
  ManifestEntry result;
  result.appId = manifest.getValue("application", "id", "");
  result.version = manifest.getValue("application", "version", "");
  result.startFile = manifest.getValue(entry, "file", "");
  return result;
}

}  // namespace

bool readManifestEntry(const char* path, const std::string& entry, ManifestEntry& result) {
  std::string text;
  if (!readFile(path, text, kMaxManifestSize)) return false;
  JSObject root;
  ManifestEntry found;
  if (readJSONText(root, text)) {
    found = fromJSON(root, entry);
  } else {
    const ConfigFile manifest = ConfigFile::ofText(path, std::move(text));
    if (manifest.errorLine() != 0) return false;
    found = fromConfigFile(manifest, entry);
  }
  // No path may ever be made of another one: the page would get what is not its own.
  if (!isPlainAppId(found.appId)) return false;
  result = std::move(found);
  return true;
}

}  // namespace wzapp
