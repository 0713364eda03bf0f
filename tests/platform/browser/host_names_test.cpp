#include "workstation/browser/engine/files/host_names.h"

#include <gtest/gtest.h>

namespace workstation {
namespace {

TEST(HostNamesTest, OneApplicationHasOneHost) {
  HostNames hosts;

  EXPECT_EQ(hosts.acquire("Shop", "/apps/shop"), "shop.invalid");
  EXPECT_EQ(hosts.acquire("Shop", "/apps/shop"), "shop.invalid");
}

TEST(HostNamesTest, TwoApplicationsNeverShareOne) {
  HostNames hosts;

  EXPECT_EQ(hosts.acquire("shop", "/one/shop"), "shop.invalid");
  EXPECT_EQ(hosts.acquire("Shop", "/two/shop"), "shop-2.invalid");
  EXPECT_EQ(hosts.acquire("shop 2", "/three"), "shop-2-2.invalid");
}

TEST(HostNamesTest, HostIsFreeWhenItsLastUserHasGone) {
  HostNames hosts;
  hosts.acquire("shop", "/one");
  hosts.acquire("shop", "/one");

  hosts.release("shop.invalid");
  EXPECT_EQ(hosts.acquire("shop", "/two"), "shop-2.invalid");
  hosts.release("shop.invalid");

  EXPECT_EQ(hosts.acquire("shop", "/three"), "shop.invalid");
}

}  // namespace
}  // namespace workstation
