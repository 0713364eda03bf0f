// JSObject as a value: what its kinds answer, how it is changed and copied.

#include "zelipc/zelipc.h"

#include <climits>
#include <limits>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using zelipc::JSObject;

JSObject nullValue() {
  JSObject object;
  return object["nothing"];
}

JSObject parsed(const std::string& text) {
  JSObject object;
  EXPECT_EQ(object.parse(text.c_str()), static_cast<int>(text.size())) << text;
  return object;
}

struct KindCase {
  const char* text;
  const char* kinds;  // the letters of the questions that are answered by yes
};

std::string kindsOf(const JSObject& value) {
  std::string kinds;
  if (value.isNull()) kinds += 'n';
  if (value.isBool()) kinds += 'b';
  if (value.isInt()) kinds += 'i';
  if (value.isNumber()) kinds += '#';
  if (value.isString()) kinds += 's';
  if (value.isArray()) kinds += 'a';
  if (value.isObject()) kinds += 'o';
  return kinds;
}

class JSObjectKindTest : public ::testing::TestWithParam<KindCase> {};

TEST_P(JSObjectKindTest, AnswersForItsOwnKindOnly) {
  const JSObject value = parsed(GetParam().text);

  EXPECT_EQ(kindsOf(value), GetParam().kinds);
}

INSTANTIATE_TEST_SUITE_P(Kinds, JSObjectKindTest,
                         ::testing::Values(KindCase{"null", "n"}, KindCase{"true", "b"},
                                           KindCase{"false", "b"}, KindCase{"0", "i#"},
                                           KindCase{"-7", "i#"}, KindCase{"1.0", "#"},
                                           KindCase{"1e2", "#"}, KindCase{"\"\"", "s"},
                                           KindCase{"[]", "a"}, KindCase{"[1]", "a"},
                                           KindCase{"{}", "o"}, KindCase{"{\"a\":1}", "o"}));

TEST(JSObjectTest, IsTheEmptyObjectWhenMade) {
  const JSObject object;

  EXPECT_EQ(kindsOf(object), "o");
  EXPECT_EQ(object.size(), 0U);
  EXPECT_EQ(object.dump(), "{}");
  EXPECT_THAT(object.keys(), IsEmpty());
}

TEST(JSObjectTest, HoldsWhatItIsMadeOf) {
  EXPECT_TRUE(JSObject(true).asBool());
  EXPECT_EQ(JSObject(-5).asInt(), -5);
  EXPECT_EQ(JSObject(LLONG_MIN).asInt(), LLONG_MIN);
  EXPECT_EQ(JSObject(0.5).asDouble(), 0.5);
  EXPECT_EQ(JSObject("text").asString(), "text");
  EXPECT_EQ(JSObject(std::string("a\0b", 3)).asString(), std::string("a\0b", 3));
  EXPECT_EQ(JSObject::array().dump(), "[]");
}

TEST(JSObjectTest, OfANullPointerIsNull) {
  const char* const nothing = nullptr;

  EXPECT_EQ(kindsOf(JSObject(nothing)), "n");
}

TEST(JSObjectTest, ReadsAsNothingWhereAnotherKindIsAskedFor) {
  for (const char* const text : {"null", "[true]", "{\"a\":\"b\"}"}) {
    const JSObject value = parsed(text);

    EXPECT_FALSE(value.asBool()) << text;
    EXPECT_EQ(value.asInt(), 0) << text;
    EXPECT_EQ(value.asDouble(), 0) << text;
    EXPECT_EQ(value.asString(), "") << text;
  }
  EXPECT_FALSE(JSObject(1).asBool());
  EXPECT_FALSE(JSObject("true").asBool());
  EXPECT_EQ(JSObject("1").asInt(), 0);
  EXPECT_EQ(JSObject(true).asInt(), 0);
  EXPECT_EQ(JSObject(1).asString(), "");
}

TEST(JSObjectTest, NumbersReadAsEitherType) {
  EXPECT_EQ(JSObject(7).asDouble(), 7.0);
  EXPECT_EQ(JSObject(7.9).asInt(), 7);
  EXPECT_EQ(JSObject(-7.9).asInt(), -7);
}

TEST(JSObjectTest, ADoubleBeyondTheIntegersReadsAsTheNearestOne) {
  constexpr double kInfinity = std::numeric_limits<double>::infinity();

  EXPECT_EQ(JSObject(9223372036854775808.0).asInt(), LLONG_MAX);
  EXPECT_EQ(JSObject(-9223372036854775808.0).asInt(), LLONG_MIN);
  EXPECT_EQ(JSObject(1e300).asInt(), LLONG_MAX);
  EXPECT_EQ(JSObject(kInfinity).asInt(), LLONG_MAX);
  EXPECT_EQ(JSObject(-kInfinity).asInt(), LLONG_MIN);
  EXPECT_EQ(JSObject(std::numeric_limits<double>::quiet_NaN()).asInt(), 0);
}

TEST(JSObjectTest, CountsElementsAndMembers) {
  EXPECT_EQ(parsed("[1,[2,3]]").size(), 2U);
  EXPECT_EQ(parsed("{\"a\":{},\"b\":1}").size(), 2U);
  EXPECT_EQ(JSObject("text").size(), 0U);
  EXPECT_EQ(nullValue().size(), 0U);
}

TEST(JSObjectTest, FindsMembersByName) {
  const JSObject object = parsed("{\"a\":1,\"\":2,\"a\\u0000b\":3}");

  EXPECT_TRUE(object.has("a"));
  EXPECT_EQ(object[""].asInt(), 2);
  EXPECT_EQ(object[std::string("a\0b", 3)].asInt(), 3);
  EXPECT_FALSE(object.has("A"));
  EXPECT_FALSE(JSObject::array().has(""));
}

TEST(JSObjectTest, WhatIsMissingIsTheSharedNull) {
  const JSObject object = parsed("{\"list\":[1]}");
  const JSObject number(5);

  EXPECT_TRUE(object["missing"].isNull());
  EXPECT_TRUE(object["list"].at(1).isNull());
  EXPECT_TRUE(object["list"].at(SIZE_MAX).isNull());
  EXPECT_TRUE(number["a"]["b"].at(3)["c"].isNull());
  EXPECT_EQ(&object["missing"], &number.at(0));
  EXPECT_EQ(object.size(), 1U);
}

TEST(JSObjectTest, IndexingForWritingInsertsNull) {
  JSObject object;

  object["a"];

  EXPECT_EQ(object.dump(), "{\"a\":null}");
}

TEST(JSObjectTest, IndexingForWritingMakesAnObjectOfAnything) {
  for (const JSObject& kind : {JSObject(1), JSObject("x"), JSObject::array(), nullValue()}) {
    JSObject value = kind;

    value["a"] = 1;

    EXPECT_EQ(value.dump(), "{\"a\":1}");
  }
}

TEST(JSObjectTest, AppendingMakesAnArrayOfAnything) {
  for (const JSObject& kind : {JSObject(1), JSObject("x"), JSObject(), nullValue()}) {
    JSObject value = kind;

    value.append(1);

    EXPECT_EQ(value.dump(), "[1]");
  }
}

TEST(JSObjectTest, AppendGivesTheNewElement) {
  JSObject list;

  list.append(JSObject())["name"] = "first";
  list.append(2) = 3;

  EXPECT_EQ(list.dump(), "[{\"name\":\"first\"},3]");
}

TEST(JSObjectTest, MembersKeepTheOrderInWhichTheyCame) {
  JSObject object = parsed("{\"z\":1,\"a\":2,\"m\":3}");

  object["b"] = 4;
  object["z"] = 5;

  EXPECT_THAT(object.keys(), ElementsAre("z", "a", "m", "b"));
  EXPECT_EQ(object.dump(), "{\"z\":5,\"a\":2,\"m\":3,\"b\":4}");
}

TEST(JSObjectTest, ManyMembersAreFoundToo) {
  JSObject object;
  for (int i = 0; i < 1000; ++i) object["member" + std::to_string(i)] = i;

  const JSObject copy = object;

  EXPECT_EQ(copy.size(), 1000U);
  for (int i = 0; i < 1000; ++i) ASSERT_EQ(copy["member" + std::to_string(i)].asInt(), i);
  EXPECT_FALSE(copy.has("member1000"));
  EXPECT_EQ(copy.keys()[15], "member15");
}

TEST(JSObjectTest, ReferencesStayGoodWhileOthersAreAdded) {
  JSObject object;
  JSObject& member = object["first"];
  JSObject& element = object["list"].append(0);

  for (int i = 0; i < 100; ++i) {
    object[std::to_string(i)] = i;
    object["list"].append(i);
  }
  member = "still here";
  element = "here too";

  EXPECT_EQ(object["first"].asString(), "still here");
  EXPECT_EQ(object["list"].at(0).asString(), "here too");
}

TEST(JSObjectTest, EveryElementIsFoundWhereItWasAdded) {
  JSObject object;
  std::vector<JSObject*> added;

  for (int i = 0; i < 500; ++i) {
    added.push_back(&object["list"].append(i));
    ASSERT_EQ(object["list"].size(), added.size());
  }

  const JSObject copy = object["list"];
  for (int i = 0; i < 500; ++i) {
    const std::size_t index = static_cast<std::size_t>(i);
    ASSERT_EQ(&std::as_const(object)["list"].at(index), added[index]);
    ASSERT_EQ(copy.at(index).asInt(), i);
  }
  EXPECT_TRUE(copy.at(500).isNull());
  EXPECT_EQ(parsed(copy.dump()).dump(), copy.dump());
}

// What is read lies in memory as it was read, what is added elsewhere.
TEST(JSObjectTest, WhatIsReadGrowsWithoutMoving) {
  for (int read = 0; read < 260; read = read < 70 ? read + 1 : read + 31) {
    std::string text = "[";
    for (int i = 0; i < read; ++i) text += (i == 0 ? "" : ",") + std::to_string(i);
    JSObject list = parsed(text + "]");
    std::vector<const JSObject*> places;
    for (int i = 0; i < read; ++i) {
      places.push_back(&std::as_const(list).at(static_cast<std::size_t>(i)));
    }

    for (int i = read; i < read + 100; ++i) places.push_back(&list.append(i));

    ASSERT_EQ(list.size(), places.size());
    for (std::size_t i = 0; i < places.size(); ++i) {
      ASSERT_EQ(&std::as_const(list).at(i), places[i]) << read;
      ASSERT_EQ(places[i]->asInt(), static_cast<long long>(i)) << read;
    }
  }
}

TEST(JSObjectTest, OfManyMembersThatAreReadTheLastOfEachNameCounts) {
  for (int count = 120; count < 135; ++count) {
    std::string text = "{";
    for (int i = 0; i < 2 * count; ++i) {
      text += '"' + std::to_string(i % count) + "\":" + std::to_string(i) + ",";
    }
    text.back() = '}';

    const JSObject object = parsed(text);

    ASSERT_EQ(object.size(), static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i) {
      ASSERT_EQ(object[std::to_string(i)].asInt(), count + i);
      ASSERT_EQ(object.keys()[static_cast<std::size_t>(i)], std::to_string(i));
    }
  }
}

TEST(JSObjectTest, ACopyIsAValueOfItsOwn) {
  JSObject original = parsed("{\"a\":{\"b\":[1,2]}}");
  JSObject copy = original;

  copy["a"]["b"].append(3);
  original["a"]["c"] = true;

  EXPECT_EQ(copy.dump(), "{\"a\":{\"b\":[1,2,3]}}");
  EXPECT_EQ(original.dump(), "{\"a\":{\"b\":[1,2],\"c\":true}}");
}

TEST(JSObjectTest, AssigningReplacesTheValueInItsPlace) {
  JSObject object = parsed("{\"a\":[1,2],\"b\":1}");
  const JSObject empty;

  object["a"] = JSObject("text");
  object["b"] = empty;

  EXPECT_EQ(object.dump(), "{\"a\":\"text\",\"b\":{}}");
}

TEST(JSObjectTest, AValueMayBeAssignedItsOwnPart) {
  JSObject object = parsed("{\"a\":{\"b\":[1,{\"c\":2}]}}");

  object = object["a"];
  object = object["b"];
  object = object.at(1);

  EXPECT_EQ(object.dump(), "{\"c\":2}");
}

TEST(JSObjectTest, AValueMayBecomeItsOwnPart) {
  JSObject object = parsed("{\"a\":1}");
  JSObject list = parsed("[1]");

  object["a"] = object;
  list.append(list);

  EXPECT_EQ(object.dump(), "{\"a\":{\"a\":1}}");
  EXPECT_EQ(list.dump(), "[1,[1]]");
}

TEST(JSObjectTest, AppendingItsOwnPartToWhatIsNoArrayYet) {
  JSObject object = parsed("{\"a\":[1,2]}");

  object.append(object["a"]);

  EXPECT_EQ(object.dump(), "[[1,2]]");
}

TEST(JSObjectTest, AssigningToItselfChangesNothing) {
  JSObject object = parsed("{\"a\":[1]}");
  const JSObject& same = object;

  object = same;

  EXPECT_EQ(object.dump(), "{\"a\":[1]}");
}

TEST(JSObjectTest, IsAsLargeAsAPointer) { EXPECT_EQ(sizeof(JSObject), sizeof(void*)); }

// The shared null is there for as long as anything of the process runs.
class AsksAtTheEnd {
 public:
  ~AsksAtTheEnd() {
    const JSObject object;
    if (!object["missing"].isNull()) std::abort();
  }
};
const AsksAtTheEnd kAsksAtTheEnd;

}  // namespace
