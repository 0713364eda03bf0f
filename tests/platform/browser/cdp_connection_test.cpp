// The connection with the test in the browser's place.

#include "workstation/browser/engine/protocol/cdp_connection.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <poll.h>
#include <unistd.h>

#include <future>
#include <mutex>

namespace workstation {
namespace {

using std::chrono::milliseconds;

class CdpConnectionTest : public testing::Test {
 protected:
  CdpConnectionTest() {
    int commands[2];
    int events[2];
    EXPECT_EQ(::pipe2(commands, O_CLOEXEC), 0);
    EXPECT_EQ(::pipe2(events, O_CLOEXEC), 0);
    commandRead = UniqueFd(commands[0]);
    eventWrite = UniqueFd(events[1]);
    connection = std::make_unique<CdpConnection>(UniqueFd(commands[1]), UniqueFd(events[0]));
    EXPECT_TRUE(connection->start(
        [this](const CdpEvent& event) { seen.set_value(event.method + '@' + event.session); },
        [this] { closed.set_value(); }));
  }
  ~CdpConnectionTest() override { connection->stop(); }

  // The next command that the browser would get.
  std::string readCommand() const {
    std::string text;
    char c = 0;
    pollfd ready = {commandRead.get(), POLLIN, 0};
    while (::poll(&ready, 1, 10'000) > 0 && ::read(commandRead.get(), &c, 1) == 1 && c != '\0')
      text += c;
    return text;
  }

  void say(const std::string& text) const {
    const std::string framed = text + '\0';
    EXPECT_EQ(::write(eventWrite.get(), framed.data(), framed.size()),
              static_cast<ssize_t>(framed.size()));
  }

  CdpConnection::ReplyHandler tell(std::promise<std::string>& told) {
    return [&told](const CdpReply& reply) {
      told.set_value(reply.ok ? jsonString(reply.result, "x") : "error: " + reply.error);
    };
  }

  UniqueFd commandRead, eventWrite;
  std::promise<std::string> seen;
  std::promise<void> closed;
  std::unique_ptr<CdpConnection> connection;
};

TEST_F(CdpConnectionTest, CommandsAreFramedAndNumbered) {
  connection->call("", "A.b", JsonObject().add("p", 1));
  connection->call("S", "C.d", JsonObject());

  EXPECT_EQ(readCommand(), R"({"id":1,"method":"A.b","params":{"p":1}})");
  EXPECT_EQ(readCommand(), R"({"id":2,"method":"C.d","sessionId":"S","params":{}})");
}

TEST_F(CdpConnectionTest, RepliesFindTheirCalls) {
  std::promise<std::string> first;
  std::promise<std::string> second;
  connection->call("", "A.b", JsonObject(), tell(first));
  connection->call("", "A.b", JsonObject(), tell(second));

  say(R"({"id":2,"result":{"x":"two"}})");
  say(R"({"id":99,"result":{}})");
  say(R"({"id":1,"error":{"code":-32000,"message":"no"}})");

  EXPECT_EQ(first.get_future().get(), "error: no");
  EXPECT_EQ(second.get_future().get(), "two");
}

TEST_F(CdpConnectionTest, EventsArriveAndNonsenseDoesNot) {
  say("nonsense");
  say("[]");
  say(R"({"method":"Page.x","params":{},"sessionId":"S"})");

  EXPECT_EQ(seen.get_future().get(), "Page.x@S");
}

TEST_F(CdpConnectionTest, CallWithoutAnswerRunsOutOfTime) {
  std::promise<std::string> told;
  connection->call("", "A.b", JsonObject(), tell(told), milliseconds(20));

  EXPECT_EQ(told.get_future().get(), "error: no answer in time");
}

TEST_F(CdpConnectionTest, CallsOfASessionThatHasGoneFailAtOnce) {
  std::promise<std::string> gone;
  std::promise<std::string> other;
  connection->call("S", "A.b", JsonObject(), tell(gone));
  connection->call("T", "A.b", JsonObject(), tell(other));

  EXPECT_TRUE(connection->post([&] { connection->forgetSession("S", "the page has ended"); }));

  EXPECT_EQ(gone.get_future().get(), "error: the page has ended");
  say(R"({"id":1,"result":{"x":"late"}})");
  say(R"({"id":2,"result":{"x":"two"}})");
  EXPECT_EQ(other.get_future().get(), "two");
}

TEST_F(CdpConnectionTest, CallsOfOneMethodAreAbandonedAlone) {
  std::promise<std::string> picture;
  std::promise<std::string> other;
  connection->call("S", "A.picture", JsonObject(), tell(picture));
  connection->call("S", "A.b", JsonObject(), tell(other));

  EXPECT_TRUE(connection->post([&] { connection->abandonCalls("S", "A.picture", "too late"); }));

  EXPECT_EQ(picture.get_future().get(), "error: too late");
  say(R"({"id":2,"result":{"x":"two"}})");
  EXPECT_EQ(other.get_future().get(), "two");
}

TEST_F(CdpConnectionTest, EndOfTheBrowserAnswersEverything) {
  std::promise<std::string> told;
  connection->call("", "A.b", JsonObject(), tell(told));

  eventWrite.reset();

  EXPECT_EQ(told.get_future().get(), "error: the browser has ended");
  closed.get_future().get();
  std::promise<std::string> late;
  connection->call("", "A.b", JsonObject(), tell(late));
  EXPECT_EQ(late.get_future().get(), "error: the browser has ended");
  EXPECT_FALSE(connection->post([] { FAIL() << "ran"; }));
}

TEST_F(CdpConnectionTest, BrowserThatReadsNothingHoldsUpNobody) {
  const std::string large(1U << 20, 'x');
  for (int i = 0; i < 5; ++i) connection->call("", "A.b", JsonObject().add("p", large));
  std::promise<void> ran;
  EXPECT_TRUE(connection->post([&] { ran.set_value(); }));

  ran.get_future().get();
}

TEST_F(CdpConnectionTest, ClosedReaderIsTheEndAndNotASignal) {
  commandRead.reset();

  connection->call("", "A.b", JsonObject());

  closed.get_future().get();
}

TEST_F(CdpConnectionTest, MutedConsoleIsSilent) {
  std::promise<void> muted;
  EXPECT_TRUE(connection->post([&] {
    connection->muteConsole("S");
    muted.set_value();
  }));
  muted.get_future().get();

  say(R"({"method":"Runtime.consoleAPICalled","params":{},"sessionId":"S"})");
  say(R"({"method":"Runtime.consoleAPICalled","params":{},"sessionId":"T"})");

  EXPECT_EQ(seen.get_future().get(), "Runtime.consoleAPICalled@T");
}

}  // namespace
}  // namespace workstation
