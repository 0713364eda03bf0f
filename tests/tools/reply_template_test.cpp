#include "tools/wz/host/reply_template.h"

#include <gtest/gtest.h>

#include <ostream>
#include <string>

namespace wz {
namespace {

using zelipc::JSObject;

JSObject valueOf(const std::string& json) {
  JSObject value;
  EXPECT_GE(value.parse(json.c_str()), 0) << json;
  return value;
}

struct Filling {
  const char* name;
  const char* value;
  const char* filled;
};

void PrintTo(const Filling& row, std::ostream* out) { *out << row.name; }

class ReplyTemplateTest : public testing::TestWithParam<Filling> {};

TEST_P(ReplyTemplateTest, FillsIn) {
  const TemplateValues values{"shop",
                              "desk",
                              "ASK",
                              3,
                              valueOf(R"({"card": {"number": 7}, "a.b": "dotted", "items":
                                          [{"id": "x"}], "text": "{{card}}"})"),
                              2};

  EXPECT_EQ(filledIn(valueOf(GetParam().value), values).dump(), valueOf(GetParam().filled).dump());
}

INSTANTIATE_TEST_SUITE_P(
    Rows, ReplyTemplateTest,
    testing::Values(
        Filling{"NoPlaceholder", R"({"a": [1, "b", null, true]})",
                R"({"a": [1, "b", null, true]})"},
        Filling{"WholeValue", R"(["{{card}}"])", R"([{"number": 7}])"},
        Filling{"Number", R"("{{card.number}}")", "7"},
        Filling{"InText", R"("no. {{card.number}}, {{items.0.id}}")", R"("no. 7, x")"},
        Filling{"Notification", R"("{{$from}}>{{$to}} {{$name}} {{$flags}} {{$count}}")",
                R"("shop>desk ASK 3 2")"},
        Filling{"Count", R"("{{$count}}")", "2"},
        Filling{"DottedName", R"("{{a.b}}")", R"("dotted")"},
        Filling{"Missing", R"(["{{none}}", "a{{none}}b", "{{items.1}}"])", R"([null, "ab", null])"},
        Filling{"Unclosed", R"("{{card")", R"("{{card")"},
        Filling{"NotTwice", R"("<{{text}}>")", R"("<{{card}}>")"}),
    [](const auto& row) { return std::string(row.param.name); });

struct Condition {
  const char* name;
  const char* condition;
  const char* payload;
  bool isMet;
};

void PrintTo(const Condition& row, std::ostream* out) { *out << row.name; }

class ConditionTest : public testing::TestWithParam<Condition> {};

TEST_P(ConditionTest, IsMetOrNot) {
  EXPECT_EQ(meets(valueOf(GetParam().condition), valueOf(GetParam().payload)), GetParam().isMet);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, ConditionTest,
    testing::Values(
        Condition{"None", "{}", "7", true},
        Condition{"Equal", R"({"a": 1})", R"({"a": 1.0})", true},
        Condition{"OtherType", R"({"a": 1})", R"({"a": "1"})", false},
        Condition{"Absent", R"({"a": null})", "{}", false},
        Condition{"Array", R"({"a": [1, 2]})", R"({"a": [1, 2]})", true},
        Condition{"OrderOfArrays", R"({"a": [1, 2]})", R"({"a": [2, 1]})", false},
        Condition{"OrderOfMembers", R"({"a": {"is": {"x": 1, "y": 2}}})",
                  R"({"a": {"y": 2, "x": 1}})", true},
        Condition{"All", R"({"a": 1, "b": 2})", R"({"a": 1, "b": 3})", false},
        Condition{"Path", R"({"a.0.b": 1})", R"({"a": [{"b": 1}]})", true},
        Condition{"ThroughText", R"({"a.b": 1})", R"({"a": "b"})", false},
        Condition{"Not", R"({"a": {"not": 1}})", R"({"a": 2})", true},
        Condition{"NotAbsent", R"({"a": {"not": 1}})", "{}", true},
        Condition{"In", R"({"a": {"in": [1, 2]}})", R"({"a": 2})", true},
        Condition{"NotIn", R"({"a": {"in": [1, 2]}})", R"({"a": 3})", false},
        Condition{"Exists", R"({"a": {"exists": true}})", R"({"a": null})", true},
        Condition{"ExistsNot", R"({"a": {"exists": false}})", R"({"a": null})", false},
        Condition{"Min", R"({"a": {"min": 5}})", R"({"a": 5})", true},
        Condition{"BelowMin", R"({"a": {"min": 5}})", R"({"a": 4.9})", false},
        Condition{"Max", R"({"a": {"min": 1, "max": 5}})", R"({"a": 5})", true},
        Condition{"AboveMax", R"({"a": {"max": 5}})", R"({"a": 6})", false},
        Condition{"MinOfText", R"({"a": {"min": 5}})", R"({"a": "6"})", false},
        Condition{"Contains", R"({"a": {"contains": "b"}})", R"({"a": "abc"})", true},
        Condition{"Matches", R"({"a": {"matches": "^[0-9]+$"}})", R"({"a": "471"})", true},
        Condition{"MatchesNot", R"({"a": {"matches": "^[0-9]+$"}})", R"({"a": "4x1"})", false}),
    [](const auto& row) { return std::string(row.param.name); });

// An expression may take very long over it.
TEST(ConditionTest, ATextThatIsTooLongForAnExpressionDoesNotMatch) {
  JSObject payload;
  payload["a"] = JSObject(std::string(1 << 20, 'x'));

  EXPECT_FALSE(meets(valueOf(R"({"a": {"matches": "^(x|y)*$"}})"), payload));
}

}  // namespace
}  // namespace wz
