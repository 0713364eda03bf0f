// The element iterator: every value lies inside its buffer and behind the one before it, all the
// way down, and reads the same again.

#include "crypto/der/element_iterator.h"

#include "fuzz/check.h"
#include "fuzz/view_check.h"

namespace {

using wzapp::ByteView;
using wzapp::ElementIterator;

void checkElements(ByteView buffer, int levels) {
  ElementIterator iterator(buffer);
  ByteView value;
  for (;;) {
    const std::size_t start = iterator.position();
    const std::uint32_t identifier = iterator.next(value);
    ByteView again;
    FUZZ_CHECK(ElementIterator(buffer, start).next(again) == identifier);
    FUZZ_CHECK(again.data() == value.data() && again.size() == value.size());
    if (value.data() == nullptr) {
      FUZZ_CHECK(identifier == 0 && value.empty() && iterator.position() == start);
      return;
    }
    FUZZ_CHECK(wzapp_fuzz::liesInside(value, buffer.subspan(start)));
    FUZZ_CHECK(iterator.position() >= start + 2 + value.size());
    FUZZ_CHECK(iterator.position() <= buffer.size());
    if (levels > 0) checkElements(value, levels - 1);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  checkElements(ByteView(data, size), 4);
  return 0;
}
