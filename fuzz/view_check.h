// Whether what a parser hands out lies inside of what it was given.
#ifndef WZAPP_FUZZ_VIEW_CHECK_H
#define WZAPP_FUZZ_VIEW_CHECK_H

#include <algorithm>
#include <functional>

#include "support/byte_view.h"

namespace wzapp_fuzz {

// True for a view that shows nothing, wherever it points.
inline bool liesInside(wzapp::ByteView view, wzapp::ByteView input) {
  if (view.empty()) return true;
  const std::less_equal<> notBehind;
  return notBehind(input.data(), view.data()) &&
         notBehind(view.data() + view.size(), input.data() + input.size());
}

// True for views of the very same octets, and for two that show nothing.
inline bool isSameView(wzapp::ByteView one, wzapp::ByteView other) {
  return one.size() == other.size() && (one.empty() || one.data() == other.data());
}

}  // namespace wzapp_fuzz

#endif  // WZAPP_FUZZ_VIEW_CHECK_H
