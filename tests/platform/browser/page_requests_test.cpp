// What a page may load, and what is told about what it may not.

#include <filesystem>

#include "tests/platform/browser/browser_fixture.h"

namespace wzapp_test {
namespace {

using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::Field;
using testing::IsEmpty;
using workstation::PageEvent;

auto traceOf(const std::string& url, const std::string& status) {
  return AllOf(Field(&Trace::url, url), Field(&Trace::status, status),
               Field(&Trace::appId, "shop"));
}

class PageRequestsTest : public BrowserTest {
 protected:
  std::vector<PageEvent> failures() const {
    std::vector<PageEvent> found;
    for (const PageEvent& event : host.events) {
      if (event.kind == PageEvent::Kind::kFailedRequest) found.push_back(event);
    }
    return found;
  }
};

TEST_F(PageRequestsTest, FilesOfTheApplicationAreServed) {
  TestApplication application(R"(
    Promise.all(['data.json', '/sub/a%20b.txt', 'empty', 'page.svg?x#y'].map(async (name) => {
      const response = await fetch(name);
      return [response.status, response.headers.get('content-type'), await response.text()];
    })).then(finish);)");
  application.file("data.json", "{}");
  application.file("sub/a b.txt", "text");
  application.file("empty", "");
  application.file("page.svg", "<svg/>");

  EXPECT_EQ(run(application).value(),
            R"([[200,"application/json","{}"],[200,"text/plain; charset=utf-8","text"],)"
            R"([200,"application/octet-stream",""],[200,"image/svg+xml","<svg/>"]])");
  EXPECT_THAT(host.traces, IsEmpty());
}

TEST_F(PageRequestsTest, ModulesWorkersAndStylesWork) {
  TestApplication application(R"(
    const worker = new Worker('worker.js', {type: 'module'});
    worker.onmessage = async (event) => {
      const {two} = await import('./module.mjs');
      finish([event.data, two]);
    };)");
  application.file("worker.js", "import {two} from './module.mjs'; postMessage(two + 1)");
  application.file("module.mjs", "export const two = 2;");

  EXPECT_EQ(run(application).value(), "[3,2]");
}

TEST_F(PageRequestsTest, LargeFilesArriveWhole) {
  TestApplication application(
      "fetch('large.bin').then((r) => r.arrayBuffer()).then((b) => finish([b.byteLength, "
      "new Uint8Array(b).reduce((sum, octet) => (sum + octet) % 65536, 0)]))");
  std::string content(5'000'001, '\0');
  unsigned sum = 0;
  for (std::size_t i = 0; i < content.size(); ++i) {
    const auto octet = static_cast<unsigned char>(i * 7 + i / 256);
    content[i] = static_cast<char>(octet);
    sum = (sum + octet) % 65536;
  }
  application.file("large.bin", content);

  EXPECT_EQ(run(application).value(), "[5000001," + std::to_string(sum) + "]");
}

TEST_F(PageRequestsTest, MissingFilesAre404AndTraced) {
  EXPECT_EQ(valueOf("fetch('gone.json').then((r) => finish(r.status))"), "404");

  EXPECT_THAT(host.traces, ElementsAre(traceOf("https://shop.invalid/gone.json", "404")));
  ASSERT_EQ(failures().size(), 1U);
  EXPECT_EQ(failures()[0].url, "https://shop.invalid/gone.json");
  EXPECT_EQ(failures()[0].status, "404");
}

TEST_F(PageRequestsTest, OnlyReadingMethodsAreAllowed) {
  EXPECT_EQ(
      valueOf("fetch('index.html', {method: 'POST', body: 'x'}).then((r) => finish(r.status))"),
      "405");
  EXPECT_THAT(host.traces, ElementsAre(traceOf("https://shop.invalid/index.html", "405")));
}

TEST_F(PageRequestsTest, ForeignHostsAreRefusedAndTraced) {
  EXPECT_EQ(valueOf("fetch('https://www.example.com/x').catch((e) => finish(e.name))"),
            R"("TypeError")");

  EXPECT_THAT(host.traces,
              ElementsAre(traceOf("https://www.example.com/x", "net::ERR_ACCESS_DENIED")));
}

TEST_F(PageRequestsTest, FilesOfTheMachineAreRefusedAndTraced) {
  EXPECT_EQ(valueOf("const i = new Image; i.onerror = () => finish('refused'); "
                    "i.src = 'file:///etc/passwd'; document.body.append(i)"),
            R"("refused")");

  EXPECT_THAT(host.traces, Contains(Field(&Trace::url, "file:///etc/passwd")));
}

TEST_F(PageRequestsTest, LinksOutOfTheFolderAre404) {
  TestApplication application("fetch('leak').then((r) => finish(r.status))");
  std::filesystem::create_symlink("/etc/passwd", application.directory() + "/leak");

  EXPECT_EQ(run(application).value(), "404");
}

TEST_F(PageRequestsTest, OtherApplicationsAreForeign) {
  const TestApplication other("wz.notifyAndWait('1', 'wait').then(() => wz.exit())", "other");
  host.onNotifyAndWait = [&host = host](const Notification&, std::string& reply) {
    reply = "{}";
    const auto asked = [](const HostRecord& record) { return record.traces.size() >= 3; };
    return host.waitUntil(asked) ? 0 : -11;
  };
  const int id = open(other);

  const std::string value = valueOf(R"(
    const frame = document.createElement('iframe');
    frame.src = 'https://other.invalid/index.html';
    document.body.append(frame);
    const script = document.createElement('script');
    script.src = 'https://other.invalid/index.html';
    script.onerror = () => fetch('https://other.invalid/index.html', {mode: 'no-cors'})
      .catch(() => wz.notifyAndWait('1', 'wait')).then(() => finish('refused'));
    document.head.append(script);)");

  EXPECT_EQ(value, R"("refused")");
  EXPECT_THAT(
      host.traces,
      Contains(traceOf("https://other.invalid/index.html", "net::ERR_ACCESS_DENIED")).Times(3));
  EXPECT_EQ(wait(id).result, 0);
}

TEST_F(PageRequestsTest, NavigationOutOfTheApplicationLeavesThePage) {
  host.onNotifyAndWait = [&host = host](const Notification&, std::string& reply) {
    reply = "{}";
    return host.waitUntil([](const HostRecord& record) { return !record.traces.empty(); }) ? 0
                                                                                           : -11;
  };

  EXPECT_EQ(valueOf("location.href = 'https://www.example.com/';"
                    "wz.notifyAndWait('1', 'refused').then(() => finish('still here'))"),
            R"("still here")");

  EXPECT_THAT(host.traces,
              ElementsAre(traceOf("https://www.example.com/", "net::ERR_ACCESS_DENIED")));
}

TEST_F(PageRequestsTest, SocketsGoNowhere) {
  EXPECT_EQ(
      valueOf("const s = new WebSocket('wss://127.0.0.1:9/x'); s.onerror = () => finish('no')"),
      R"("no")");

  EXPECT_THAT(host.traces, Contains(Field(&Trace::url, "wss://127.0.0.1:9/x")));
}

TEST_F(PageRequestsTest, RequestsThatThePageGivesUpAreNoFailures) {
  valueOf(R"(
    const abort = new AbortController();
    fetch('index.html', {signal: abort.signal}).catch(() => setTimeout(finish, 50));
    abort.abort();)");

  EXPECT_THAT(host.traces, IsEmpty());
}

TEST_F(PageRequestsTest, MissingIconIsNoFailure) {
  valueOf("onload = () => setTimeout(finish, 300)");

  EXPECT_THAT(host.traces, IsEmpty());
}

TEST_F(PageRequestsTest, ResourcesAreLookedForBelowTheApplication) {
  TestApplication application(
      "Promise.all(['one', 'two', 'three'].map((n) => "
      "fetch(n).then((r) => r.text()))).then(finish)");
  application.file("one", "own");
  application.file("small/one", "small");
  application.file("small/two", "small");
  application.file("default/two", "default");
  application.file("default/three", "default");
  zelgui::uiSetPropertyString(0, 2003, (application.directory() + "/small").c_str());
  zelgui::uiSetPropertyString(0, 2007, (application.directory() + "/default").c_str());

  EXPECT_EQ(run(application).value(), R"(["own","small","default"])");
}

TEST_F(PageRequestsTest, DownloadsHappenNowhere) {
  TestApplication application(
      "const a = document.createElement('a'); a.href = 'file.bin'; a.download = 'x.bin';"
      "document.body.append(a); a.click(); setTimeout(() => finish('done'), 200)");
  application.file("file.bin", "octets");

  EXPECT_EQ(run(application).value(), R"("done")");
}

}  // namespace
}  // namespace wzapp_test
