#include "crypto/cpu_features.h"

#include <gtest/gtest.h>

#include "tests/crypto/system_features.h"

namespace wzapp {
namespace {

TEST(CpuFeaturesTest, AreThoseThatTheSystemNames) {
  EXPECT_EQ(cpuFeatures().sha, wzapp_test::systemHasSha());
  EXPECT_EQ(cpuFeatures().avx2, wzapp_test::systemHasAvx2());
}

}  // namespace
}  // namespace wzapp
