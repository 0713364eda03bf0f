/// The addresses of an application's pages: https://<application>.invalid/<path>, under a domain
/// that never exists (RFC 6761, section 6.4).
#ifndef WORKSTATION_BROWSER_ENGINE_APPLICATION_URL_H
#define WORKSTATION_BROWSER_ENGINE_APPLICATION_URL_H

#include <string>
#include <string_view>

namespace workstation {

/// A DNS label made of an application's name: lower-case letters, digits and hyphens, at most 40
/// octets, never empty. Different names may give the same label.
std::string hostLabel(std::string_view name);

/// Splits "https://host/path?query#fragment" into host and path, the path still percent-encoded.
/// False for any other scheme, and where there is a user name or a port.
[[nodiscard]] bool splitUrl(std::string_view url, std::string& host, std::string& path);

/// The scheme of an absolute URL (RFC 3986, section 3.1) without its colon; empty when relative.
std::string_view urlScheme(std::string_view url);

/// Turns the percent-encoded path of a URL into the name of a file relative to the application's
/// folder, without leading "/" and with "." and ".." resolved. False when a percent escape is
/// malformed or stands for NUL or "/", or when the path climbs above its root.
[[nodiscard]] bool filePathOfUrl(std::string_view path, std::string& file);

/// Takes a start page as a manifest names it, relative to the application's folder, perhaps with a
/// query or fragment. `target` becomes it as part of a URL ("/pages/start%20here.html?x=1"), `file`
/// the file it asks for. False for anything outside of the application: another scheme, another
/// host, a path above the folder.
[[nodiscard]] bool resolveStartUrl(std::string_view url, std::string& target, std::string& file);

}  // namespace workstation

#endif  // WORKSTATION_BROWSER_ENGINE_APPLICATION_URL_H
