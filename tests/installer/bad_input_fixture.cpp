#include "tests/installer/bad_input_fixture.h"
#include "tests/builders/upper_case.h"

#include <unistd.h>

#include <algorithm>
#include <cstdlib>

namespace wzapp_test {
namespace {

constexpr unsigned kSeconds = 100;       // for one test
constexpr unsigned kLongSeconds = 1200;  // where everything is tried

std::vector<ZipEntry> goodEntries() {
  const auto entry = [](std::string name, std::string content) {
    ZipEntry made;
    made.name = std::move(name);
    made.content = std::move(content);
    return made;
  };
  const std::string application = applicationArchive(kGood).build();
  const std::string manifest = manifestArchive(kGood).build();
  return {entry("a.crt", certificateOf(applicationSigner())),
          entry("m.crt", certificateOf(manifestSigner())),
          entry("GOOD.ZIP", application),
          entry("GOOD.P7S", signatureOf(application, applicationSigner())),
          entry("GOOD-O.ZIP", manifest),
          entry("GOOD-O.P7S", signatureOf(manifest, manifestSigner()))};
}

bool isOfGood(const std::string& name) { return name == kGood || upper(name) == "GOOD.MFT"; }

}  // namespace

BadPackage unreadablePackage(std::string content) { return {std::move(content), {}, false}; }

std::string unreadable(const std::string& name) { return "Error: Failed reading '" + name + "'\n"; }

std::string notExtracted(const std::string& entry) {
  return "Error: Failed to extract '" + entry + "'\n";
}

std::string notWritten(const std::string& entry, const std::string& destination) {
  return "Error: Failed to extract '" + entry + "' -> '" + destination + "'\n";
}

Lines goodLines() {
  return logOf({signerLines(), extractedLines("GOOD-O.ZIP"), extractedLines("GOOD.ZIP")});
}

ZipBuilder goodPackageArchive() {
  static const std::vector<ZipEntry> entries = goodEntries();
  ZipBuilder archive;
  for (const ZipEntry& entry : entries) archive.entry(entry);
  return archive;
}

ZipBuilder goodPackageArchiveWith(const ZipEntry& entry) {
  static const std::vector<ZipEntry> entries = goodEntries();
  ZipBuilder archive;
  for (const ZipEntry& good : entries) archive.entry(good.name == entry.name ? entry : good);
  return archive;
}

std::string certificateOf(const Signer& signer) {
  return std::string(signer.certificate.begin(), signer.certificate.end());
}

void append(Lines& lines, const Lines& more) {
  lines.insert(lines.end(), more.begin(), more.end());
}

bool triesEverything() { return std::getenv("WZAPP_EVERY_POINT") != nullptr; }

std::set<std::string> goodTree() {
  return {"mp/",
          "mp/good/",
          "mp/good/mpmanifest.mft",
          "wz/",
          "wz/good.MFT",
          "wz/good/",
          "wz/good/index.html",
          "wz/good/pages/",
          "wz/good/pages/second.html"};
}

BadInputTest::BadInputTest() {
  alarm(triesEverything() ? kLongSeconds : kSeconds);
  atLine = [this](const std::string& line) {
    if (line != "postinstall\n") return;
    extracted = tree();
    extractedApps = listed(kApps);
    extractedManifests = listed(kManifests);
  };
}

BadInputTest::~BadInputTest() { alarm(0); }

std::vector<std::string> BadInputTest::dropInOrder(const std::vector<BadPackage>& packages) {
  for (std::size_t i = 0; i <= packages.size(); ++i) drop("p" + std::to_string(i) + ".zip", "");
  std::vector<std::string> order = listed(kSource);
  for (std::size_t i = 0; i < packages.size(); ++i) drop(order[i], packages[i].content);
  drop(order.back(), applicationPackage(kGood));
  return order;
}

Lines BadInputTest::packagesLines(const std::vector<std::string>& order,
                                  const std::vector<BadPackage>& packages) {
  Lines expected;
  for (std::size_t i = 0; i < packages.size(); ++i) {
    const std::string path = kSource + "/" + order[i];
    if (packages[i].isReadable) {
      append(expected, openLines(order[i]));
      append(expected, packages[i].lines);
    } else {
      append(expected, {"Install " + path + "\n", unreadable(path)});
    }
  }
  append(expected, openLines(order.back()));
  append(expected, goodLines());
  return expected;
}

Lines BadInputTest::goodRulesLines() const {
  Lines expected = {"postinstall\n"};
  for (const std::string& name : extractedManifests) {
    expected.push_back("Checking " + name + "\n");
    if (name == kGood) continue;
    expected.push_back("Warning: " + kManifests + "/" + name + "/mpmanifest.mft not found\n");
  }
  for (const std::string& name : extractedApps) {
    if (isOfGood(name)) continue;
    const std::string removing = "Removing " + kApps + "/" + name + "\n";
    if (name.size() > 4 && upper(name).ends_with(".MFT")) {
      expected.push_back(removing);
    } else {
      append(expected, {"Error: No valid marketplace manifest found for " + upper(name) + "\n",
                        removing, "Removing " + kData + "/" + name + "\n"});
    }
  }
  for (const std::string& name : extractedManifests) {
    if (name != kGood) expected.push_back("Removing " + kManifests + "/" + name + "\n");
  }
  append(expected, {"Checking dependencies\n", "Reading " + kApps + "/good.MFT\n",
                    "Checking " + kApps + "/good.MFT\n"});
  return expected;
}

void BadInputTest::expectLog(const Lines& expected) const {
  const auto [line, wanted] =
      std::mismatch(lines.begin(), lines.end(), expected.begin(), expected.end());
  if (line == lines.end() && wanted == expected.end()) return;
  ADD_FAILURE() << "line " << line - lines.begin() << " of " << lines.size() << ", expected "
                << expected.size() << "\n  is:     "
                << (line == lines.end() ? "(none)" : testing::PrintToString(*line))
                << "\n  wanted: "
                << (wanted == expected.end() ? "(none)" : testing::PrintToString(*wanted))
                << "\n  before: "
                << (line == lines.begin() ? "(none)" : testing::PrintToString(*(line - 1)));
}

void BadInputTest::expectRun(const std::vector<BadPackage>& packages, wzapp::InstallResult result) {
  const std::vector<std::string> order = dropInOrder(packages);
  const char* const words[] = {"OK", "NO PACKAGE", "ERROR", "WARNING"};

  EXPECT_EQ(install(), result);

  expectLog(logOf({beginLines(), packagesLines(order, packages), goodRulesLines(),
                   endLines({kGood}, words[result])}));
  EXPECT_EQ(tree(), goodTree());
  EXPECT_EQ(dropped(), std::set<std::string>());
}

}  // namespace wzapp_test
