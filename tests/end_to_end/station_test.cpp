// What one test leaves to the next.

#include "tests/end_to_end/station.h"

#include <gtest/gtest.h>

#include <chrono>
#include <future>

namespace wzapp_test {
namespace {

// Holds up all deliveries of this process until it goes.
class HeldDeliveries {
 public:
  HeldDeliveries() {
    EXPECT_EQ(zelipc::ipcRegisterNotificationCB("HOLD", hold, this, 0, "dam"), 0);
    EXPECT_EQ(zelipc::ipcNotify("dam", "HOLD", {}, 0, ""), 0);
    EXPECT_EQ(held_.get_future().wait_for(kPatience), std::future_status::ready);
  }
  HeldDeliveries(const HeldDeliveries&) = delete;
  HeldDeliveries& operator=(const HeldDeliveries&) = delete;
  ~HeldDeliveries() {
    letGo_.set_value();
    EXPECT_EQ(zelipc::ipcUnregisterNotificationCB("HOLD", hold, this, "dam"), 0);
  }

 private:
  static void hold(void* self, const std::string&, const std::string&, const std::string&,
                   const zelipc::JSObject&, unsigned) {
    auto& deliveries = *static_cast<HeldDeliveries*>(self);
    deliveries.held_.set_value();
    deliveries.letGo_.get_future().wait();
  }

  std::promise<void> held_, letGo_;
};

// An application's end is told as soon as its last record is sent. The next test has then often
// begun before the record came, and found one too many.
TEST(StationTest, ForgetsARecordThatIsStillOnItsWay) {
  std::future<void> forgotten;
  {
    const HeldDeliveries held;
    ASSERT_EQ(zelipc::ipcNotify("1", "_WZLog", {}, 0, "shop"), 0);
    forgotten = std::async(std::launch::async, [] { station().forget(); });
    EXPECT_EQ(forgotten.wait_for(std::chrono::milliseconds(50)), std::future_status::timeout);
  }

  forgotten.wait();

  EXPECT_TRUE(recordsOf("shop").empty());
}

}  // namespace
}  // namespace wzapp_test
