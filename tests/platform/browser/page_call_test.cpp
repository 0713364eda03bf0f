#include "workstation/browser/engine/page/page_call.h"

#include <gtest/gtest.h>

namespace workstation {
namespace {

TEST(PageCallTest, ReadsANotification) {
  PageCall call;

  ASSERT_TRUE(readPageCall(
      R"({"op":"notify","id":5,"to":"1","name":"n","json":"{\"a\":1}","flags":4294967295,"from":"f"})",
      call));

  EXPECT_EQ(call.kind, PageCall::Kind::kScript);
  EXPECT_EQ(call.id, 5);
  EXPECT_EQ(call.script.kind, ScriptCall::Kind::kNotify);
  EXPECT_EQ(call.script.json, "{\"a\":1}");
  EXPECT_EQ(call.script.flags, 4294967295U);
}

TEST(PageCallTest, ReadsABlockingCall) {
  PageCall call;

  ASSERT_TRUE(readPageCall(
      R"({"op":"waitSync","id":1125899906842625,"to":"1","name":"n","json":"{}","flags":0,)"
      R"("from":"f","replyName":"r","timeout":-1})",
      call));

  EXPECT_EQ(call.kind, PageCall::Kind::kBlocking);
  EXPECT_EQ(call.id, 1125899906842625);
  EXPECT_EQ(call.script.replyName, "r");
  EXPECT_EQ(call.script.timeoutMs, -1);
}

TEST(PageCallTest, ReadsAnEnd) {
  PageCall call;

  ASSERT_TRUE(readPageCall(
      R"({"op":"exit","result":-3,"properties":[["__proto__","x"],["a\u0000","b"]]})", call));

  EXPECT_EQ(call.kind, PageCall::Kind::kExit);
  EXPECT_EQ(call.result, -3);
  EXPECT_EQ(call.properties.at("__proto__"), "x");
  EXPECT_EQ(call.properties.at(std::string("a\0", 2)), "b");
}

TEST(PageCallTest, LoneSurrogatesInsideOfThePayloadAreReplaced) {
  PageCall call;

  ASSERT_TRUE(readPageCall(
      R"({"op":"notify","id":1,"to":"1","name":"n","json":"\"\\ud800\"","flags":0,"from":""})",
      call));

  EXPECT_EQ(call.script.json, R"("\ufffd")");
}

TEST(PageCallTest, AnythingElseIsRefused) {
  for (const char* payload :
       {"", "5", "[]", "{}", R"({"op":"fly"})", R"({"op":5})",
        R"({"op":"notify","id":1,"to":"1","name":"n","json":"{}","flags":-1,"from":"f"})",
        R"({"op":"log","level":8,"texts":[]})", R"({"op":"log","level":1,"texts":"x"})",
        R"({"op":"exit","result":2147483648,"properties":[]})",
        R"({"op":"exit","result":0,"properties":[["a"]]})",
        R"({"op":"exit","result":0,"properties":{}})"}) {
    PageCall call;
    EXPECT_FALSE(readPageCall(payload, call)) << payload;
  }
}

}  // namespace
}  // namespace workstation
