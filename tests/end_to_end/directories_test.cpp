// What the browser service lets a host name as directories: an application's id becomes one, and
// no id may give a page more than the application's own files.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "tests/end_to_end/application.h"
#include "tests/end_to_end/station.h"
#include "workstation/browser/engine/page/result_codes.h"
#include "zelgui/zelgui.h"

namespace wzapp_test {
namespace {

constexpr char kAppRoot[] = "/mnt/flash/etc/config/wzapp/wz";
constexpr char kFileSystemRoot[] = "/mnt/flash/etc/config/wzapp/fsroot";

class DirectoriesTest : public EndToEndTest {
 protected:
  DirectoriesTest() { zelgui::uiSetLocalProperties(true); }
  ~DirectoriesTest() override { zelgui::uiSetLocalProperties(false); }

  // What becomes of a page of the directory. One that is opened all the same ends by itself.
  static int open(const std::string& directory, const std::string& url) {
    zelgui::uiSetPropertyString(0, 2010, directory.c_str());
    const int id = zelgui::uiInvokeURLAsync(0, 0, {}, url, nullptr, nullptr);
    if (id < 0) return id;
    zelgui::UIProperties properties;
    return zelgui::uiInvokeWait(id, properties, 20'000);
  }
};

TEST_F(DirectoriesTest, AnApplicationsOwnAreTaken) {
  const std::string own = std::string(kAppRoot) + "/shop";

  EXPECT_EQ(zelgui::uiSetPropertyString(0, 2010, own.c_str()), 0);
  EXPECT_EQ(zelgui::uiSetPropertyString(0, 2003, (own + "/480x800").c_str()), 0);
  EXPECT_EQ(zelgui::uiSetPropertyString(0, 2007, (own + "/default").c_str()), 0);
  EXPECT_EQ(zelgui::uiSetPropertyString(0, 2013, (own + "/print").c_str()), 0);
  EXPECT_EQ(zelgui::uiSetPropertyString(0, 2012, (std::string(kFileSystemRoot) + "/shop").c_str()),
            0);
  EXPECT_EQ(zelgui::uiSetPropertyString(0, 2015, kFileSystemRoot), 0);
}

TEST_F(DirectoriesTest, OthersAreNot) {
  const std::string root = kAppRoot, fsRoot = kFileSystemRoot;
  const std::string outside[] = {"/",
                                 "/etc",
                                 root,
                                 root + "/",
                                 root + "/..",
                                 root + "/shop/../bank",
                                 root + "/../mp/BANK",
                                 root + "x/shop",
                                 fsRoot + "/.."};
  for (const int property : {2003, 2007, 2010, 2012, 2013, 2015}) {
    for (const std::string& directory : outside) {
      EXPECT_EQ(zelgui::uiSetPropertyString(0, property, directory.c_str()),
                workstation::kOutsideApplication)
          << property << " " << directory;
      EXPECT_THAT(zelgui::uiScriptError(), testing::HasSubstr(directory));
    }
  }
  // Nor the file system of all applications for that of one.
  EXPECT_NE(zelgui::uiSetPropertyString(0, 2012, fsRoot.c_str()), 0);
  EXPECT_NE(zelgui::uiSetPropertyString(0, 2012, (root + "/shop").c_str()), 0);
}

TEST_F(DirectoriesTest, NothingOutsideOfAnApplicationIsServed) {
  Application shop("shop");
  shop.script("wz.exit(7);");
  ASSERT_EQ(open(std::string(kAppRoot) + "/shop", "index.html"), 7);

  EXPECT_EQ(open("/", "etc/passwd"), workstation::kNoSuchPage);
  EXPECT_EQ(open(std::string(kAppRoot) + "/shop/..", "shop/index.html"), workstation::kNoSuchPage);
  EXPECT_EQ(open(kAppRoot, "shop/index.html"), workstation::kNoSuchPage);
}

}  // namespace
}  // namespace wzapp_test
