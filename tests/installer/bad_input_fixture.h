// What the tests of bad input share: a run over package files that are wrong in some way, with a
// sound one behind them that is installed all the same, and its whole log.
#ifndef WZAPP_TESTS_INSTALLER_BAD_INPUT_FIXTURE_H
#define WZAPP_TESTS_INSTALLER_BAD_INPUT_FIXTURE_H

#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "support/install_result.h"
#include "tests/installer/file_calls.h"
#include "tests/installer/install_fixture.h"

namespace wzapp_test {

// The application of the sound package.
inline constexpr const char* kGood = "good";

// A package file and what the run reports of it.
struct BadPackage {
  std::string content;
  Lines lines;             // behind the lines of the certificate store
  bool isReadable = true;  // false: not an archive, and there are no other lines
};

BadPackage unreadablePackage(std::string content);

// The error of a package file, or of an inner package, that cannot be read.
std::string unreadable(const std::string& name);
// That of an entry of a package file.
std::string notExtracted(const std::string& entry);
// That of a file of an application.
std::string notWritten(const std::string& entry, const std::string& destination);

// The lines of a sound package file that holds the application "good".
Lines goodLines();

// The same package file entry by entry, so that it can be made to lie: "a.crt", "m.crt",
// "GOOD.ZIP", "GOOD.P7S", "GOOD-O.ZIP", "GOOD-O.P7S".
ZipBuilder goodPackageArchive();

// That package file with `entry` in place of its own one of that name, the rest around it.
ZipBuilder goodPackageArchiveWith(const ZipEntry& entry);

// The octets of a certificate, as an entry takes them.
std::string certificateOf(const Signer& signer);

void append(Lines& lines, const Lines& more);

// Whole sizes and every point instead of a sample: WZAPP_EVERY_POINT is set.
bool triesEverything();

class BadInputTest : public InstallTest {
 protected:
  // A test that does not end is killed.
  BadInputTest();
  ~BadInputTest() override;

  // Runs over `packages`, in this order, and then over the sound one. Compares the result, the
  // whole log, and that nothing but the sound application is there in the end: what else came into
  // the application root, the rules remove.
  void expectRun(const std::vector<BadPackage>& packages,
                 wzapp::InstallResult result = wzapp::kInstallError);

  // The parts of it, for tests that have more to say. `order` are the names of the package files.
  std::vector<std::string> dropInOrder(const std::vector<BadPackage>& packages);
  static Lines packagesLines(const std::vector<std::string>& order,
                             const std::vector<BadPackage>& packages);
  // Of rules that keep the sound application and nothing else. No manifest root holds another
  // marketplace manifest.
  [[nodiscard]] Lines goodRulesLines() const;

  // Fails at the first line that differs.
  void expectLog(const Lines& expected) const;

  // What was there when the packages were done, before the rules removed anything.
  std::set<std::string> extracted;
  // The tops of the roots, as they are listed.
  std::vector<std::string> extractedApps;
  std::vector<std::string> extractedManifests;

  FileCalls calls;  // so that nothing waits for the disk
};

// The files of the sound application.
std::set<std::string> goodTree();

}  // namespace wzapp_test

#endif  // WZAPP_TESTS_INSTALLER_BAD_INPUT_FIXTURE_H
