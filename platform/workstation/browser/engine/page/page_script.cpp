#include "workstation/browser/engine/page/page_script.h"

#include "workstation/browser/engine/page/page_script_text.h"
#include "workstation/browser/engine/protocol/json.h"

namespace workstation {
namespace {

std::string deliveryName(const PageScriptConfig& config) { return "wzDeliver" + config.token; }

}  // namespace

std::string bindingName(const PageScriptConfig& config) { return "wzCall" + config.token; }

std::string pageScript(const PageScriptConfig& config) {
  JsonObject properties;
  for (const auto& [name, value] : config.properties) properties.add(name, value);
  JsonObject parameters;
  parameters.add("binding", bindingName(config))
      .add("deliver", deliveryName(config))
      .add("origin", config.origin)
      .add("callUrl", config.callUrl)
      .add("appId", config.appId)
      .add("monochrome", config.isMonochrome)
      .add("recordsInput", config.recordsInput)
      // As a text, since a literal's "__proto__" would be something else than a property.
      .add("properties", properties.text());
  return std::string(kPageScriptText) + '(' + parameters.text() + ");\n";
}

std::string deliveryExpression(const PageScriptConfig& config, long long id, int code,
                               const std::string& text) {
  return deliveryName(config) + '(' + std::to_string(id) + ',' + std::to_string(code) + ',' +
         jsonQuote(text) + ")";
}

}  // namespace workstation
