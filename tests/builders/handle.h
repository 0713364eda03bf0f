// Objects of OpenSSL that are freed at the end of their owner.
#ifndef WZAPP_TESTS_BUILDERS_HANDLE_H
#define WZAPP_TESTS_BUILDERS_HANDLE_H

#include <memory>

namespace wzapp_test {

template <auto free>
struct Freed {
  template <typename Object>
  void operator()(Object* object) const {
    free(object);
  }
};

template <typename Object, auto free>
using Handle = std::unique_ptr<Object, Freed<free>>;

}  // namespace wzapp_test

#endif  // WZAPP_TESTS_BUILDERS_HANDLE_H
