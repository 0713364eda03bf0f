// Names that are long, that lead elsewhere, that a log might take for a format or a terminal for a
// command; of entries of package files and of the files in inner packages.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <string>

#include "tests/installer/bad_input_fixture.h"
#include "wzapp/wzapp.h"

namespace wzapp {
namespace {

namespace fs = std::filesystem;

using namespace std::string_literals;
using namespace wzapp_test;

const std::string kOutside = "/mnt/flash/outside";

// As a reader of archives knows it.
std::string shown(std::string name) {
  name = name.substr(0, name.find('\0'));
  std::replace(name.begin(), name.end(), '\\', '/');
  return name;
}

std::string upper(std::string text) {
  for (char& c : text) {
    if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
  }
  return text;
}

std::vector<std::string> oddNames() {
  return {"%n%s%d%x",
          "%",
          "%99999999s",
          "a\nError: forged",
          "\x1B[2J\x1B[31m",
          "\x1B]0;title\x07",
          "\r\b\x7F\x01",
          "\xFF\xFE\x80",
          "\xC3\xA4\xC3\xB6",
          "..\\..\\x",
          "../../x",
          "/etc/x",
          "\\\\host\\x",
          "C:/x",
          "C:\\x",
          "a/b/../../../x",
          "./x",
          " ",
          "'quoted'",
          "\"",
          "$(reboot)",
          "`reboot`;",
          "-rf",
          std::string(250, 'n')};
}

class BadNamesTest : public BadInputTest {
 protected:
  BadNamesTest() { terminal.writeFile(kOutside + "/file", "kept"); }

  void expectOutsideUntouched() const {
    EXPECT_EQ(treeOf(kOutside), std::set<std::string>{"file"});
    EXPECT_EQ(read(kOutside + "/file"), "kept");
    EXPECT_FALSE(fs::exists("/etc/x"));
  }
};

// --- Entries of package files -----------------------------------------------------------------

TEST_F(BadNamesTest, OfPackagesThatAreInstalled) {
  std::vector<BadPackage> packages;
  for (const std::string& name : oddNames()) {
    const std::string package = shown(name) + ".ZIP";
    packages.push_back(
        {PackageBuilder()
             .certificate(name + ".crt", applicationSigner())
             .inner(name + ".ZIP", applicationArchive(kGood))
             .signedBy(applicationSigner())
             .build(),
         logOf({"Adding certificate " + shown(name) + ".crt\n", extractedLines(package)})});
  }

  expectRun(packages, kInstallOk);
  expectOutsideUntouched();
}

// Every message about an entry of a package file.
TEST_F(BadNamesTest, InEveryErrorOfAPackageFile) {
  const std::string archive = applicationArchive(kGood).build();
  std::vector<BadPackage> packages;
  for (const std::string& odd : oddNames()) {
    const std::string name = shown(odd);
    const auto certificate = [&name](int number) { return name + std::to_string(number) + ".crt"; };
    const auto inner = [&name](int number) { return name + std::to_string(number) + ".ZIP"; };
    const auto signature = [&name](int number) { return name + std::to_string(number) + ".P7S"; };
    const std::string content = withSigners()
                                    .file(odd + "1.crt", "")
                                    .file(odd + "2.crt", "no certificate")
                                    .certificate(odd + "3.crt", strangeSigner())
                                    .inner(odd + "1.ZIP", archive)
                                    .inner(odd + "2.ZIP", archive)
                                    .file(odd + "2.P7S", "")
                                    .inner(odd + "3.ZIP", archive)
                                    .file(odd + "3.P7S", "no signature")
                                    .inner(odd + "4.ZIP", archive)
                                    .signedBy(manifestSigner())
                                    .inner(odd + "5.ZIP", "other")
                                    .file(odd + "5.P7S", signatureOf(archive, applicationSigner()))
                                    .inner(odd + "6.ZIP", "no archive")
                                    .signedBy(applicationSigner())
                                    .inner(odd + "7-O.ZIP", archive)
                                    .signedBy(applicationSigner())
                                    .build();
    const Lines ofThese = {
        notExtracted(certificate(1)), "Adding certificate " + certificate(2) + "\n",
        "Warning: Failed reading certificate '" + certificate(2) + "': Error -3\n",
        "Adding certificate " + certificate(3) + "\n",
        "Warning: Failed adding certificate '" + certificate(3) + "': CA not found\n"};
    // In the order of the index.
    Lines expected;
    if (certificate(1) < "a.crt") append(expected, ofThese);
    expected.push_back("Adding certificate a.crt\n");
    if (certificate(1) > "a.crt" && certificate(1) < "m.crt") append(expected, ofThese);
    expected.push_back("Adding certificate m.crt\n");
    if (certificate(1) > "m.crt") append(expected, ofThese);
    append(
        expected,
        logOf(
            {"Found " + inner(1) + "\n",
             "Error: Signature '" + upper(signature(1)) + "' not found\n",
             "Found " + inner(2) + "\n", notExtracted(signature(2)), "Found " + inner(3) + "\n",
             "Error: Signature '" + signature(3) + "' using unknown certificate\n",
             "Found " + inner(4) + "\n",
             "Error: File '" + upper(inner(4)) + "' not signed using application certificate\n",
             foundLines(inner(5)), "Error: Invalid signature\n", extractedLines(inner(6)),
             unreadable(inner(6)), "Found " + name + "7-O.ZIP\n",
             "Error: File '" + upper(name) + "7-O.ZIP' not signed using manifest certificate\n"}));
    if (odd.size() < 250) packages.push_back({content, expected});
  }

  expectRun(packages);
  expectOutsideUntouched();
}

void addFormat(void* user, const char* format, ...) {
  static_cast<Lines*>(user)->emplace_back(format);
}

// The log is handed formats of the installer's own only.
TEST_F(BadNamesTest, AreNeverAFormat) {
  const std::string odd = "odd%s%n";
  drop(odd + ".zip", "no archive");
  drop("x.zip", PackageBuilder()
                    .certificate(odd + "a.crt", applicationSigner())
                    .certificate(odd + "m.crt", manifestSigner())
                    .certificate(odd + "x.crt", strangeSigner())
                    .file(odd + "y.crt", "")
                    .inner(odd + "1.ZIP", ZipBuilder()
                                              .file(odd + "/file", "")
                                              .file("/" + odd, "")
                                              .file(odd + ".mft", manifestFor(odd)))
                    .signedBy(applicationSigner())
                    .inner(odd + "2.ZIP", "no archive")
                    .signedBy(applicationSigner())
                    .inner(odd + "3.ZIP", "")
                    .inner(odd + "4.ZIP", "x")
                    .signedBy(manifestSigner())
                    .inner(odd + "5-O.ZIP", "x")
                    .signedBy(applicationSigner())
                    .inner(odd + "6-O.ZIP", ZipBuilder()
                                                .file(odd + "/mpmanifest.mft", manifestFor(odd))
                                                .file("b/mpmanifest.mft", manifestFor(odd, odd))
                                                .file(odd + "c/mpmanifest.mft", "{}"))
                    .signedBy(manifestSigner()));
  Lines formats;

  EXPECT_EQ(wzInstall(addFormat, &formats), kInstallError);

  EXPECT_GT(formats.size(), 40U);
  EXPECT_THAT(formats, testing::Each(testing::Not(testing::HasSubstr("odd"))));
}

// As a certificate, an inner package, its signature, and what means nothing.
TEST_F(BadNamesTest, ThatAreTooLongMakeAPackageFileUnreadable) {
  std::vector<BadPackage> packages;
  for (const std::size_t length : {256U, 257U, 4096U, 65535U}) {
    for (const std::string ending : {".crt", ".ZIP", ".P7S", ""}) {
      const std::string name = std::string(length - ending.size(), 'n') + ending;
      packages.push_back(unreadablePackage(goodPackageArchive().file(name, "").build()));
    }
    packages.push_back(unreadablePackage(
        goodPackageArchive().file("a\0"s + std::string(length - 2, 'n'), "").build()));
  }
  packages.push_back({goodPackageArchive().file(std::string(255, 'n'), "").build(), goodLines()});

  expectRun(packages);
}

TEST_F(BadNamesTest, ThatAreTooLongMakeAnInnerPackageUnreadable) {
  PackageBuilder package = withSigners();
  Lines expected = signerLines();
  char letter = 'A';
  for (const std::size_t length : {255U, 256U, 4096U, 65535U}) {
    const std::string inner = std::string(1, letter++) + ".ZIP";
    package.inner(inner, applicationArchive(kGood).file("good/" + std::string(length - 5, 'n'), ""))
        .signedBy(applicationSigner());
    append(expected, extractedLines(inner));
    if (length > 255) expected.push_back(unreadable(inner));
  }

  expectRun({{package.build(), expected}});
}

// What is behind a NUL does not count, neither for what an entry is nor for where it goes.
TEST_F(BadNamesTest, EndAtTheFirstNul) {
  const std::string archive =
      ZipBuilder().file("x/a\0/../../b"s, "").file("x\0y"s, "").file("\0z"s, "").build();
  const BadPackage package = {PackageBuilder()
                                  .certificate("a.crt\0.txt"s, applicationSigner())
                                  .certificate("m\0.crt"s, strangeSigner())
                                  .inner("x.ZIP\0.txt"s, archive)
                                  .file("x.P7S\0"s, signatureOf(archive, applicationSigner()))
                                  .inner("y\0.ZIP"s, archive)
                                  .build(),
                              logOf({"Adding certificate a.crt\n", extractedLines("x.ZIP"),
                                     notWritten("", kApps), notWritten("x/a", kApps + "/x/a")})};

  expectRun({package});

  EXPECT_THAT(extractedApps, testing::UnorderedElementsAre("x", "good", "good.MFT"));
}

// --- Names more than once ---------------------------------------------------------------------

TEST_F(BadNamesTest, MoreThanOnceInAPackageFileCountOnce) {
  const std::string good = applicationArchive(kGood).build();
  const std::string evil = applicationArchive("evil").build();
  const std::string signature = signatureOf(good, applicationSigner());
  const auto package = [&](const std::string& first, const std::string& second) {
    return withSigners()
        .inner("in\\X.ZIP", first)
        .file("in/X.P7S", signature)
        .inner("in/X.ZIP", second)
        .certificate("a.crt", strangeSigner())
        .certificate("a.crt", applicationSigner())
        .build();
  };

  expectRun({{package(evil, good), logOf({signerLines(), extractedLines("in/X.ZIP")})},
             {package(good, evil),
              logOf({signerLines(), foundLines("in/X.ZIP"), "Error: Invalid signature\n"})}});
}

// Packages of their own, which share one signature: the first of those with its name.
TEST_F(BadNamesTest, OfAnotherCaseAreOtherPackages) {
  const std::string good = applicationArchive(kGood).build();
  const std::string evil = applicationArchive("evil").build();
  const BadPackage package = {
      withSigners()
          .certificate("A.CRT", strangeSigner())
          .certificate("A.crt", applicationSigner())
          .inner("X.ZIP", good)
          .inner("X.zip", evil)
          .inner("x.zip", good)
          .file("X.P7S", signatureOf(good, applicationSigner()))
          .file("x.p7s", signatureOf(evil, applicationSigner()))
          .build(),
      logOf({"Adding certificate A.CRT\n",
             "Warning: Failed adding certificate 'A.CRT': CA not found\n",
             "Adding certificate A.crt\n", signerLines(), extractedLines("X.ZIP"),
             foundLines("X.zip"), "Error: Invalid signature\n", extractedLines("x.zip")})};

  expectRun({package});
}

// --- Files of inner packages ------------------------------------------------------------------

struct FileName {
  std::string name;
  std::string place;  // below the root; nothing: it is refused
  std::string destination;
};

std::vector<FileName> fileNames(const std::string& root) {
  std::vector<FileName> names = {
      {"../../climbing", "_/_/climbing", ""},
      {"..\\..\\climbing2", "_/_/climbing2", ""},
      {"x/../../climbing", "x/_/_/climbing", ""},
      {"x\\back\\slash", "x/back/slash", ""},
      {"x/a\nError: forged\n", "x/a\nError: forged\n", ""},
      {"x/\x1B[2J", "x/\x1B[2J", ""},
      {"x/%n%s", "x/%n%s", ""},
      {"x/\xFF\xFE", "x/\xFF\xFE", ""},
      {"x/...", "x/...", ""},
      {"x/ ", "x/ ", ""},
      {"x/C:", "x/C:", ""},
      {"x/~", "x/~", ""},
      {"x/-rf *", "x/-rf *", ""},
      {"x/" + std::string(253, 'n'), "x/" + std::string(253, 'n'), ""},
      {root + "/inside", "inside", ""},
      {"/mnt/flash/outside/file", "", "/mnt/flash/outside/file"},
      {"\\mnt\\flash\\outside\\new", "", "/mnt/flash/outside/new"},
      {"/etc/x", "", "/etc/x"},
      {"C:/x", "", "C:/x"},
      {"C:\\y", "", "C:/y"},
      {root + "x/file", "", root + "x/file"},
      {kSource + "/next.zip", "", kSource + "/next.zip"},
      {kTemporary, "", kTemporary},
      {kData + "/x", "", kData + "/x"},
      {"/", "", ""},  // a directory
      {".", "", root},
      {"./.", "", root},
      {"x/y/", "", ""},
      {"/proc/self/fd/1", "", "/proc/self/fd/1"},
      {"/dev/null", "", "/dev/null"},
  };
  std::string deep = "d";
  while (deep.size() + 2 <= 255) deep += "/d";
  names.push_back({deep, deep, ""});
  return names;
}

// Adds the files to `archive` and returns what is reported of them.
Lines addFiles(const std::vector<FileName>& names, const std::string& root, ZipBuilder& archive) {
  std::map<std::string, std::string> errors;  // in the order of the index
  for (const FileName& row : names) {
    archive.file(row.name, "content");
    const std::string name = shown(row.name);
    if (row.place.empty() && !name.ends_with('/')) {
      errors[name] = notWritten(name, row.destination.empty() ? root : row.destination);
    }
  }
  Lines lines;
  for (const auto& [name, line] : errors) lines.push_back(line);
  return lines;
}

void expectFiles(const std::vector<FileName>& names, const std::string& folder,
                 const std::set<std::string>& tree) {
  for (const FileName& row : names) {
    if (!row.place.empty()) {
      EXPECT_TRUE(tree.contains(folder + "/" + row.place)) << row.name;
    }
  }
}

TEST_F(BadNamesTest, OfFilesOfAnApplicationStayBelowItsRoot) {
  const std::vector<FileName> names = fileNames(kApps);
  ZipBuilder archive;
  const Lines errors = addFiles(names, kApps, archive);
  const BadPackage package = {
      withSigners().inner("X.ZIP", archive).signedBy(applicationSigner()).build(),
      logOf({signerLines(), extractedLines("X.ZIP"), errors})};

  expectRun({package});

  expectFiles(names, "wz", extracted);
  expectOutsideUntouched();
}

TEST_F(BadNamesTest, OfFilesOfAManifestPackageStayBelowItsRoot) {
  const std::vector<FileName> names = fileNames(kManifests);
  ZipBuilder archive;
  const Lines errors = addFiles(names, kManifests, archive);
  const BadPackage package = {
      withSigners().inner("X-O.ZIP", archive).signedBy(manifestSigner()).build(),
      logOf({signerLines(), extractedLines("X-O.ZIP"), errors})};

  expectRun({package});

  expectFiles(names, "mp", extracted);
  expectOutsideUntouched();
}

// What comes first in the order of the names stays.
TEST_F(BadNamesTest, OfFilesAndFoldersAtOnce) {
  const auto file = [](const std::string& name) { return notWritten(name, kApps + "/" + name); };
  const BadPackage package = {
      withSigners()
          .inner("X.ZIP", ZipBuilder()
                              .file("x/y/z", "behind a file")
                              .file("x/y", "a file")
                              .file("x/y.", "another")
                              .directory("x/q")
                              .file("x/q", "a file that is a folder, too")
                              .file("x/q/r", "behind it")
                              .file("w/v", "behind a file")
                              .file("w", "a file"))
          .signedBy(applicationSigner())
          .build(),
      logOf({signerLines(), extractedLines("X.ZIP"), file("w/v"), file("x/q/r"), file("x/y/z")})};

  expectRun({package});

  for (const char* name : {"wz/w", "wz/x/", "wz/x/q", "wz/x/y", "wz/x/y."}) {
    EXPECT_TRUE(extracted.contains(name)) << name;
  }
}

// Of names that mean the same file, the last one in the order of the names counts.
TEST_F(BadNamesTest, OfTheSameFile) {
  terminal.writeFile(kManifests + "/x/mpmanifest.mft", manifestFor("x"));
  drop("x.zip", withSigners()
                    .inner("X.ZIP", ZipBuilder()
                                        .file("x/y", "last")
                                        .file("x//y", "third")
                                        .file("x/./y", "second")
                                        .file("./x/y", "first")
                                        .file("x/z", "before")
                                        .file("x\\z", "after")
                                        .file("x/v", "before")
                                        .file("x/v", "after")
                                        .file("X/y", "of another"))
                    .signedBy(applicationSigner()));

  EXPECT_EQ(install(), kInstallOk);

  EXPECT_EQ(read(kApps + "/x/y"), "last");
  EXPECT_EQ(read(kApps + "/x/z"), "after");
  EXPECT_EQ(read(kApps + "/x/v"), "after");
  EXPECT_EQ(read(kApps + "/X/y"), "of another");
  expectLog(
      logOf({beginLines(), openLines("x.zip"), signerLines(), extractedLines("X.ZIP"),
             "postinstall\n", "Checking x\n", "Checking dependencies\n", endLines({"x"}, "OK")}));
}

// --- Ids --------------------------------------------------------------------------------------

std::string escaped(const std::string& text) {
  std::string json;
  for (const char c : text) {
    if (c == '"' || c == '\\') json += '\\';
    if (static_cast<unsigned char>(c) < ' ') {
      const char* const digits = "0123456789ABCDEF";
      json += std::string("\\u00") + digits[c >> 4] + digits[c & 15];
    } else {
      json += c;
    }
  }
  return json;
}

// An id is a name in the log, and leads nowhere.
TEST_F(BadNamesTest, OfApplicationsInTheirManifests) {
  for (const std::string& id : {"%n%s"s, "a\nError: forged"s, "\x1B[2J"s, "\x7F"s,
                                std::string(300, 'i'), std::string(1 << 19, 'i')}) {
    SCOPED_TRACE(id.substr(0, 20));
    drop("x.zip",
         withSigners()
             .inner("X-O.ZIP", ZipBuilder().file("x/mpmanifest.mft", manifestFor(escaped(id))))
             .signedBy(manifestSigner()));

    EXPECT_EQ(install(), kInstallError);

    // At most so much of a line is kept.
    const std::string failed = ("Error: Installation of " + id + " failed\n").substr(0, 4095);
    expectLog(logOf({beginLines(), openLines("x.zip"), signerLines(), extractedLines("X-O.ZIP"),
                     "postinstall\n", "Checking x\n", "Mismatching directory name x\n",
                     "Removing " + kManifests + "/x\n", "Checking dependencies\n", failed,
                     endLines({}, "ERROR")}));
    expectOutsideUntouched();
  }
}

// What cannot be the name of a folder is no id.
TEST_F(BadNamesTest, OfApplicationsThatCannotBeFolders) {
  for (const std::string& id :
       {"../x"s, "../../../outside"s, "/mnt/flash/outside"s, "C:\\x"s, "."s, ".."s, "x/"s}) {
    SCOPED_TRACE(id);
    drop("x.zip",
         withSigners()
             .inner("X-O.ZIP", ZipBuilder().file("x/mpmanifest.mft", manifestFor(escaped(id))))
             .signedBy(manifestSigner()));

    EXPECT_EQ(install(), kInstallError);

    expectLog(logOf({beginLines(), openLines("x.zip"), signerLines(), extractedLines("X-O.ZIP"),
                     "postinstall\n", "Checking x\n",
                     "Error: app id missing in " + kManifests + "/x/mpmanifest.mft\n",
                     "Removing " + kManifests + "/x\n", "Checking dependencies\n",
                     endLines({}, "ERROR")}));
    expectOutsideUntouched();
  }
}

}  // namespace
}  // namespace wzapp
