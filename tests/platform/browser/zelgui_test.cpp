// The interface's functions that open no page.

#include "zelgui/zelgui.h"

#include <filesystem>
#include <thread>

#include "tests/platform/browser/browser_fixture.h"
#include "workstation/browser/engine/page/result_codes.h"

namespace wzapp_test {
namespace {

class ZelguiTest : public BrowserTest {};

TEST_F(ZelguiTest, PropertiesAreTaken) {
  EXPECT_EQ(zelgui::uiSetPropertyString(0, 2006, "app.css"), 0);
  EXPECT_EQ(zelgui::uiSetPropertyString(0, 2006, nullptr), 0);
  EXPECT_EQ(zelgui::uiSetPropertyInt(3, 15, 1), 0);
  EXPECT_EQ(zelgui::uiReadConfig(0), 0);
}

TEST_F(ZelguiTest, ResourceDirectoryIsTheOneOfTheDisplaysSize) {
  TestApplication application("");
  const std::string& directory = application.directory();

  EXPECT_EQ(zelgui::uiGetTerminalResourceDir(directory), directory + "/default");

  application.file("320x480/x.css", "");
  EXPECT_EQ(zelgui::uiGetTerminalResourceDir(directory), directory + "/320x480");
  EXPECT_EQ(zelgui::uiGetTerminalResourceDir(directory + "/"), directory + "/320x480");
}

TEST_F(ZelguiTest, LocalPropertiesAreTheThreadsOwn) {
  const TestApplication mine("wz.exit(1)");
  const TestApplication theirs("wz.exit(2)", "theirs");
  Ended other;

  const int id = open(mine);
  std::thread([&] {
    zelgui::uiSetLocalProperties(true);
    other = run(theirs);
    zelgui::uiSetLocalProperties(false);
  }).join();
  const int again = zelgui::uiInvokeURLAsync(0, 0, {}, "index.html", nullptr, nullptr);

  EXPECT_EQ(other.result, 2);
  EXPECT_EQ(wait(id).result, 1);
  EXPECT_EQ(wait(again).result, 1);
}

TEST_F(ZelguiTest, DroppedLocalPropertiesAreGone) {
  const TestApplication application("wz.exit(1)");
  wait(open(application));

  zelgui::uiSetLocalProperties(false);
  const int id = zelgui::uiInvokeURLAsync(0, 0, {}, "index.html", nullptr, nullptr);

  EXPECT_EQ(id, workstation::kNoSuchPage);
}

TEST_F(ZelguiTest, SharedPropertiesCountForThreadsWithoutOwn) {
  const TestApplication application("wz.exit(3)");
  zelgui::uiSetLocalProperties(false);
  zelgui::uiSetPropertyString(5, 2010, application.directory().c_str());
  int result = -1;

  std::thread([&] {
    result = wait(zelgui::uiInvokeURLAsync(5, 0, {}, "index.html", nullptr, nullptr)).result;
  }).join();

  EXPECT_EQ(result, 3);
  zelgui::uiSetPropertyString(5, 2010, nullptr);
}

TEST_F(ZelguiTest, ErrorTextIsTheThreadsOwn) {
  const TestApplication application("wz.exit()");
  open(application, "missing.html");
  std::string other = "untouched";

  std::thread([&] { other = zelgui::uiScriptError(); }).join();

  EXPECT_NE(zelgui::uiScriptError(), "");
  EXPECT_EQ(other, "");
}

}  // namespace
}  // namespace wzapp_test
