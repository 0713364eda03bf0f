// The bound of nesting: whatever way a tree is made, it can be copied, written and destroyed on a
// small stack.

#include <pthread.h>

#include <string>

#include <gtest/gtest.h>

#include "zelipc/zelipc.h"

namespace {

using zelipc::JSObject;

constexpr int kDeepest = 512;
constexpr int kFarTooDeep = 100'000;

std::string nestedArrays(int levels) {
  return std::string(static_cast<std::size_t>(levels), '[') +
         std::string(static_cast<std::size_t>(levels), ']');
}

std::string nestedObjects(int levels) {
  std::string text;
  for (int i = 1; i < levels; ++i) text += "{\"a\":";
  text += "{}";
  return text + std::string(static_cast<std::size_t>(levels - 1), '}');
}

int depth(const std::string& text) {
  int levels = 0;
  for (const char c : text) levels += c == '[' || c == '{' ? 1 : 0;
  return levels;
}

struct NestingCase {
  std::string text;
  bool accepted;
};

class JSObjectNestingTest : public ::testing::TestWithParam<NestingCase> {};

TEST_P(JSObjectNestingTest, IsBoundedForTexts) {
  const NestingCase& row = GetParam();
  JSObject object("before");

  const int consumed = object.parse(row.text.c_str());

  EXPECT_EQ(consumed, row.accepted ? static_cast<int>(row.text.size()) : -1);
  EXPECT_EQ(object.dump(), row.accepted ? row.text : "{}");
}

INSTANTIATE_TEST_SUITE_P(Levels, JSObjectNestingTest,
                         ::testing::Values(NestingCase{nestedArrays(kDeepest), true},
                                           NestingCase{nestedArrays(kDeepest + 1), false},
                                           NestingCase{nestedObjects(kDeepest), true},
                                           NestingCase{nestedObjects(kDeepest + 1), false},
                                           NestingCase{nestedArrays(kFarTooDeep), false},
                                           NestingCase{std::string(kFarTooDeep, '['), false}));

TEST(JSObjectNestingTest, MembersBeyondTheBoundAreLost) {
  JSObject root;
  JSObject* place = &root;
  for (int i = 0; i < kFarTooDeep; ++i) place = &(*place)["a"];

  *place = "lost";

  const std::string text = root.dump();
  EXPECT_EQ(depth(text), kDeepest);
  EXPECT_EQ(text.find("lost"), std::string::npos);
  EXPECT_NE(text.find("{\"a\":null}"), std::string::npos);
}

TEST(JSObjectNestingTest, ElementsBeyondTheBoundAreLost) {
  JSObject root;
  JSObject* place = &root;
  for (int i = 0; i < kFarTooDeep; ++i) place = &place->append(JSObject("x"));

  *place = "lost";

  const std::string text = root.dump();
  EXPECT_EQ(depth(text), kDeepest);
  EXPECT_EQ(text.find("lost"), std::string::npos);
}

TEST(JSObjectNestingTest, ASimpleValueStandsOneLevelBelowTheDeepestContainer) {
  JSObject root;
  JSObject* place = &root;
  for (int i = 0; i < kDeepest; ++i) place = &(*place)["a"];

  *place = 7;

  EXPECT_NE(root.dump().find("{\"a\":7}"), std::string::npos);
}

TEST(JSObjectNestingTest, WhatACopyCarriesBeyondTheBoundIsNull) {
  JSObject tree;
  ASSERT_GT(tree.parse(nestedArrays(kDeepest).c_str()), 0);
  JSObject wrapped;

  wrapped.append(tree);

  std::string expected = nestedArrays(kDeepest);
  expected.insert(kDeepest, "null");
  EXPECT_EQ(wrapped.dump(), expected);
}

TEST(JSObjectNestingTest, WrappingAgainAndAgainStaysBounded) {
  JSObject tree;
  for (int i = 0; i < kDeepest + 100; ++i) {
    JSObject wrapped;
    wrapped["a"] = tree;
    tree = wrapped;
  }

  EXPECT_EQ(depth(tree.dump()), kDeepest);
}

TEST(JSObjectNestingTest, APartMayBeParsedIntoUpToTheBoundOfTheWhole) {
  JSObject root;
  JSObject& part = root["a"]["b"];

  const int accepted = part.parse(nestedArrays(kDeepest - 2).c_str());
  const std::string whole = root.dump();
  const int refused = part.parse(nestedArrays(kDeepest - 1).c_str());

  EXPECT_EQ(accepted, 2 * (kDeepest - 2));
  EXPECT_EQ(depth(whole), kDeepest);
  EXPECT_EQ(refused, -1);
  EXPECT_EQ(root.dump(), "{\"a\":{\"b\":{}}}");
}

TEST(JSObjectNestingTest, AFailedParseBelowTheBoundLeavesNull) {
  JSObject root;
  JSObject* place = &root;
  for (int i = 0; i < kDeepest; ++i) place = &(*place)["a"];
  *place = 7;

  const int consumed = place->parse("[]");

  EXPECT_EQ(consumed, -1);
  EXPECT_TRUE(place->isNull());
}

void* useDeepTree(void* text) {
  JSObject tree;
  tree.parse(static_cast<const std::string*>(text)->c_str());
  JSObject copy = tree;
  copy = tree;
  static_cast<std::string*>(text)->assign(copy.dump());
  return nullptr;
}

TEST(JSObjectNestingTest, TheDeepestTreeIsHandledOnASmallStack) {
  constexpr std::size_t kStack = 512 * 1024;
  const std::string deepest = nestedObjects(kDeepest);
  std::string text = deepest;
  pthread_attr_t attributes;
  ASSERT_EQ(pthread_attr_init(&attributes), 0);
  ASSERT_EQ(pthread_attr_setstacksize(&attributes, kStack), 0);
  pthread_t thread;

  ASSERT_EQ(pthread_create(&thread, &attributes, useDeepTree, &text), 0);
  ASSERT_EQ(pthread_join(thread, nullptr), 0);

  pthread_attr_destroy(&attributes);
  EXPECT_EQ(text, deepest);
}

}  // namespace
