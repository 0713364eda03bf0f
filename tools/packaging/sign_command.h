/// Signing by somebody else's program, for keys that live elsewhere.
#ifndef PACKAGING_SIGN_COMMAND_H
#define PACKAGING_SIGN_COMMAND_H

#include <string>
#include <string_view>

namespace packaging {

/// Runs `command` by /bin/sh with `octets` on its standard input, and takes the raw signature from
/// its standard output. The environment variable WZ_SIGNER tells it which signer is wanted. False
/// with a line of text in `error` when it cannot be run, fails, or writes nothing or more than a
/// signature can have.
[[nodiscard]] bool runSignCommand(const std::string& command, const std::string& signer,
                                  std::string_view octets, std::string& signature,
                                  std::string& error);

}  // namespace packaging

#endif  // PACKAGING_SIGN_COMMAND_H
