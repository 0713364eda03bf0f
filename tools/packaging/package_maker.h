/// Makes the packages that terminals install. docs/packages.md has a picture of them.
///
/// The same input gives the same octets.
#ifndef PACKAGING_PACKAGE_MAKER_H
#define PACKAGING_PACKAGE_MAKER_H

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "packaging/application_folder.h"
#include "packaging/signer.h"

namespace packaging {

struct PackageSigners {
  std::optional<Signer> application;  ///< needed where there is an application to sign
  std::optional<Signer> manifest;     ///< needed where there is a manifest to sign
};

/// An application, and the marketplace manifest without which a terminal removes it again.
struct ApplicationOrder {
  ApplicationFolder folder;
  std::vector<std::string> sponsors;   ///< of terminals that may have it
  bool applicationOnly = false;        ///< without the marketplace manifest
  std::function<void()> watcher = {};  ///< called behind each block of a file that goes in
};

/// The removal of an application.
struct RemovalOrder {
  std::string id;
  std::string folder;  ///< of its marketplace manifest on the terminal: the id but for its case
  std::string version;
  std::vector<std::string> sponsors;
};

/// Judges a package that was made, by its path, before it takes its place. False: it is not to.
using PackageJudge = std::function<bool(const std::string& path)>;

/// Makes a package as the file `target`, which is replaced when the new one is complete and `judge`
/// is content with it. False with a line of text in `error`, or when the judge said so, with none;
/// nothing is left behind then.
[[nodiscard]] bool makePackage(const ApplicationOrder& order, const PackageSigners& signers,
                               const std::string& target, const PackageJudge& judge,
                               std::string& error);
[[nodiscard]] bool makePackage(const std::vector<RemovalOrder>& orders,
                               const PackageSigners& signers, const std::string& target,
                               const PackageJudge& judge, std::string& error);

}  // namespace packaging

#endif  // PACKAGING_PACKAGE_MAKER_H
