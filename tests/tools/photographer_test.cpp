#include "tools/wz/terminal/photographer.h"

#include <gtest/gtest.h>

namespace wz {
namespace {

using Kind = PictureTime::Kind;

PictureTime read(const std::string& text) {
  PictureTime time;
  EXPECT_TRUE(readPictureTime(text, time)) << text;
  return time;
}

TEST(PictureTimeTest, IsTheFirstPaintTheEndATimeOrAnElement) {
  EXPECT_EQ(read("").kind, Kind::kFirstPaint);
  EXPECT_EQ(read("exit").kind, Kind::kExit);
  EXPECT_EQ(read("2").delay.count(), 2000);
  EXPECT_EQ(read("1.5s").delay.count(), 1500);
  EXPECT_EQ(read("300ms").delay.count(), 300);
  EXPECT_EQ(read("#done").kind, Kind::kElement);
  EXPECT_EQ(read(".done > b").selector, ".done > b");
}

TEST(PictureTimeTest, RefusesTimesThatAreNone) {
  for (const char* text : {"3 days", "1h", "2sx", "1e99", "9999999999s"}) {
    PictureTime time;
    EXPECT_FALSE(readPictureTime(text, time)) << text;
  }
}

}  // namespace
}  // namespace wz
