// What the library makes of a package file: a run of wzInstall in the test's terminal, told in the
// words of the verifier.
#ifndef WZAPP_TESTS_AGREE_LIBRARY_VERDICT_H
#define WZAPP_TESTS_AGREE_LIBRARY_VERDICT_H

#include <string>

#include "verifier/verdict.h"

namespace wzapp_test {

inline const std::string kPackagePath = "/mnt/flash/system/wz/package.zip";

// Runs the installer over `package` on a terminal without applications. Of causes there are those
// of certificates and signature files.
verifier::Verdict libraryVerdict(const std::string& package);

}  // namespace wzapp_test

#endif  // WZAPP_TESTS_AGREE_LIBRARY_VERDICT_H
