// The walk and the search: every element lies inside the text, whatever the order of the steps, and
// the same steps give the same elements again.
//
// Input: the number of steps (one octet, up to 63), the steps, the text.

#include <algorithm>
#include <vector>

#include "crypto/der/der_search.h"
#include "crypto/der/der_walker.h"
#include "fuzz/check.h"
#include "fuzz/view_check.h"

namespace {

using wzapp::ByteView;
using wzapp::DerElement;
using wzapp::DerWalker;
using wzapp::WalkMode;

bool isSame(const DerElement& one, const DerElement& other) {
  return one.status == other.status && one.offset == other.offset &&
         one.identifier == other.identifier && one.tagNumber == other.tagNumber &&
         one.contentLength == other.contentLength && one.headerLength == other.headerLength &&
         one.depth == other.depth && one.index == other.index;
}

void checkElement(const DerElement& element, ByteView text) {
  const auto header = static_cast<std::size_t>(element.headerLength);
  FUZZ_CHECK(element.isValid());
  FUZZ_CHECK(element.depth < DerWalker::kLevels);
  FUZZ_CHECK(element.offset < text.size() && header <= text.size() - element.offset);
  FUZZ_CHECK(element.isIndefinite() || element.encoding().size() >= header);
  FUZZ_CHECK(wzapp_fuzz::liesInside(element.encoding(), text));
  FUZZ_CHECK(wzapp_fuzz::liesInside(element.content(), element.encoding()));
  FUZZ_CHECK(element.identifier == text[element.offset]);
}

// All elements in pre-order.
std::vector<DerElement> walkAll(ByteView text) {
  DerWalker walker(text);
  DerElement element;
  std::vector<DerElement> elements;
  int code = walker.first(element);
  for (; code == 0; code = walker.next(element)) {
    checkElement(element, text);
    // Every element takes two octets at least, so that a walk ends.
    if (!elements.empty()) FUZZ_CHECK(element.offset >= elements.back().offset + 2);
    elements.push_back(element);
  }
  FUZZ_CHECK(code >= -405 && code <= -402);
  FUZZ_CHECK(!element.isValid());
  return elements;
}

void checkIndices(ByteView text, const std::vector<DerElement>& elements) {
  DerWalker walker(text);
  DerElement element;
  const std::size_t count = elements.size();
  for (const std::size_t n : {count / 2, count / 3, count, std::size_t{0}, count / 2}) {
    const int code = walker.walk(WalkMode::kToIndex, n, element);
    FUZZ_CHECK((code == 0) == (n < count));
    if (code == 0) FUZZ_CHECK(isSame(element, elements[n]));
  }
}

struct Outcome {
  int code;
  DerElement element;
};

// A step by kNextSibling and then kNext leads to the content of what was passed over.
std::vector<Outcome> takeSteps(ByteView steps, ByteView text) {
  DerWalker walker(text);
  std::vector<Outcome> outcomes;
  DerElement passed;
  for (const std::uint8_t step : steps) {
    Outcome outcome{};
    const auto mode = static_cast<WalkMode>(step % 4);
    outcome.code = walker.walk(mode, step / 4, outcome.element);
    if (outcome.code == 0) checkElement(outcome.element, text);
    if (outcome.code == 0 && mode == WalkMode::kNext && passed.isValid()) {
      const auto content = passed.offset + static_cast<std::size_t>(passed.headerLength);
      FUZZ_CHECK(outcome.element.offset == content);
    }
    const bool canEnter = mode == WalkMode::kNextSibling && outcome.code == 0 &&
                          outcome.element.constructed != 0 && outcome.element.contentLength != 0;
    passed = canEnter ? outcome.element : DerElement{};
    outcomes.push_back(outcome);
  }
  return outcomes;
}

void checkSteps(ByteView steps, ByteView text) {
  const std::vector<Outcome> once = takeSteps(steps, text);
  const std::vector<Outcome> again = takeSteps(steps, text);
  for (std::size_t i = 0; i < once.size(); ++i) {
    FUZZ_CHECK(once[i].code == again[i].code);
    FUZZ_CHECK(once[i].code != 0 || isSame(once[i].element, again[i].element));
  }
}

void checkSearch(ByteView steps, ByteView text) {
  const auto at = [&steps](std::size_t i) { return i < steps.size() ? steps[i] : std::uint8_t{0}; };
  const wzapp::DerPathStep path[] = {{at(0) % 6U, at(1) % 4U}};
  wzapp::DerQuery query;
  if (at(2) % 2 != 0) query.path = path;
  query.kind = static_cast<wzapp::DerSearchKind>(at(3) % 4);
  query.depthOffset = at(4) % 4;
  query.skipCount = at(5) % 4;
  query.identifier = at(6);
  query.oid = "1.2.840.113549.1.1.1";
  DerWalker walker(text);
  DerWalker other(text);
  DerElement found;
  DerElement again;

  const int code = derSearch(walker, query, WalkMode::kRestart, found);

  FUZZ_CHECK(code == derSearch(other, query, WalkMode::kRestart, again));
  if (code != 0) return;
  checkElement(found, text);
  FUZZ_CHECK(isSame(found, again));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return -1;
  const ByteView input(data + 1, size - 1);
  const ByteView steps = input.first(std::min<std::size_t>(data[0] % 64, input.size()));
  const ByteView text = input.subspan(steps.size());

  const std::vector<DerElement> elements = walkAll(text);
  checkIndices(text, elements);
  checkSteps(steps, text);
  checkSearch(steps, text);
  for (const DerElement& element : elements) {
    FUZZ_CHECK(countParts(element) < elements.size() + text.size() / 2 + 1);
    if (&element - elements.data() > 20) break;  // deep texts would take the square of their length
  }
  FUZZ_CHECK(wzapp_fuzz::liesInside(wzapp::outermostElement(text), text));
  return 0;
}
