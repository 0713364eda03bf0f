#include "workstation/browser/engine/page/event_gate.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace wzapp_test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using workstation::EventGate;
using workstation::PageEvent;

class EventGateTest : public testing::Test {
 protected:
  static PageEvent line(const std::string& text) {
    PageEvent event;
    event.texts = {text};
    return event;
  }

  std::vector<std::string> out_;
  EventGate gate_{[this](PageEvent event) { out_.push_back(event.texts.at(0)); }};
};

TEST_F(EventGateTest, WhatIsReadyGoesAtOnce) {
  gate_.pass(line("a"));

  EXPECT_THAT(out_, ElementsAre("a"));
}

TEST_F(EventGateTest, NothingOvertakesWhatIsHeld) {
  const auto first = gate_.hold(line("a"));
  gate_.pass(line("b"));
  const auto third = gate_.hold(line("c"));
  gate_.complete(third, [](PageEvent& event) { event.texts = {"C"}; });
  EXPECT_THAT(out_, IsEmpty());
  EXPECT_EQ(gate_.held(), 1U);

  gate_.complete(first, [](PageEvent& event) { event.texts = {"A"}; });

  EXPECT_THAT(out_, ElementsAre("A", "b", "C"));
  EXPECT_EQ(gate_.size(), 0U);
}

TEST_F(EventGateTest, AnOpenGateLetsOutWhatIsThereAndComingTooLateChangesNothing) {
  const auto first = gate_.hold(line("a"));
  gate_.pass(line("b"));

  gate_.open();
  gate_.complete(first, [](PageEvent& event) { event.texts = {"A"}; });

  EXPECT_THAT(out_, ElementsAre("a", "b"));
  EXPECT_EQ(gate_.held(), 0U);
}

}  // namespace
}  // namespace wzapp_test
