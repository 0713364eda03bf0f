#include "packaging/package_maker.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/tools/archive_reader.h"
#include "tests/tools/key_files.h"
#include "tests/tools/sample_application.h"

namespace wzapp_test {
namespace {

using packaging::ApplicationOrder;
using packaging::Findings;
using packaging::makePackage;
using packaging::PackageSigners;
using packaging::RemovalOrder;
using packaging::Signer;
using packaging::SignerRole;
using testing::ElementsAre;
using testing::HasSubstr;

Signer signerOf(SignerRole role) {
  Signer signer;
  std::string error;
  EXPECT_TRUE(signer.load(madeKeys(), role, "", error)) << error;
  return signer;
}

std::vector<std::string> namesOf(const Contents& contents) {
  std::vector<std::string> names;
  for (const auto& [name, content] : contents) names.push_back(name);
  return names;
}

bool isContent(const std::string&) { return true; }

class PackageMakerTest : public testing::Test {
 protected:
  [[nodiscard]] ApplicationOrder order() const {
    Findings findings;
    ApplicationOrder order{packaging::readApplicationFolder(app_.path(), findings), {"123456"}};
    EXPECT_TRUE(findings.errors.empty());
    return order;
  }

  // The entries of the package, or none after a failure.
  template <typename Order>
  Contents make(const Order& order, const std::string& name = "shop.zip") {
    EXPECT_TRUE(makePackage(order, signers_, folder_ / name, isContent, error_)) << error_;
    return contentsOf(folder_ / name);
  }

  Contents innerOf(const Contents& package, const std::string& name) {
    return contentsOf(folder_.write("inner.zip", package.at(name)));
  }

  TemporaryDirectory folder_;
  SampleApplication app_;
  PackageSigners signers_{signerOf(SignerRole::kApplication), signerOf(SignerRole::kManifest)};
  std::string error_;
};

TEST_F(PackageMakerTest, AnApplicationComesWithItsMarketplacePackage) {
  app_.write("confOwner.json", "{\"owner\": 1}");

  const Contents package = make(order());

  EXPECT_THAT(namesOf(package), ElementsAre("application.crt", "manifest.crt", "shop-O.p7s",
                                            "shop-O.zip", "shop.p7s", "shop.zip"));
  EXPECT_EQ(package.at("application.crt"), contentOf(madeKeys() + "/signers/application.der"));
  EXPECT_EQ(package.at("manifest.crt"), contentOf(madeKeys() + "/signers/manifest.der"));
  EXPECT_EQ(innerOf(package, "shop.zip"), (Contents{{"shop.MFT", kShopManifest},
                                                    {"shop/img/logo.svg", "<svg/>"},
                                                    {"shop/index.html", "<p>"}}));
  EXPECT_EQ(innerOf(package, "shop-O.zip"),
            (Contents{{"shop/confOwner.json", "{\"owner\": 1}"},
                      {"shop/mpmanifest.mft",
                       "{\n  \"application\": {\n    \"id\": \"shop\",\n    \"version\": \"1.2\"\n"
                       "  },\n  \"sponsors\": [\n    \"123456\"\n  ]\n}\n"}}));
}

TEST_F(PackageMakerTest, TheApplicationCanComeAlone) {
  ApplicationOrder alone = order();
  alone.applicationOnly = true;

  EXPECT_THAT(namesOf(make(alone)), ElementsAre("application.crt", "shop.p7s", "shop.zip"));
}

TEST_F(PackageMakerTest, RemovalsHaveAPackageEach) {
  const Contents package = make(
      std::vector<RemovalOrder>{{"shop", "SHOP", "", {"123456"}}, {"tip", "tip", "", {"123456"}}});

  EXPECT_THAT(namesOf(package),
              ElementsAre("manifest.crt", "shop-U.p7s", "shop-U.zip", "tip-U.p7s", "tip-U.zip"));
  const Contents removal = innerOf(package, "shop-U.zip");
  EXPECT_THAT(namesOf(removal), ElementsAre("SHOP/appuninstall.mft"));
  EXPECT_THAT(removal.at("SHOP/appuninstall.mft"), HasSubstr("\"id\": \"shop\""));
}

// Otherwise the application itself would be taken for a package of manifests.
TEST_F(PackageMakerTest, AnIdThatEndsLikeAManifestPackageIsNotTakenForOne) {
  app_.write("manifest.mft", R"({"application": {"id": "shop-u"}})");

  EXPECT_THAT(namesOf(make(order())),
              ElementsAre("application.crt", "manifest.crt", "shop-u-O.p7s", "shop-u-O.zip",
                          "shop-u.app.p7s", "shop-u.app.zip"));
}

TEST_F(PackageMakerTest, TheSameInputGivesTheSameOctets) {
  make(order(), "a.zip");
  for (const char* const name : {"index.html", "manifest.mft", "img/logo.svg"}) {
    std::filesystem::last_write_time(app_ / name, std::filesystem::file_time_type());
  }

  make(order(), "b.zip");

  EXPECT_EQ(contentOf(folder_ / "a.zip"), contentOf(folder_ / "b.zip"));
}

TEST_F(PackageMakerTest, AFailureLeavesTheOlderFileAndNothingElse) {
  folder_.write("shop.zip", "before");
  const ApplicationOrder vanished = order();
  std::filesystem::remove(app_ / "index.html");

  EXPECT_FALSE(makePackage(vanished, signers_, folder_ / "shop.zip", isContent, error_));

  EXPECT_THAT(error_, HasSubstr("index.html: No such file or directory"));
  EXPECT_EQ(contentOf(folder_ / "shop.zip"), "before");
  EXPECT_THAT(namesIn(folder_.path()), ElementsAre("shop.zip"));
}

TEST_F(PackageMakerTest, WhatTheJudgeRefusesIsNotKept) {
  Contents judged;
  const packaging::PackageJudge refuse = [&judged](const std::string& path) {
    judged = contentsOf(path);
    return false;
  };

  EXPECT_FALSE(makePackage(order(), signers_, folder_ / "shop.zip", refuse, error_));

  EXPECT_EQ(error_, "");
  EXPECT_EQ(judged.size(), 6U);
  EXPECT_THAT(namesIn(folder_.path()), ElementsAre());
}

TEST_F(PackageMakerTest, AFolderThatIsNotThereIsNamed) {
  EXPECT_FALSE(makePackage(order(), signers_, folder_ / "nowhere/shop.zip", isContent, error_));

  EXPECT_EQ(error_,
            "cannot write " + (folder_ / "nowhere/shop.zip") + ": No such file or directory");
}

}  // namespace
}  // namespace wzapp_test
