#include "runtime/app_properties.h"

#include <optional>

#include "installer/directories.h"
#include "runtime/app_manager.h"
#include "support/file_system.h"
#include "support/platform_info.h"
#include "support/terminal_identity.h"

namespace wzapp {
namespace {

using PropertyValue = std::optional<std::string>;

PropertyValue sponsorId(const WZAppManager&) {
  std::string id;
  std::string text;
  getTerminalSponsor(id, text);
  return id;
}

PropertyValue contentOf(const std::string& path) {
  std::string content;
  if (!readFile(path.c_str(), content)) return std::nullopt;
  return content;
}

// The owner's document comes with the marketplace manifest, not with the application.
PropertyValue ownerDocument(const WZAppManager& app) {
  return contentOf(joinPath(joinPath(kManifestRoot, app.appId), "confOwner.json"));
}

struct AppProperty {
  const char* key;
  PropertyValue (*value)(const WZAppManager& app);
};

constexpr AppProperty kAppProperties[] = {
    {"wz_appId", [](const WZAppManager& app) -> PropertyValue { return app.appId; }},
    {"wz_appVersion", [](const WZAppManager& app) -> PropertyValue { return app.version; }},
    {"wz_terminalSerialNo",
     [](const WZAppManager&) -> PropertyValue { return terminalSerialNumber(); }},
    {"wz_sponsorId", sponsorId},
    {"wz_confApp",
     [](const WZAppManager& app) { return contentOf(joinPath(app.appDir, "confApp.json")); }},
    {"wz_confOwner", ownerDocument},
    {"wz_terminalModel", [](const WZAppManager&) -> PropertyValue { return terminalModel(); }},
};

}  // namespace

void addAppProperties(const WZAppManager& app, std::map<std::string, std::string>& properties) {
  for (const AppProperty& property : kAppProperties) {
    PropertyValue value = property.value(app);
    if (value) properties[property.key] = std::move(*value);
  }
}

}  // namespace wzapp
