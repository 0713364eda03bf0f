/// UTF-8 (RFC 3629) that comes from hosts and pages and may be anything.
#ifndef WORKSTATION_BROWSER_ENGINE_UTF8_H
#define WORKSTATION_BROWSER_ENGINE_UTF8_H

#include <string>
#include <string_view>

namespace workstation {

/// `text` with U+FFFD for each octet that is not part of a well-formed sequence: overlong forms,
/// surrogates and values above U+10FFFF included.
std::string wellFormed(std::string_view text);

/// The same, with U+FFFD for NUL too: for what travels on as a zero-terminated string, where a NUL
/// would make a longer text pass for a shorter one.
std::string wellFormedWithoutNul(std::string_view text);

}  // namespace workstation

#endif  // WORKSTATION_BROWSER_ENGINE_UTF8_H
