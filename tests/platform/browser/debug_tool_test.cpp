// Tools of the DevTools protocol, which are offered one page and nothing else of the browser.

#include <deque>

#include "tests/platform/browser/browser_fixture.h"

namespace wzapp_test {
namespace {

using testing::HasSubstr;
using testing::Not;
using workstation::DebugScope;

// A tool, and what it has been told.
class Tool {
 public:
  Tool(int invocation, DebugScope scope) {
    workstation::DebugListener listener;
    listener.onMessage = [heard = heard_](const std::string& message) { heard->put(message); };
    listener.onEnd = [heard = heard_] { heard->put("the end"); };
    page_ = workstation::openDebugTool(invocation, scope, listener, error);
  }

  bool isOpen() const { return page_ != nullptr; }
  void close() { page_.reset(); }

  // The answer to a command.
  std::string ask(const std::string& method, const std::string& params = "{}",
                  const std::string& session = "") {
    const std::string id = std::to_string(++lastId_);
    page_->send("{\"id\":" + id + ",\"method\":\"" + method + "\",\"params\":" + params +
                (session.empty() ? "" : ",\"sessionId\":\"" + session + "\"") + "}");
    return await("{\"id\":" + id + ",");
  }

  // The first message that begins so.
  std::string await(const std::string& beginning) {
    std::string found;
    EXPECT_TRUE(pollUntil([&] { return heard_->find(beginning, found); })) << beginning;
    return found;
  }

  std::string error;

 private:
  struct Heard {
    std::mutex mutex;
    std::deque<std::string> messages;
    void put(const std::string& message) {
      const std::lock_guard<std::mutex> lock(mutex);
      messages.push_back(message);
    }
    bool find(const std::string& beginning, std::string& found) {
      const std::lock_guard<std::mutex> lock(mutex);
      for (const std::string& message : messages) {
        if (message.compare(0, beginning.size(), beginning) != 0) continue;
        found = message;
        return true;
      }
      return false;
    }
  };

  const std::shared_ptr<Heard> heard_ = std::make_shared<Heard>();
  std::unique_ptr<workstation::DebugTool> page_;
  int lastId_ = 0;
};

// The first member of that name in a message, a text without escapes.
std::string textIn(const std::string& json, const std::string& member) {
  const std::string key = "\"" + member + "\":\"";
  const std::size_t begin = json.find(key);
  if (begin == std::string::npos) return {};
  const std::size_t value = begin + key.size();
  return json.substr(value, json.find('"', value) - value);
}

class DebugToolTest : public BrowserTest {
 protected:
  DebugToolTest() : id(open(application)) { EXPECT_TRUE(waitForLog("ready")); }

  void end() {
    zelgui::uiInvokeCancelAsync(id);
    wait(id);
  }

  const TestApplication application{"window.answer = 42; wz.log('info', 'ready')"};
  int id;
};

constexpr char kEvaluate[] = R"({"expression":"answer","returnByValue":true})";

TEST_F(DebugToolTest, AToolOfThePageSpeaksToItAndHearsItsEvents) {
  Tool tool(id, DebugScope::kPage);
  ASSERT_TRUE(tool.isOpen()) << tool.error;

  EXPECT_THAT(tool.ask("Runtime.evaluate", kEvaluate), HasSubstr("\"value\":42"));
  EXPECT_THAT(tool.ask("No.suchMethod"), HasSubstr("\"error\""));
  tool.ask("Runtime.enable");
  EXPECT_THAT(tool.await(R"({"method":"Runtime.executionContextCreated")"),
              Not(HasSubstr("sessionId")));

  end();
  tool.await("the end");
}

TEST_F(DebugToolTest, AToolOfTheBrowserFindsThisPageAlone) {
  const TestApplication other("wz.log('info', 'other ready')", "till");
  const int otherId = open(other);
  ASSERT_TRUE(waitForLog("other ready"));
  Tool tool(id, DebugScope::kBrowser);
  ASSERT_TRUE(tool.isOpen()) << tool.error;

  const std::string targets = tool.ask("Target.getTargets");
  tool.ask("Target.setAutoAttach",
           R"({"autoAttach":true,"flatten":true,"waitForDebuggerOnStart":true})");
  const std::string attached = tool.await(R"({"method":"Target.attachedToTarget")");
  const std::string session = textIn(attached, "sessionId");

  EXPECT_THAT(targets, HasSubstr("https://shop.invalid/"));
  EXPECT_THAT(targets, Not(HasSubstr("till.invalid")));
  EXPECT_THAT(tool.ask("Runtime.evaluate", kEvaluate, session), HasSubstr("\"value\":42"));
  EXPECT_THAT(tool.ask("Browser.getVersion"), HasSubstr("\"product\""));
  end();
  zelgui::uiInvokeCancelAsync(otherId);
  wait(otherId);
}

TEST_F(DebugToolTest, WhatReachesBeyondThePageIsRefused) {
  Tool browser(id, DebugScope::kBrowser);
  Tool page(id, DebugScope::kPage);

  for (const char* const method :
       {"Browser.close", "Browser.crash", "Target.createTarget", "Target.createBrowserContext",
        "Target.getBrowserContexts", "Fetch.disable", "Tracing.start"}) {
    EXPECT_THAT(browser.ask(method, R"({"url":"about:blank"})"),
                HasSubstr("only the running page is offered here"));
  }
  for (const char* const method : {"Browser.close", "Target.createTarget", "Target.getTargets",
                                   "Target.attachToTarget", "SystemInfo.getInfo"}) {
    EXPECT_THAT(page.ask(method, R"({"url":"about:blank"})"),
                HasSubstr("only the running page is offered here"));
  }
  EXPECT_THAT(browser.ask("Target.attachToTarget", R"({"targetId":"1"})"),
              HasSubstr("there is no such target"));
  EXPECT_THAT(browser.ask("Runtime.evaluate", kEvaluate, "1"),
              HasSubstr("there is no such session"));
  EXPECT_THAT(page.ask("Runtime.evaluate", kEvaluate), HasSubstr("\"value\":42"));
  end();
}

// The requests that a tool stops are its own affair; the page's files are served all the same.
TEST_F(DebugToolTest, AToolMayStopRequestsOfThePage) {
  Tool tool(id, DebugScope::kPage);
  tool.ask("Fetch.enable", R"({"patterns":[{"urlPattern":"*/index.html"}]})");
  tool.ask(
      "Runtime.evaluate",
      R"js({"expression":"void fetch('index.html').then(r => wz.log('info', 'got ' + r.status))"})js");

  const std::string paused = tool.await(R"({"method":"Fetch.requestPaused")");
  tool.ask("Fetch.continueRequest", R"({"requestId":")" + textIn(paused, "requestId") + "\"}");

  EXPECT_TRUE(waitForLog("got 200"));
  end();
}

TEST_F(DebugToolTest, WithoutAPageThereIsNoTool) {
  end();
  const Tool tool(id, DebugScope::kPage);

  EXPECT_FALSE(tool.isOpen());
  EXPECT_EQ(tool.error, "there is no such invocation");
}

TEST_F(DebugToolTest, AToolThatGoesUndoesWhatItHasSwitchedOn) {
  Tool tool(id, DebugScope::kPage);
  tool.ask("Emulation.setDeviceMetricsOverride",
           R"({"width":100,"height":100,"deviceScaleFactor":1,"mobile":false})");
  tool.close();
  tool.await("the end");
  Tool other(id, DebugScope::kPage);

  EXPECT_TRUE(pollUntil([&] {
    return other.ask("Runtime.evaluate", R"({"expression":"innerWidth"})").find("\"value\":320") !=
           std::string::npos;
  }));
  end();
}

}  // namespace
}  // namespace wzapp_test
