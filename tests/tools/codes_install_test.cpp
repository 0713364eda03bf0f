// Real installation runs over packages that are wrong in one way each: the line that the library
// writes leads to exactly the code of that way.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "crypto/store/certificate_store.h"
#include "tests/crypto/authority_fixtures.h"
#include "tests/installer/file_calls.h"
#include "tests/installer/install_fixture.h"
#include "tools/wz/words/codes.h"
#include "tools/wz/words/explain.h"
#include "wzapp/wzapp.h"

namespace wzapp_test {
namespace {

using testing::Contains;

std::string octetsOf(const Octets& octets) { return {octets.begin(), octets.end()}; }

// A manifest with one more member.
std::string manifestWith(const std::string& member) {
  return R"({"application":{"id":"shop"},"sponsors":["123456"],)" + member + "}";
}

class CodesInstallTest : public InstallTest {
 protected:
  // The codes of the lines of one run.
  std::set<std::string> codesOfRun() {
    install();
    std::set<std::string> codes;
    for (const std::string& line : lines) {
      if (const wz::LogMatch match = wz::matchLogLine(line); match.code != nullptr) {
        codes.insert(match.code->id);
      }
    }
    return codes;
  }

  std::set<std::string> codesOf(const PackageBuilder& package) {
    drop("p.zip", package);
    return codesOfRun();
  }

  static PackageBuilder withManifest(const std::string& manifest) {
    return withSigners()
        .inner("SHOP.ZIP", ZipBuilder().file("shop/index.html", "<p>").file("shop.MFT", manifest))
        .signedBy(applicationSigner())
        .inner("SHOP-O.ZIP", manifestArchive("shop"))
        .signedBy(manifestSigner());
  }

  static PackageBuilder withMarketplace(const ZipBuilder& archive) {
    return withSigners()
        .inner("SHOP.ZIP", applicationArchive("shop"))
        .signedBy(applicationSigner())
        .inner("SHOP-O.ZIP", archive)
        .signedBy(manifestSigner());
  }

  static PackageBuilder withCertificate(const std::string& der) {
    return applicationPackage("shop").file("x.crt", der);
  }

  FileCalls calls;
};

TEST_F(CodesInstallTest, ASoundPackageHasNoCode) {
  EXPECT_EQ(codesOf(applicationPackage("shop")), std::set<std::string>());
}

TEST_F(CodesInstallTest, NoArchive) {
  drop("p.zip", "no archive");
  EXPECT_EQ(codesOfRun(), std::set<std::string>{"WZ-0101"});
}

struct PackageCase {
  const char* code;
  PackageBuilder (*make)();
};

class CodesPackageTest : public CodesInstallTest,
                         public testing::WithParamInterface<PackageCase> {};

TEST_P(CodesPackageTest, TheLogLeadsToTheCode) {
  EXPECT_THAT(codesOf(GetParam().make()), Contains(GetParam().code));
}

struct Packages : CodesInstallTest {
  void TestBody() override {}
  using CodesInstallTest::withCertificate;
  using CodesInstallTest::withManifest;
  using CodesInstallTest::withMarketplace;
};

ZipBuilder uninstallArchive(const std::string& sponsor) {
  return manifestArchive("shop").file("shop/appuninstall.mft", manifestFor("shop", sponsor));
}

INSTANTIATE_TEST_SUITE_P(
    Packages, CodesPackageTest,
    testing::Values(
        PackageCase{"WZ-0102", [] { return Packages::withCertificate(""); }},
        PackageCase{"WZ-0103",
                    [] {
                      return withSigners()
                          .inner("SHOP.ZIP", applicationArchive("shop").file("/etc/passwd", "x"))
                          .signedBy(applicationSigner());
                    }},
        PackageCase{"WZ-0202", [] { return Packages::withCertificate("no certificate"); }},
        PackageCase{"WZ-0203",
                    [] {
                      return Packages::withCertificate(octetsOf(signedBy(
                          authorityKey(), issuedCertificate(authorityId(kApplicationRow),
                                                            Octets(20, 0x55), "100009")
                                              .validity("490101000000Z", "000101000000Z"))));
                    }},
        PackageCase{
            "WZ-0204",
            [] { return Packages::withCertificate(octetsOf(strangeSigner().certificate)); }},
        PackageCase{"WZ-0205",
                    [] {
                      return Packages::withCertificate(octetsOf(
                          signedBy(strangerKey(), issuedCertificate(authorityId(kApplicationRow),
                                                                    Octets(20, 0x55), "100009"))));
                    }},
        PackageCase{"WZ-0206",
                    [] {
                      return Packages::withCertificate(
                          octetsOf(signerWithPermissions({"S99"}).certificate));
                    }},
        PackageCase{"WZ-0301",
                    [] { return withSigners().inner("SHOP.ZIP", applicationArchive("shop")); }},
        PackageCase{"WZ-0302",
                    [] {
                      return withSigners()
                          .inner("SHOP.ZIP", applicationArchive("shop"))
                          .signedBy(strangeSigner());
                    }},
        PackageCase{"WZ-0303",
                    [] {
                      return withSigners()
                          .inner("SHOP-O.ZIP", manifestArchive("shop"))
                          .signedBy(applicationSigner());
                    }},
        PackageCase{"WZ-0304",
                    [] {
                      return withSigners()
                          .inner("SHOP.ZIP", applicationArchive("shop"))
                          .signedBy(manifestSigner());
                    }},
        PackageCase{"WZ-0305",
                    [] {
                      return withSigners()
                          .inner("SHOP.ZIP", applicationArchive("shop"))
                          .file("SHOP.P7S", signatureOf("another archive", applicationSigner()));
                    }},
        PackageCase{"WZ-0501",
                    [] {
                      return Packages::withMarketplace(
                          ZipBuilder().file("shop/mpmanifest.mft", "{}"));
                    }},
        PackageCase{"WZ-0502",
                    [] {
                      return Packages::withMarketplace(
                          ZipBuilder().file("shop/mpmanifest.mft", "no manifest"));
                    }},
        PackageCase{"WZ-0503",
                    [] { return Packages::withMarketplace(manifestArchive("shop", "654321")); }},
        PackageCase{"WZ-0504",
                    [] {
                      return Packages::withMarketplace(
                          ZipBuilder().file("shop/confOwner.json", "{}"));
                    }},
        PackageCase{"WZ-0505",
                    [] {
                      return Packages::withMarketplace(
                          ZipBuilder().file("till/mpmanifest.mft", manifestFor("shop")));
                    }},
        PackageCase{"WZ-0506",
                    [] { return Packages::withMarketplace(uninstallArchive("654321")); }},
        PackageCase{"WZ-0507", [] { return Packages::withMarketplace(manifestArchive("till")); }},
        PackageCase{"WZ-0508",
                    [] {
                      return withSigners()
                          .inner("SHOP.ZIP", applicationArchive("shop"))
                          .signedBy(applicationSigner());
                    }},
        PackageCase{"WZ-0510",
                    [] {
                      return Packages::withManifest(
                          manifestWith(R"("imports_sdk":{"triggers_min_version":"99"})"));
                    }},
        PackageCase{"WZ-0511",
                    [] {
                      return Packages::withManifest(
                          manifestWith(R"("exports_sdk":{"triggers_version":"2"},)"
                                       R"("imports_sdk":{"triggers_max_version":"1"})"));
                    }},
        PackageCase{"WZ-0512",
                    [] {
                      return Packages::withManifest(
                          manifestWith(R"("imports_sdk":{"wzruntime_min_version":"3"})"));
                    }},
        PackageCase{"WZ-0513",
                    [] {
                      return Packages::withManifest(
                          manifestWith(R"("imports_sdk":{"wzruntime_max_version":"2.46"})"));
                    }},
        PackageCase{"WZ-0514",
                    [] {
                      return Packages::withManifest(
                          manifestWith(R"("imports_trigger":[{"id":"NOBODY"}])"));
                    }},
        PackageCase{"WZ-0515",
                    [] {
                      return Packages::withManifest(
                          manifestWith(R"("imports_api":[{"id":"NOBODY"}])"));
                    }},
        PackageCase{"WZ-0516",
                    [] {
                      return Packages::withManifest(
                          manifestWith(R"("imports_hardware":{"platforms":[]})"));
                    }},
        PackageCase{"WZ-0517",
                    [] {
                      return Packages::withManifest(
                          manifestWith(R"("imports_hardware":{"platforms":[]})"));
                    }},
        PackageCase{
            "WZ-0518",
            [] { return Packages::withManifest("[install]\nappid=shop\nsponsor=123456\n"); }},
        PackageCase{"WZ-0519",
                    [] { return Packages::withMarketplace(manifestArchive("shop", "654321")); }},
        PackageCase{"WZ-0520",
                    [] { return Packages::withMarketplace(manifestArchive("shop", "654321")); }}),
    [](const auto& row) { return "Code" + std::string(row.param.code).substr(3); });

TEST_F(CodesInstallTest, AnEmptyCertificate) {
  Lines warnings;
  wzapp::setInstallLog(collectLine, &warnings);
  wzapp::certificateStore().add("x.crt", {});

  ASSERT_EQ(warnings.size(), 2U);
  EXPECT_STREQ(wz::matchLogLine(warnings[1]).code->id, "WZ-0201");
}

TEST_F(CodesInstallTest, AFolderThatCannotBeRead) {
  codesOf(applicationPackage("shop"));
  calls.hook = [](const FileCall& call) { return call.function == "fdopendir" ? EACCES : 0; };

  EXPECT_THAT(codesOf(applicationPackage("shop")), Contains("WZ-0610"));
}

TEST_F(CodesInstallTest, StorageThatCannotBeSynchronised) {
  drop("p.zip", applicationPackage("shop"));
  calls.hook = [](const FileCall& call) { return call.function == "syncfs" ? EIO : 0; };

  EXPECT_THAT(codesOfRun(), Contains("WZ-0612"));
}

TEST_F(CodesInstallTest, AFileThatCannotBeRemoved) {
  codesOf(applicationPackage("shop"));
  calls.hook = [](const FileCall& call) {
    return call.function == "unlinkat" && call.name == "index.html" ? EACCES : 0;
  };

  EXPECT_THAT(codesOf(applicationPackage("shop")), Contains("WZ-0611"));
}

}  // namespace
}  // namespace wzapp_test
