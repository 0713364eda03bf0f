/// The script that runs in every document before the page's own.
#ifndef WORKSTATION_BROWSER_ENGINE_PAGE_SCRIPT_H
#define WORKSTATION_BROWSER_ENGINE_PAGE_SCRIPT_H

#include <map>
#include <string>

namespace workstation {

/// Where, on an application's host, the requests of blocking calls go; followed by the token, a
/// slash and the number of the call.
inline constexpr char kCallPath[] = "/.wz-call/";

/// What the script has to know of its invocation.
struct PageScriptConfig {
  std::string token;    ///< Unguessable, of letters and digits; names the script's two globals.
  std::string origin;   ///< "https://shop.invalid"
  std::string callUrl;  ///< What requests for the replies of blocking calls begin with.
  std::string appId;
  bool isMonochrome = false;  ///< The display shows black and white alone.
  bool recordsInput = false;  ///< The script tells what the user does.
  std::map<std::string, std::string> properties;
};

/// The global through which the script calls; the script removes it.
std::string bindingName(const PageScriptConfig& config);

/// The script's text with its configuration.
std::string pageScript(const PageScriptConfig& config);

/// An expression that hands the script the outcome of its call `id`: the reply's JSON text for code
/// 0, else the error's text. Id 0 reports an error that belongs to no call.
std::string deliveryExpression(const PageScriptConfig& config, long long id, int code,
                               const std::string& text);

}  // namespace workstation

#endif  // WORKSTATION_BROWSER_ENGINE_PAGE_SCRIPT_H
