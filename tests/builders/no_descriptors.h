// A process that has used up its descriptors.
#ifndef WZAPP_TESTS_BUILDERS_NO_DESCRIPTORS_H
#define WZAPP_TESTS_BUILDERS_NO_DESCRIPTORS_H

#include <gtest/gtest.h>
#include <sys/resource.h>

namespace wzapp_test {

// As long as it lives, no file can be opened for want of a descriptor.
class NoDescriptors {
 public:
  NoDescriptors() {
    EXPECT_EQ(getrlimit(RLIMIT_NOFILE, &before_), 0);
    const rlimit none = {0, before_.rlim_max};
    EXPECT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
  }
  NoDescriptors(const NoDescriptors&) = delete;
  NoDescriptors& operator=(const NoDescriptors&) = delete;
  ~NoDescriptors() { setrlimit(RLIMIT_NOFILE, &before_); }

 private:
  rlimit before_ = {};
};

}  // namespace wzapp_test

#endif  // WZAPP_TESTS_BUILDERS_NO_DESCRIPTORS_H
