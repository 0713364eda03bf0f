#include "tools/wz/host/host_file.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <ostream>
#include <string>
#include <vector>

#include "tools/wz/host/host_texts.h"

namespace wz {
namespace {

using testing::HasSubstr;
using zelipc::JSObject;

JSObject valueOf(const std::string& json) {
  JSObject value;
  EXPECT_GE(value.parse(json.c_str()), 0) << json;
  return value;
}

std::vector<HostRule> rulesOf(const std::string& text) {
  std::vector<HostRule> rules;
  std::string error;
  EXPECT_TRUE(parseHostFile(text, "host.json", rules, error)) << error;
  return rules;
}

// The number of the rule that answers; -1: none.
long long answering(std::vector<HostRule>& rules, const std::string& payload,
                    const std::string& name = "ASK", const std::string& address = "desk") {
  const HostRule* const rule = findRule(rules, address, name, valueOf(payload));
  return rule == nullptr ? -1 : rule - rules.data();
}

TEST(HostFileTest, TheExampleFollowsTheSchema) {
  const std::vector<HostRule> rules = rulesOf(std::string(hostExample()));

  ASSERT_EQ(rules.size(), 5U);
  EXPECT_EQ(rules[0].address, "oatmere-club");
  EXPECT_EQ(rules[0].answers[0].kind, HostAnswer::Kind::kError);
  EXPECT_EQ(rules[1].answers[0].delay.count(), 300);
  EXPECT_EQ(rules[3].answers.size(), 3U);
  EXPECT_EQ(rules[4].address, "printer");
  EXPECT_EQ(rules[4].times, 1);
}

TEST(HostFileTest, TheFirstRuleThatFitsAnswers) {
  std::vector<HostRule> rules = rulesOf(R"({"address": "desk", "rules": [
    {"name": "ASK", "when": {"card": "7"}, "silence": true},
    {"name": "ASK", "when": {"card": {"exists": true}}, "silence": true},
    {"name": "ASK", "silence": true},
    {"name": "TELL", "address": "till", "silence": true}]})");

  EXPECT_EQ(answering(rules, R"({"card": "7"})"), 0);
  EXPECT_EQ(answering(rules, R"({"card": 7})"), 1);
  EXPECT_EQ(answering(rules, "{}"), 2);
  EXPECT_EQ(answering(rules, "{}", "TELL"), -1);
  EXPECT_EQ(answering(rules, "{}", "TELL", "till"), 3);
  EXPECT_EQ(answering(rules, "{}", "ASK", "till"), -1);
}

TEST(HostFileTest, ARuleThatIsUsedUpIsPassedOver) {
  std::vector<HostRule> rules = rulesOf(R"({"address": "desk", "rules": [
    {"name": "ASK", "times": 2, "silence": true}, {"name": "ASK", "silence": true}]})");

  EXPECT_EQ(answering(rules, "{}"), 0);
  EXPECT_EQ(answering(rules, "{}"), 0);
  EXPECT_EQ(answering(rules, "{}"), 1);
}

struct WrongFile {
  const char* name;
  const char* text;
  const char* message;
};

void PrintTo(const WrongFile& row, std::ostream* out) { *out << row.name; }

class WrongHostFileTest : public testing::TestWithParam<WrongFile> {};

TEST_P(WrongHostFileTest, IsExplained) {
  std::vector<HostRule> rules;
  std::string error;

  EXPECT_FALSE(parseHostFile(GetParam().text, "host.json", rules, error));

  EXPECT_THAT(error, HasSubstr("host.json"));
  EXPECT_THAT(error, HasSubstr(GetParam().message));
}

INSTANTIATE_TEST_SUITE_P(
    Rows, WrongHostFileTest,
    testing::Values(
        WrongFile{"NoJson", "{\n  \"rules\" []}",
                  " is no JSON: Missing a colon after a name of "
                  "object member. (line 2, column 11)"},
        WrongFile{"Empty", "", "(line 1, column 1)"},
        WrongFile{"ByteOrderMark", "\xEF\xBB\xBF{\"rules\": []}",
                  " is no JSON: It begins with a byte order mark"},
        WrongFile{"NoObject", "[]", "the file is of another type than it must be: object"},
        WrongFile{"NoRules", "{}", "the file lacks a member that must be there: rules"},
        WrongFile{"EmptyRules", R"({"rules": []})", "/rules is empty"},
        WrongFile{"RulesOfAnotherType", R"({"rules": {}})",
                  "/rules is of another type than it must be: array"},
        WrongFile{"UnknownMember", R"({"rules": [{"name": "A", "address": "d", "reply": 1,
                  "dleay": 2}]})",
                  "has a member that is not known"},
        WrongFile{"NoName", R"({"rules": [{"address": "d", "reply": 1}]})",
                  "/rules/0 lacks a member that must be there: name"},
        WrongFile{"NoAddress", R"({"rules": [{"name": "A", "reply": 1}]})",
                  "/rules/0 needs an address"},
        WrongFile{"NoAnswer", R"({"rules": [{"name": "A", "address": "d"}]})",
                  "/rules/0 needs one of reply"},
        WrongFile{"TwoAnswers",
                  R"({"rules": [{"name": "A", "address": "d", "reply": 1, "silence": true}]})",
                  "/rules/0 has more than one answer: reply and silence"},
        WrongFile{"SequenceAndReply", R"({"rules": [{"name": "A", "address": "d", "reply": 1,
                  "sequence": [{"reply": 2}]}]})",
                  "/rules/0 has both a sequence and reply"},
        WrongFile{"EmptySequence", R"({"rules": [{"name": "A", "address": "d", "sequence": []}]})",
                  "/rules/0/sequence is empty"},
        WrongFile{"NegativeDelay",
                  R"({"rules": [{"name": "A", "address": "d", "reply": 1, "delay": -1}]})",
                  "/rules/0/delay is too small"},
        WrongFile{"UnknownTest", R"({"rules": [{"name": "A", "address": "d", "reply": 1,
                  "when": {"x": {"above": 1}}}]})",
                  "/rules/0/when/x is neither a value nor an object of tests"},
        WrongFile{"MemberTwice", R"({"rules": [{"name": "A", "address": "d", "reply": 1,
                  "delay": 2, "delay": 3}]})",
                  "/rules/0/delay is given twice"},
        WrongFile{"MemberOfAReplyTwice", R"({"rules": [{"name": "A", "address": "d",
                  "reply": [{"x": {"y": 1, "z": 2, "y": 1}}]}]})",
                  "/rules/0/reply/0/x/y is given twice"},
        WrongFile{"Expression", R"({"rules": [{"name": "A", "address": "d", "reply": 1,
                  "when": {"x": {"matches": "("}}}]})",
                  "/rules/0/when: the expression ( of x is none"}),
    [](const auto& row) { return std::string(row.param.name); });

}  // namespace
}  // namespace wz
