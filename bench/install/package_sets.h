/// The packages whose installation is measured, made with development keys.
///
/// Each package file holds an application and its marketplace package, so that the application
/// stays installed on a terminal of the sponsor kBenchSponsor. Half of an application's octets are
/// scripts and half images. Everything follows from the set: the same keys give the same packages.
#ifndef WZAPP_BENCH_INSTALL_PACKAGE_SETS_H
#define WZAPP_BENCH_INSTALL_PACKAGE_SETS_H

#include <cstdint>
#include <string>

namespace bench {

inline constexpr char kBenchSponsor[] = "123456";

struct PackageSet {
  char name;
  const char* description;
  int applications;          ///< each in a package file of its own
  int files;                 ///< of each application, its manifest aside
  std::uint64_t fileOctets;  ///< of a file on average; sizes lie between half and one and a half
};

inline constexpr PackageSet kPackageSets[] = {
    {'a', "one application of 50 MB in 2,000 files", 1, 2000, 25'000},
    {'b', "200 applications of 20 files in 200 package files", 200, 20, 5'000},
    {'c', "one application of 1 GB in 8 files", 1, 8, 125'000'000},
};

/// How a package file holds the archives inside it.
enum class Packing {
  kDeflated,  ///< packed once more, as most programs do that do not look at what they pack
  kStored,    ///< as they are, as the kit does
};

/// Makes the package files of the set in the existing folder `directory`. Files are written and
/// packed in blocks; on the way the folder holds each application's files, or its archive, beside
/// its package.
/// \param keys  a key directory (devkeys/key_directory.h).
/// Throws std::runtime_error.
void makePackages(const PackageSet& set, Packing packing, const std::string& keys,
                  const std::string& directory);

}  // namespace bench

#endif  // WZAPP_BENCH_INSTALL_PACKAGE_SETS_H
