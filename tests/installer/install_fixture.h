// What the tests of whole installation runs share: a terminal that trusts the authorities of
// crypto/authority_fixtures.h, signers below them, and the lines that a run reports.
#ifndef WZAPP_TESTS_INSTALLER_INSTALL_FIXTURE_H
#define WZAPP_TESTS_INSTALLER_INSTALL_FIXTURE_H

#include <gtest/gtest.h>

#include <functional>
#include <initializer_list>
#include <string>

#include "tests/builders/package_builder.h"
#include "tests/builders/zip_builder.h"
#include "tests/installer/rules_fixture.h"

namespace wzapp_test {

inline const std::string kSource = "/mnt/flash/system/wz";
inline const std::string kTemporary = kSource + "/installer.tmp";

// Signers of both kinds, and one whom no authority knows. The first is issued by the authority for
// applications, the second by that for manifests.
const Signer& applicationSigner();
const Signer& manifestSigner();
const Signer& strangeSigner();

// A signer below an authority that lets the permissions decide.
Signer signerWithPermissions(const std::vector<std::string_view>& permissions);

// Octets that do not pack, the same for the same size: more than any buffer between a file and who
// reads it.
std::string noise(std::size_t size = std::size_t{1} << 20);

// An application's archive and that of its marketplace manifest.
ZipBuilder applicationArchive(const std::string& id);
ZipBuilder manifestArchive(const std::string& id, const std::string& sponsor = kOwnSponsor);

// A whole package file: both archives, "<ID>.ZIP" and "<ID>-O.ZIP", signed, with "a.crt" and
// "m.crt" of their signers.
PackageBuilder applicationPackage(const std::string& id);
PackageBuilder withSigners();  // the certificates only

// A sequence of lines and of sequences of lines.
struct LogPart {
  LogPart(std::string line) : lines{std::move(line)} {}
  LogPart(const char* line) : lines{line} {}
  LogPart(Lines several) : lines(std::move(several)) {}
  Lines lines;
};
Lines logOf(std::initializer_list<LogPart> parts);

// What runs report.
Lines beginLines();                             // of every run
Lines openLines(const std::string& name);       // of a package file that can be opened
Lines signerLines();                            // of withSigners()
Lines foundLines(const std::string& name);      // of an inner package up to its check
Lines extractedLines(const std::string& name);  // of one that is extracted without an error
Lines packageLines(const std::string& id);      // of applicationPackage(), from its file on
Lines rulesLines();                             // of a run after which no application is there
Lines rulesLines(const std::string& id);        // of one after which this one stays
Lines endLines(std::initializer_list<std::string> ids, const std::string& word);

class InstallTest : public testing::Test {
 protected:
  InstallTest();
  ~InstallTest() override;

  void drop(const std::string& name, const std::string& content) {
    terminal.writeFile(kSource + "/" + name, content);
  }
  void drop(const std::string& name, const PackageBuilder& package) { drop(name, package.build()); }

  // One run; its lines replace those of the one before. `atLine` is called on each line once it is
  // among them.
  int install();
  std::function<void(const std::string& line)> atLine;

  [[nodiscard]] std::set<std::string> tree() const { return treeOf(kConfig); }
  [[nodiscard]] std::string read(const std::string& path) const { return terminal.readFile(path); }
  [[nodiscard]] std::set<std::string> dropped() const { return treeOf(kSource); }

  TestTerminal terminal;
  Lines lines;

 private:
  static void takeLine(void* user, const char* format, ...);
};

}  // namespace wzapp_test

#endif  // WZAPP_TESTS_INSTALLER_INSTALL_FIXTURE_H
