// Installation runs by their whole log, result and tree.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "installer/directories.h"
#include "support/install_result.h"
#include "tests/installer/install_fixture.h"
#include "wzapp/wzapp.h"

namespace wzapp {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using wzapp_test::applicationArchive;
using wzapp_test::applicationPackage;
using wzapp_test::applicationSigner;
using wzapp_test::beginLines;
using wzapp_test::endLines;
using wzapp_test::extractedLines;
using wzapp_test::foundLines;
using wzapp_test::kApps;
using wzapp_test::kConfig;
using wzapp_test::kManifests;
using wzapp_test::kSource;
using wzapp_test::Lines;
using wzapp_test::logOf;
using wzapp_test::manifestArchive;
using wzapp_test::manifestFor;
using wzapp_test::manifestSigner;
using wzapp_test::openLines;
using wzapp_test::PackageBuilder;
using wzapp_test::packageLines;
using wzapp_test::rulesLines;
using wzapp_test::signerLines;
using wzapp_test::withSigners;
using wzapp_test::ZipBuilder;

using InstallRunTest = wzapp_test::InstallTest;

TEST_F(InstallRunTest, InstallsAnApplicationWithItsMarketplaceManifest) {
  drop("shop.zip", applicationPackage("shop"));

  EXPECT_EQ(install(), kInstallOk);

  EXPECT_EQ(lines, logOf({beginLines(), packageLines("shop"), rulesLines("shop"),
                          endLines({"shop"}, "OK")}));
  EXPECT_THAT(tree(), ElementsAre("mp/", "mp/shop/", "mp/shop/mpmanifest.mft", "wz/", "wz/shop.MFT",
                                  "wz/shop/", "wz/shop/index.html", "wz/shop/pages/",
                                  "wz/shop/pages/second.html"));
  EXPECT_EQ(terminal.readFile(kApps + "/shop/index.html"), "<p>shop");
  EXPECT_THAT(dropped(), IsEmpty());
}

TEST_F(InstallRunTest, SaysThatThereIsNoPackage) {
  EXPECT_EQ(install(), kInstallNoPackage);

  EXPECT_EQ(lines, logOf({beginLines(), rulesLines(), endLines({}, "NO PACKAGE")}));
}

}  // namespace
}  // namespace wzapp
