#include "workstation/browser/engine/protocol/call_queue.h"

#include <gtest/gtest.h>

#include <future>
#include <stdexcept>
#include <vector>

namespace workstation {
namespace {

TEST(CallQueueTest, RunsTasksInOrderAndTheLastOneLast) {
  std::vector<int> order;
  std::promise<void> done;
  const auto queue = CallQueue::start();
  ASSERT_TRUE(queue);

  for (int i = 0; i < 1000; ++i) EXPECT_TRUE(queue->push([&, i] { order.push_back(i); }, 1));
  queue->finish([&] { done.set_value(); });
  done.get_future().wait();

  ASSERT_EQ(order.size(), 1000U);
  for (int i = 0; i < 1000; ++i) ASSERT_EQ(order[static_cast<std::size_t>(i)], i);
}

TEST(CallQueueTest, TakesNothingAfterItsEnd) {
  std::promise<void> done;
  const auto queue = CallQueue::start();
  queue->finish([&] { done.set_value(); });

  EXPECT_FALSE(queue->push([] { FAIL() << "ran"; }, 1));
  queue->finish([] { FAIL() << "ran"; });

  done.get_future().wait();
}

TEST(CallQueueTest, TakesNoMoreThanItsMemory) {
  std::promise<void> go;
  std::promise<void> done;
  const auto future = go.get_future().share();
  const auto queue = CallQueue::start();
  ASSERT_TRUE(queue->push([future] { future.wait(); }, 0));

  EXPECT_TRUE(queue->push([] {}, 64U << 20));
  EXPECT_FALSE(queue->push([] { FAIL() << "ran"; }, 1));

  queue->finish([&] { done.set_value(); });
  go.set_value();
  done.get_future().wait();
}

TEST(CallQueueTest, TaskThatRunsOutOfMemoryIsTheOnlyOneLost) {
  std::promise<void> done;
  const auto queue = CallQueue::start();

  EXPECT_TRUE(queue->push([] { throw std::bad_alloc(); }, 1));
  queue->finish([&] { done.set_value(); });

  done.get_future().wait();
}

}  // namespace
}  // namespace workstation
