// What a workstation does to a page from outside, and what it is told of its user.

#include <algorithm>

#include "tests/platform/browser/browser_fixture.h"

namespace wzapp_test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using workstation::BrowserOptions;
using workstation::commandPage;
using workstation::PageEvent;

class PageCommandsTest : public BrowserTest {
 protected:
  ~PageCommandsTest() override { workstation::setBrowserOptions({}); }

  static std::string evaluated(int invocation, const std::string& expression) {
    std::string result, error;
    EXPECT_TRUE(commandPage(invocation, "Runtime.evaluate",
                            R"({"returnByValue":true,"expression":")" + expression + "\"}", result,
                            error))
        << error;
    return result;
  }

  // A page that ends itself at the click may do so before it has said that it took it.
  static void click(int invocation, int x, int y) {
    for (const char* type : {"mousePressed", "mouseReleased"}) {
      std::string result, error;
      const bool isDone =
          commandPage(invocation, "Input.dispatchMouseEvent",
                      R"({"button":"left","clickCount":1,"type":")" + std::string(type) +
                          R"(","x":)" + std::to_string(x) + R"(,"y":)" + std::to_string(y) + "}",
                      result, error);
      EXPECT_TRUE(isDone || error == "the page has ended") << error;
    }
  }

  static void press(int invocation, const std::string& key) {
    std::string result, error;
    EXPECT_TRUE(commandPage(invocation, "Input.dispatchKeyEvent",
                            R"({"type":"keyDown","key":")" + key + R"(","text":")" + key + "\"}",
                            result, error))
        << error;
  }

  std::vector<std::string> inputs() {
    std::vector<std::string> list;
    for (const PageEvent& event : host.events) {
      if (event.kind != PageEvent::Kind::kInput) continue;
      std::string text = event.input.action + " " + event.input.target + " " + event.input.text;
      if (event.input.hasPoint)
        text += std::to_string(event.input.x) + "," + std::to_string(event.input.y);
      list.push_back(text);
    }
    return list;
  }
};

TEST_F(PageCommandsTest, ACommandIsAnsweredOrItsErrorTold) {
  // It has a name, since its files go with it: they must be there until the page is loaded.
  const TestApplication application("wz.log('info', 'ready')");
  const int id = open(application);
  ASSERT_TRUE(waitForLog("ready"));
  std::string result, error;

  EXPECT_THAT(evaluated(id, "6 * 7"), HasSubstr("\"value\":42"));
  EXPECT_FALSE(commandPage(id, "No.suchMethod", "{}", result, error));
  EXPECT_THAT(error, HasSubstr("No.suchMethod"));
  EXPECT_FALSE(commandPage(id, "Runtime.evaluate", "[]", result, error));
  EXPECT_FALSE(commandPage(id + 1, "Runtime.evaluate", "{}", result, error));
  EXPECT_EQ(error, "there is no such invocation");
  zelgui::uiInvokeCancelAsync(id);
  wait(id);
}

TEST_F(PageCommandsTest, WhatTheUserDoesIsToldWhereThatIsWanted) {
  BrowserOptions options;
  options.recordsInput = true;
  workstation::setBrowserOptions(options);
  TestApplication application("");
  application.file("index.html",
                   "<style>* { position: fixed; margin: 0; width: 50px; height: 20px }</style>"
                   "<button id=pay style='top: 0'><b>Pay</b></button>"
                   "<input name=amount style='top: 30px'>"
                   "<canvas style='top: 60px'></canvas>"
                   "<script>pay.onclick = () => wz.log('info', 'clicked');"
                   "document.querySelector('canvas').onclick = () => wz.exit();"
                   "document.querySelector('button').dispatchEvent(new Event('click'));"
                   "wz.log('info', 'ready')</script>");
  const int id = open(application);
  ASSERT_TRUE(waitForLog("ready"));

  click(id, 10, 10);
  click(id, 10, 40);
  press(id, "7");
  click(id, 5, 63);
  EXPECT_EQ(wait(id).result, 0);

  EXPECT_THAT(inputs(), ElementsAre("click #pay ", "click [name=\"amount\"] ",
                                    "key [name=\"amount\"] 7", "click body > canvas 5,3"));
}

TEST_F(PageCommandsTest, UnlessItIsWantedNothingIsToldOfTheUser) {
  TestApplication application("onclick = () => wz.exit(); wz.log('info', 'ready')");
  const int id = open(application);
  ASSERT_TRUE(waitForLog("ready"));

  click(id, 10, 10);

  EXPECT_EQ(wait(id).result, 0);
  EXPECT_THAT(inputs(), testing::IsEmpty());
}

TEST_F(PageCommandsTest, ThePictureOfTheEndComesBeforeTheEnd) {
  BrowserOptions options;
  options.lastPicture = true;
  workstation::setBrowserOptions(options);

  // There is a picture of what has been painted alone.
  host.onNotifyAndWait = [&host = host](const Notification&, std::string& reply) {
    reply = "{}";
    const auto isPaint = [](const PageEvent& event) {
      return event.kind == PageEvent::Kind::kFirstPaint;
    };
    const bool isPainted = host.waitUntil([&](const HostRecord& record) {
      return std::any_of(record.events.begin(), record.events.end(), isPaint);
    });
    return isPainted ? 0 : -11;
  };

  EXPECT_EQ(run(TestApplication("wz.notifyAndWait('1', 'painted').then(() => wz.exit(4))")).result,
            4);

  ASSERT_GE(host.events.size(), 2U);
  const PageEvent& picture = host.events[host.events.size() - 2];
  EXPECT_EQ(picture.kind, PageEvent::Kind::kLastPicture);
  EXPECT_EQ(picture.texts.at(0).substr(0, 4), "\x89PNG");
}

}  // namespace
}  // namespace wzapp_test
