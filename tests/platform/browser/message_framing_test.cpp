#include "workstation/browser/engine/protocol/message_framing.h"

#include <gmock/gmock.h>

#include <vector>

namespace workstation {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class MessageFramingTest : public testing::Test {
 protected:
  void feed(std::string_view octets) {
    framing.feed(octets, [this](std::string&& text) { messages.push_back(std::move(text)); });
  }

  MessageFraming framing{8};
  std::vector<std::string> messages;
};

TEST_F(MessageFramingTest, OneReadMayHoldSeveralMessages) {
  feed(std::string_view("one\0two\0\0thr", 12));

  EXPECT_THAT(messages, ElementsAre("one", "two", ""));
}

TEST_F(MessageFramingTest, OneMessageMayTakeSeveralReads) {
  feed("o");
  feed("");
  feed("n");
  EXPECT_THAT(messages, IsEmpty());

  feed(std::string_view("e\0", 2));

  EXPECT_THAT(messages, ElementsAre("one"));
}

TEST_F(MessageFramingTest, LimitIsTheLongestThatPasses) {
  feed(std::string_view("12345678\0", 9));
  feed(std::string_view("123456789\0", 10));
  feed(std::string_view("ok\0", 3));

  EXPECT_THAT(messages, ElementsAre("12345678", "ok"));
}

TEST_F(MessageFramingTest, TooLongOneIsDroppedAcrossReads) {
  for (int i = 0; i < 100; ++i) feed("123456");
  feed(std::string_view("\0ok\0", 4));

  EXPECT_THAT(messages, ElementsAre("ok"));
}

}  // namespace
}  // namespace workstation
