// How addresses and names appear on the bus.

#include "workstation/zelipc/bus_names.h"

#include <string>

#include <gtest/gtest.h>
#include <systemd/sd-bus.h>

#include "workstation/zelipc/bus_config.h"

namespace {

using workstation::busAddress;
using workstation::busKey;
using workstation::busMatch;
using workstation::busName;

class BusNamesTest : public ::testing::TestWithParam<std::string> {};

TEST_P(BusNamesTest, EveryAddressHasAValidName) {
  EXPECT_TRUE(sd_bus_service_name_is_valid(busName(GetParam()).c_str())) << busName(GetParam());
  EXPECT_LE(busKey(GetParam()).size(), 200U);
}

INSTANTIATE_TEST_SUITE_P(Addresses, BusNamesTest,
                         ::testing::Values("", "1", "shop.example", std::string("\0\xFF", 2),
                                           std::string(100, '\xFF'), std::string(101, '\xFF'),
                                           std::string(1'000'000, 'x')));

TEST(BusNamesTest, AreOneForEachText) {
  const std::string longText(200, 'x');

  EXPECT_EQ(busKey("a\xFF"), "61ff");
  EXPECT_NE(busKey(longText), busKey(longText + "x"));
  EXPECT_NE(busKey(longText), busKey(std::string(199, 'x') + "y"));
  EXPECT_NE(busKey(std::string(100, 'x')), busKey(std::string(101, 'x')));
}

TEST(BusNamesTest, TheMatchAsksForTheKeys) {
  EXPECT_EQ(busMatch("a", "n"),
            "type='signal',interface='zelipc.Notifications',member='Notification',"
            "eavesdrop='true',arg0='61',arg1='6e'");
}

TEST(BusNamesTest, ASocketAddressEscapesWhatMayNotStandPlain) {
  EXPECT_EQ(busAddress("/a-z_A.Z*0/b c;d,\xC3\xA9%"), "unix:path=/a-z_A.Z*0/b%20c%3bd%2c%c3%a9%25");
}

}  // namespace
