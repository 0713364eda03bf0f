// Package files with very many entries: the work of a run grows with their number, not faster. It
// is counted: what a run takes in time is for the machine to say.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <functional>
#include <ostream>
#include <string>

#include "tests/builders/counted_steps.h"
#include "tests/installer/bad_input_fixture.h"

namespace wzapp {
namespace {

using namespace wzapp_test;

constexpr double kSlack = 2;  // for trees, whose depth grows with the number

// A run over one package file with `count` of something.
struct ManyCase {
  const char* label;
  BadPackage (*make)(int count);
  InstallResult result;
  int few;
  int many;
  int most;  // instead of many, where everything is tried
};

void PrintTo(const ManyCase& row, std::ostream* out) { *out << row.label; }

// Of equal length, so that their order is that of the numbers.
std::string numbered(int number) { return std::to_string(1000000 + number); }

ZipEntry storedEntry(std::string name, std::string content) {
  ZipEntry entry;
  entry.name = std::move(name);
  entry.content = std::move(content);
  entry.isDeflated = false;
  return entry;
}

BadPackage packagesWithoutSignatures(int count) {
  PackageBuilder package = withSigners();
  Lines expected = signerLines();
  for (int i = 0; i < count; ++i) {
    package.entry(storedEntry(numbered(i) + ".ZIP", ""));
    append(expected, {"Found " + numbered(i) + ".ZIP\n",
                      "Error: Signature '" + numbered(i) + ".P7S' not found\n"});
  }
  return {package.build(), expected};
}

// Verified, each of them, and refused.
BadPackage packagesWithWrongSignatures(int count) {
  const std::string signature = signatureOf("another", applicationSigner());
  PackageBuilder package = withSigners();
  Lines expected = signerLines();
  for (int i = 0; i < count; ++i) {
    package.entry(storedEntry(numbered(i) + ".ZIP", "x"))
        .entry(storedEntry(numbered(i) + ".P7S", signature));
    append(expected, foundLines(numbered(i) + ".ZIP"));
    expected.emplace_back("Error: Invalid signature\n");
  }
  return {package.build(), expected};
}

BadPackage packagesThatAreInstalled(int count) {
  const std::string archive = applicationArchive(kGood).build();
  const std::string signature = signatureOf(archive, applicationSigner());
  PackageBuilder package = withSigners();
  Lines expected = signerLines();
  for (int i = 0; i < count; ++i) {
    package.entry(storedEntry(numbered(i) + ".ZIP", archive))
        .entry(storedEntry(numbered(i) + ".P7S", signature));
    append(expected, extractedLines(numbered(i) + ".ZIP"));
  }
  return {package.build(), expected};
}

BadPackage certificates(int count) {
  const std::string certificate = certificateOf(applicationSigner());
  PackageBuilder package;
  Lines expected;
  for (int i = 0; i < count; ++i) {
    package.entry(storedEntry(numbered(i) + ".crt", certificate));
    expected.push_back("Adding certificate " + numbered(i) + ".crt\n");
  }
  return {package.build(), expected};
}

BadPackage certificatesOfNobody(int count) {
  const std::string certificate = certificateOf(strangeSigner());
  PackageBuilder package;
  Lines expected;
  for (int i = 0; i < count; ++i) {
    const std::string name = numbered(i) + ".crt";
    package.entry(storedEntry(name, certificate));
    append(expected, {"Adding certificate " + name + "\n",
                      "Warning: Failed adding certificate '" + name + "': CA not found\n"});
  }
  return {package.build(), expected};
}

// Which nobody asks for.
BadPackage signatures(int count) {
  const std::string signature = signatureOf("another", applicationSigner());
  PackageBuilder package;
  for (int i = 0; i < count; ++i) package.entry(storedEntry(numbered(i) + ".P7S", signature));
  return {package.build(), {}};
}

BadPackage otherEntries(int count) {
  PackageBuilder package;
  for (int i = 0; i < count; ++i) package.entry(storedEntry(numbered(i) + ".txt", ""));
  return {package.build(), {}};
}

// All of them refused, in one inner package.
BadPackage filesOutside(int count) {
  ZipBuilder archive;
  Lines expected = logOf({signerLines(), extractedLines("X.ZIP")});
  for (int i = 0; i < count; ++i) {
    const std::string name = "/etc/" + numbered(i);
    archive.stored(name, "");
    expected.push_back(notWritten(name, name));
  }
  return {withSigners().inner("X.ZIP", archive).signedBy(applicationSigner()).build(), expected};
}

// Folders that are removed by the rules.
BadPackage folders(int count) {
  ZipBuilder archive;
  for (int i = 0; i < count; ++i) archive.stored(numbered(i) + "/x", "");
  return {withSigners().inner("X.ZIP", archive).signedBy(applicationSigner()).build(),
          logOf({signerLines(), extractedLines("X.ZIP")})};
}

class InstallManyTest : public BadInputTest, public testing::WithParamInterface<ManyCase> {
 protected:
  // The steps of one run.
  std::uint64_t costOf(int count) {
    const BadPackage package = GetParam().make(count);
    const std::vector<std::string> order = dropInOrder({package});
    const std::uint64_t start = stepsTaken();
    const int result = install();
    const std::uint64_t cost = stepsTaken() - start;

    EXPECT_EQ(result, GetParam().result);
    const char* const words[] = {"OK", "NO PACKAGE", "ERROR", "WARNING"};
    expectLog(logOf({beginLines(), packagesLines(order, {package}), goodRulesLines(),
                     endLines({kGood}, words[GetParam().result])}));
    EXPECT_EQ(tree(), goodTree());
    EXPECT_THAT(dropped(), testing::IsEmpty());
    return cost;
  }
};

// `cost` of `few` and of `many`, without that of a run with one.
void expectLinear(int few, int many, const std::function<std::uint64_t(int count)>& cost) {
  static_cast<void>(cost(1));  // what is made once a process
  const auto costOfOne = static_cast<double>(cost(1));
  const double costOfFew = static_cast<double>(cost(few)) - costOfOne;

  const double costOfMany = static_cast<double>(cost(many)) - costOfOne;

  EXPECT_GT(costOfFew, few);  // they are counted
  EXPECT_LT(costOfMany, costOfFew * many / few * kSlack)
      << many << ": " << costOfMany << " steps, " << few << ": " << costOfFew << " steps";
}

TEST_P(InstallManyTest, CostAsMuchAsTheyAre) {
  const int many = triesEverything() ? GetParam().most : GetParam().many;
  expectLinear(GetParam().few, many, [this](int count) { return costOf(count); });
}

INSTANTIATE_TEST_SUITE_P(
    Entries, InstallManyTest,
    testing::Values(
        ManyCase{"PackagesWithoutSignatures", packagesWithoutSignatures, kInstallError, 1000, 10000,
                 60000},
        ManyCase{"PackagesWithWrongSignatures", packagesWithWrongSignatures, kInstallError, 100,
                 1000, 10000},
        ManyCase{"PackagesThatAreInstalled", packagesThatAreInstalled, kInstallOk, 30, 300, 10000},
        ManyCase{"Certificates", certificates, kInstallOk, 100, 1000, 10000},
        ManyCase{"CertificatesOfNobody", certificatesOfNobody, kInstallWarning, 1000, 10000, 60000},
        ManyCase{"Signatures", signatures, kInstallOk, 1000, 10000, 60000},
        ManyCase{"OtherEntries", otherEntries, kInstallOk, 1000, 10000, 60000},
        ManyCase{"FilesOutside", filesOutside, kInstallError, 1000, 10000, 60000},
        ManyCase{"Folders", folders, kInstallOk, 100, 1000, 10000}),
    [](const auto& test) { return test.param.label; });

// Applications that all stay, each with both its manifests.
class ManyApplicationsTest : public BadInputTest {
 protected:
  std::uint64_t costOf(int count) {
    ZipBuilder applications;
    ZipBuilder manifests;
    for (int i = 0; i < count; ++i) {
      applications.stored(numbered(i) + ".MFT", manifestFor(numbered(i)));
      manifests.stored(numbered(i) + "/mpmanifest.mft", manifestFor(numbered(i)));
    }
    const BadPackage package = {
        withSigners()
            .inner("X-O.ZIP", manifests)
            .signedBy(manifestSigner())
            .inner("X.ZIP", applications)
            .signedBy(applicationSigner())
            .build(),
        logOf({signerLines(), extractedLines("X-O.ZIP"), extractedLines("X.ZIP")})};
    std::filesystem::remove_all(kConfig);
    const std::vector<std::string> order = dropInOrder({package});
    const std::uint64_t start = stepsTaken();
    const int result = install();
    const std::uint64_t cost = stepsTaken() - start;

    EXPECT_EQ(result, kInstallOk);
    expectLog(logOf(
        {beginLines(), packagesLines(order, {package}), rulesOfAll(), "Overall result: OK\n"}));
    EXPECT_EQ(listed(kManifests).size(), static_cast<std::size_t>(count) + 1);
    return cost;
  }

 private:
  static Lines rulesOfAll() {
    Lines rules = {"postinstall\n"};
    Lines ids = {"List of installed applications:\n"};
    for (const std::string& id : listed(kManifests)) {
      rules.push_back("Checking " + id + "\n");
      ids.push_back(id + "\n");
    }
    Lines readings = {"Checking dependencies\n"};
    Lines checks;
    for (const std::string& name : listed(kApps)) {
      if (!name.ends_with(".MFT")) continue;
      readings.push_back("Reading " + kApps + "/" + name + "\n");
      checks.push_back("Checking " + kApps + "/" + name + "\n");
    }
    return logOf({rules, readings, checks, ids});
  }
};

TEST_F(ManyApplicationsTest, CostAsMuchAsTheyAre) {
  expectLinear(100, triesEverything() ? 10000 : 1000, [this](int count) { return costOf(count); });
}

}  // namespace
}  // namespace wzapp
