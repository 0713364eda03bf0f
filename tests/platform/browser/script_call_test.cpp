#include "workstation/browser/js/script_call.h"

#include <gtest/gtest.h>

namespace workstation {
namespace {

ScriptCall fullCall(ScriptCall::Kind kind) {
  ScriptCall call;
  call.kind = kind;
  call.to = "1";
  call.name = "quote\" slash\\ line\n";
  call.json = R"({"a":"\u0000"})";
  call.from = "\xE2\x82\xAC";
  call.flags = 4294967295U;
  call.replyName = std::string("r\0r", 3);
  call.timeoutMs = -2147483647 - 1;
  call.level = 7;
  call.texts = {"", std::string("\0", 1), "x"};
  call.info = {{"url", "https://a.invalid/"}, {"", "empty"}};
  return call;
}

class ScriptCallTest : public testing::TestWithParam<ScriptCall::Kind> {};

TEST_P(ScriptCallTest, ReadsBackAsWritten) {
  const ScriptCall sent = fullCall(GetParam());
  ScriptCall read;

  ASSERT_TRUE(readScriptSource(scriptSource(sent), read));

  EXPECT_EQ(read.kind, sent.kind);
  EXPECT_EQ(read.to, sent.to);
  EXPECT_EQ(read.name, sent.name);
  EXPECT_EQ(read.json, sent.json);
  EXPECT_EQ(read.from, sent.from);
  EXPECT_EQ(read.flags, sent.flags);
  EXPECT_EQ(read.replyName, sent.replyName);
  EXPECT_EQ(read.timeoutMs, sent.timeoutMs);
  EXPECT_EQ(read.level, sent.level);
  EXPECT_EQ(read.texts, sent.texts);
  EXPECT_EQ(read.info, sent.info);
}

INSTANTIATE_TEST_SUITE_P(Kinds, ScriptCallTest,
                         testing::Values(ScriptCall::Kind::kNotify,
                                         ScriptCall::Kind::kNotifyAndWait, ScriptCall::Kind::kLog,
                                         ScriptCall::Kind::kTrace));

TEST(ScriptCallSourceTest, OctetsThatAreNoTextArriveReplaced) {
  ScriptCall sent;
  sent.texts = {"a\xFF"};
  ScriptCall read;

  ASSERT_TRUE(readScriptSource(scriptSource(sent), read));

  EXPECT_EQ(read.texts, std::vector<std::string>{"a\xEF\xBF\xBD"});
}

TEST(ScriptCallSourceTest, SourcesOfOtherMakingAreRefused) {
  for (const char* source : {"", "null", "{}", R"({"call":"notify"})",
                             R"({"call":"notify","flags":"1","texts":[],"info":{}})",
                             R"({"call":"notify","flags":1,"texts":{},"info":{}})",
                             R"({"call":"notify","flags":1,"texts":[],"info":[]})"}) {
    ScriptCall call;
    EXPECT_FALSE(readScriptSource(source, call)) << source;
  }
}

}  // namespace
}  // namespace workstation
