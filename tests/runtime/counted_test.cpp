#include "wzapp/counted.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <type_traits>
#include <vector>

#include "wzapp/wzapp.h"

namespace {

using wzapp::counted;
using wzapp::counted_ptr;

// Says when it is destroyed.
class Tracked : public counted {
 public:
  explicit Tracked(std::function<void()> whenDestroyed)
      : whenDestroyed_(std::move(whenDestroyed)) {}
  virtual ~Tracked() { whenDestroyed_(); }

  // The number of references, without changing it.
  int count() {
    increment();
    return decrement() - 1;
  }

  counted_ptr<Tracked> next;

 private:
  std::function<void()> whenDestroyed_;
};

class CountedTest : public testing::Test {
 protected:
  Tracked* makeTracked() {
    return new Tracked([this] { ++destroyed; });
  }

  int destroyed = 0;
};

TEST_F(CountedTest, CountIsZeroAfterConstruction) {
  const std::unique_ptr<Tracked> object(makeTracked());

  EXPECT_EQ(object->count(), 0);
}

TEST_F(CountedTest, DecrementGivesTheCountFromBefore) {
  const std::unique_ptr<Tracked> object(makeTracked());
  object->increment();
  object->increment();

  EXPECT_EQ(object->decrement(), 2);
  EXPECT_EQ(object->decrement(), 1);
}

TEST_F(CountedTest, LastPointerDestroysTheObject) {
  counted_ptr<Tracked> first(makeTracked());
  counted_ptr<Tracked> second(first);

  first.reset();
  EXPECT_EQ(destroyed, 0);
  second.reset();

  EXPECT_EQ(destroyed, 1);
  EXPECT_FALSE(second);
}

TEST_F(CountedTest, DestructorReleases) {
  {
    const counted_ptr<Tracked> pointer(makeTracked());
    EXPECT_EQ(pointer->count(), 1);
  }

  EXPECT_EQ(destroyed, 1);
}

TEST_F(CountedTest, EmptyPointersMayBeCopiedAssignedAndReset) {
  counted_ptr<Tracked> empty;
  const counted_ptr<Tracked> copy(empty);
  counted_ptr<Tracked> assigned(makeTracked());

  assigned = copy;
  empty.reset();
  empty.reset(nullptr);

  EXPECT_EQ(destroyed, 1);
  EXPECT_EQ(assigned.get(), nullptr);
}

// Passed, returned and assigned as a host does that ends its use of an application.
counted_ptr<Tracked> nothing() { return nullptr; }

bool isEmpty(const counted_ptr<Tracked>& pointer) { return !pointer; }

TEST_F(CountedTest, NullptrIsAnEmptyPointer) {
  const counted_ptr<Tracked> made(nullptr);
  const counted_ptr<Tracked> copied = nullptr;
  counted_ptr<Tracked> assigned(makeTracked());

  assigned = nullptr;

  EXPECT_EQ(destroyed, 1);
  EXPECT_FALSE(assigned);
  EXPECT_FALSE(made);
  EXPECT_FALSE(copied);
  EXPECT_FALSE(nothing());
  EXPECT_TRUE(isEmpty(nullptr));
}

TEST_F(CountedTest, OtherNullPointersStillMakeAnEmptyPointer) {
  Tracked* const none = nullptr;

  EXPECT_FALSE(counted_ptr<Tracked>(none));
  EXPECT_FALSE(counted_ptr<Tracked>(NULL));
  EXPECT_FALSE(counted_ptr<Tracked>(0));
}

TEST_F(CountedTest, ObjectIsOwnedOnlyWhereThatIsSaid) {
  class Special : public Tracked {
    using Tracked::Tracked;
  };

  EXPECT_FALSE((std::is_convertible_v<Tracked*, counted_ptr<Tracked>>));
  EXPECT_FALSE((std::is_assignable_v<counted_ptr<Tracked>&, Tracked*>));
  EXPECT_TRUE((std::is_constructible_v<counted_ptr<Tracked>, Tracked*>));
  EXPECT_TRUE((std::is_constructible_v<counted_ptr<Tracked>, Special*>));
  EXPECT_FALSE((std::is_constructible_v<counted_ptr<Tracked>, const Tracked*>));
}

TEST_F(CountedTest, ResetReleasesBeforeItAcquires) {
  int countOfNewWhenOldIsDestroyed = -1;
  Tracked* const newObject = makeTracked();
  counted_ptr<Tracked> pointer(
      new Tracked([&] { countOfNewWhenOldIsDestroyed = newObject->count(); }));

  pointer.reset(newObject);

  EXPECT_EQ(countOfNewWhenOldIsDestroyed, 0);
  EXPECT_EQ(newObject->count(), 1);
}

TEST_F(CountedTest, ResetToTheSameObjectKeepsItWhenAnotherPointerHoldsIt) {
  const counted_ptr<Tracked> other(makeTracked());
  counted_ptr<Tracked> pointer(other);

  pointer.reset(other.get());

  EXPECT_EQ(destroyed, 0);
  EXPECT_EQ(other->count(), 2);
}

TEST_F(CountedTest, AssignmentAcquiresBeforeItReleases) {
  const counted_ptr<Tracked> source(makeTracked());
  int countOfSourceWhenOldIsDestroyed = -1;
  counted_ptr<Tracked> pointer(
      new Tracked([&] { countOfSourceWhenOldIsDestroyed = source->count(); }));

  pointer = source;

  EXPECT_EQ(countOfSourceWhenOldIsDestroyed, 2);
  EXPECT_EQ(source->count(), 2);
}

TEST_F(CountedTest, AssignmentFromWhatTheReleasedObjectOwnsIsSafe) {
  counted_ptr<Tracked> head(makeTracked());
  head->next.reset(makeTracked());
  Tracked* const tail = head->next.get();

  head = head->next;

  EXPECT_EQ(destroyed, 1);
  EXPECT_EQ(head.get(), tail);
  EXPECT_EQ(tail->count(), 1);
}

TEST_F(CountedTest, SelfAssignmentChangesNothing) {
  counted_ptr<Tracked> pointer(makeTracked());
  const counted_ptr<Tracked>& same = pointer;

  pointer = same;

  EXPECT_EQ(destroyed, 0);
  EXPECT_EQ(pointer->count(), 1);
}

TEST_F(CountedTest, AssignmentBetweenPointersToTheSameObjectKeepsIt) {
  const counted_ptr<Tracked> first(makeTracked());
  counted_ptr<Tracked> second(first);

  second = first;

  EXPECT_EQ(destroyed, 0);
  EXPECT_EQ(first->count(), 2);
}

TEST_F(CountedTest, CountMayBeChangedFromManyThreads) {
  constexpr int kThreads = 4;
  constexpr int kCopies = 20000;
  counted_ptr<Tracked> pointer(makeTracked());

  std::vector<std::thread> threads;
  for (int i = 0; i < kThreads; ++i) {
    threads.emplace_back([own = pointer] {
      for (int copy = 0; copy < kCopies; ++copy) {
        const counted_ptr<Tracked> another(own);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  threads.clear();

  EXPECT_EQ(pointer->count(), 1);
  EXPECT_EQ(destroyed, 0);
}

TEST(WZAppTest, HandleIsAVirtualDestructorAndACountOnly) {
  struct Expected {
    void* virtualTable;
    std::int32_t count;
  };

  EXPECT_TRUE(std::has_virtual_destructor_v<wzapp::WZApp>);
  EXPECT_EQ(sizeof(wzapp::WZApp), sizeof(Expected));
  EXPECT_FALSE(std::is_polymorphic_v<counted>);
  EXPECT_FALSE(std::is_copy_constructible_v<wzapp::WZApp>);
}

}  // namespace
