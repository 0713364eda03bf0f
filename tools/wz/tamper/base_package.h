/// The package that variants are made of: one application and its marketplace manifest, as `wz
/// pack` makes them, taken apart.
#ifndef WZ_TAMPER_BASE_PACKAGE_H
#define WZ_TAMPER_BASE_PACKAGE_H

#include <span>
#include <string>
#include <vector>

#include "crypto/store/authorities.h"
#include "wz/tamper/zip_octets.h"

namespace wz {

/// One of the two signed archives, by the names of its entries in the package.
struct BaseInner {
  std::string archive, signature, certificate;
};

struct BasePackage {
  std::string id;  ///< of the application
  ZipItems items;  ///< of the package, as they stand in it
  BaseInner application, marketplace;
  ZipItems applicationFiles, marketplaceFiles;  ///< of the archives inside
  std::vector<std::string> sponsors;

  [[nodiscard]] const std::string& contentOf(const std::string& entry) const;
};

/// Reads a package. False with a line of text in `error` where terminals that trust `authorities`
/// would refuse it, or where it holds anything else.
[[nodiscard]] bool readBasePackage(const std::string& file,
                                   std::span<const wzapp::Authority> authorities,
                                   BasePackage& package, std::string& error);

}  // namespace wz

#endif  // WZ_TAMPER_BASE_PACKAGE_H
