#include "workstation/browser/engine/page/blocking_calls.h"

#include <gtest/gtest.h>

namespace workstation {
namespace {

class BlockingCallsTest : public testing::Test {
 protected:
  bool accepted = false;
  BlockingCalls calls;
};

TEST_F(BlockingCallsTest, RequestWaitsForTheReply) {
  calls.begin(7);

  EXPECT_FALSE(calls.addRequest(7, "r", accepted));
  EXPECT_TRUE(accepted);
  EXPECT_TRUE(calls.isHeld());
  const auto answer = calls.addReply(7, "body");

  ASSERT_TRUE(answer);
  EXPECT_EQ(answer->requestId, "r");
  EXPECT_EQ(answer->body, "body");
  EXPECT_FALSE(calls.isHeld());
}

TEST_F(BlockingCallsTest, ReplyWaitsForTheRequest) {
  calls.begin(7);

  EXPECT_FALSE(calls.addReply(7, "body"));
  EXPECT_FALSE(calls.isHeld());

  EXPECT_TRUE(calls.addRequest(7, "r", accepted));
}

TEST_F(BlockingCallsTest, RequestMayOvertakeItsCall) {
  EXPECT_FALSE(calls.addRequest(7, "r", accepted));
  calls.begin(7);

  EXPECT_TRUE(calls.addReply(7, "body"));
}

TEST_F(BlockingCallsTest, DroppedCallsTakeNoReply) {
  calls.begin(7);
  calls.drop(7);

  EXPECT_FALSE(calls.addReply(7, "body"));
  EXPECT_FALSE(calls.isHeld());
}

TEST_F(BlockingCallsTest, InventedRequestsAreHeldUpToALimit) {
  int held = 0;
  for (int i = 0; i < 1000; ++i) {
    EXPECT_FALSE(calls.addRequest(i, "r", accepted));
    held += accepted ? 1 : 0;
  }

  EXPECT_EQ(held, 256);
}

}  // namespace
}  // namespace workstation
