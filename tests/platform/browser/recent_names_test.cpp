#include "workstation/browser/engine/files/recent_names.h"

#include <gtest/gtest.h>

namespace workstation {
namespace {

TEST(RecentNamesTest, RemembersWhatWasAdded) {
  RecentNames names(2);
  names.add("a");

  EXPECT_TRUE(names.contains("a"));
  EXPECT_FALSE(names.contains("b"));
}

TEST(RecentNamesTest, ForgetsTheOldestForANewOne) {
  RecentNames names(2);
  for (const char* const name : {"a", "b", "c"}) names.add(name);

  EXPECT_FALSE(names.contains("a"));
  EXPECT_TRUE(names.contains("b"));
  EXPECT_TRUE(names.contains("c"));
}

TEST(RecentNamesTest, CountsANameOnce) {
  RecentNames names(2);
  for (const char* const name : {"a", "b", "b", "b"}) names.add(name);

  EXPECT_TRUE(names.contains("a"));
  EXPECT_TRUE(names.contains("b"));
}

}  // namespace
}  // namespace workstation
