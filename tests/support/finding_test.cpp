#include "support/finding.h"

#include <cerrno>

#include <gtest/gtest.h>

namespace wzapp {
namespace {

TEST(FindingTest, WhatIsNotThereIsToldFromWhatNobodyCanTell) {
  for (const int error : {ENOENT, ENOTDIR, ELOOP, EACCES, EPERM}) {
    EXPECT_EQ(findingOf(error), Finding::kNone) << error;
  }
  for (const int error : {EMFILE, ENFILE, ENOMEM, EIO, EINTR, ENOSPC, 0}) {
    EXPECT_EQ(findingOf(error), Finding::kUnknown) << error;
  }
}

TEST(FindingTest, WhatPassesIsToldFromWhatStays) {
  for (const int error : {EMFILE, ENFILE, ENOMEM, EIO, EINTR}) {
    errno = error;
    EXPECT_EQ(findingOfAttempt(false), Finding::kUnknown) << error;
    EXPECT_EQ(findingOfAttempt(true), Finding::kFound) << error;
  }
  for (const int error : {ENOENT, EACCES, ENOSPC, EDQUOT, EFBIG, EROFS, 0}) {
    errno = error;
    EXPECT_EQ(findingOfAttempt(false), Finding::kNone) << error;
  }
}

TEST(FindingTest, LooksThreeTimesAtTheMost) {
  for (const int passing : {0, 1, 2, 3, 4}) {
    int looks = 0;
    const Finding finding =
        findOut([&] { return ++looks <= passing ? Finding::kUnknown : Finding::kFound; });
    EXPECT_EQ(looks, passing < 3 ? passing + 1 : 3);
    EXPECT_EQ(finding, passing < 3 ? Finding::kFound : Finding::kUnknown);
  }
}

}  // namespace
}  // namespace wzapp
