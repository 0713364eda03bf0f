/// Development keys: everything between a terminal's roots and the signers of packages, made from
/// nothing in a second or two.
///
///     DIR/                                mode 0700
///       authorities.txt                   nine lines KIND FILE, in the order of the table
///       authorities/1.der ... 9.der       the authorities, issued by the roots
///       roots/development-root-1.der ...  what a terminal has as its own certificates
///       signers/application.der           may sign applications ("S14"); issued by authority 1
///       signers/manifest.der              may sign manifest packages ("S11"); by authority 1
///
/// Beside each NAME.der lies NAME.key, its private key: PKCS#8 in PEM, not encrypted, mode 0600.
/// All keys are RSA of 2048 bits. docs/keys.md describes the certificates.
#ifndef DEVKEYS_KEY_DIRECTORY_H
#define DEVKEYS_KEY_DIRECTORY_H

#include <cstddef>
#include <functional>
#include <string>

namespace devkeys {

/// Name of the file with the rows of the table of authorities, in a key directory.
inline constexpr char kTableFile[] = "authorities.txt";

/// Makes the key directory `directory`, which must not exist; the folder above it must. It appears
/// complete or not at all, also when a signal ends the process meanwhile. False with a line of text
/// in `error` for the user when that failed. `onKey` is called behind each of kKeyCount keys.
[[nodiscard]] bool makeKeyDirectory(const std::string& directory, std::string& error,
                                    const std::function<void()>& onKey = nullptr);

inline constexpr std::size_t kKeyCount = 13;

}  // namespace devkeys

#endif  // DEVKEYS_KEY_DIRECTORY_H
