// Reading and writing of JSON values: what is read stays inside the text, what is written reads
// back as the same, and what could not be read leaves nothing behind.

#include <cstring>
#include <memory>
#include <string>

#include "fuzz/check.h"
#include "zelipc/zelipc.h"

namespace {

using zelipc::JSObject;

// Parses a copy that ends exactly behind its terminator.
int parseExact(JSObject& object, const std::string& text) {
  const auto copy = std::make_unique<char[]>(text.size() + 1);
  std::memcpy(copy.get(), text.data(), text.size());
  return object.parse(copy.get());
}

// Walks the tree through its public face; what it answers must fit together.
void checkFace(const JSObject& value) {
  const int kinds = value.isNull() + value.isBool() + value.isNumber() + value.isString() +
                    value.isArray() + value.isObject();
  FUZZ_CHECK(kinds == 1);
  FUZZ_CHECK(!value.isInt() || value.isNumber());
  FUZZ_CHECK(value.keys().size() == (value.isObject() ? value.size() : 0));
  for (const std::string& key : value.keys()) {
    FUZZ_CHECK(value.has(key));
    checkFace(value[key]);
  }
  if (!value.isArray()) return;
  for (std::size_t i = 0; i < value.size(); ++i) checkFace(value.at(i));
  FUZZ_CHECK(value.at(value.size()).isNull());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string octets(reinterpret_cast<const char*>(data), size);
  const std::string text(octets.c_str());  // up to the first NUL
  JSObject value("before");

  const int consumed = parseExact(value, octets);

  if (consumed < 0) {
    FUZZ_CHECK(consumed == -1);
    FUZZ_CHECK(value.isObject() && value.size() == 0);
    return 0;
  }
  FUZZ_CHECK(consumed > 0 && static_cast<std::size_t>(consumed) <= text.size());
  checkFace(value);

  // What was consumed says the same without what follows it.
  const std::string dumped = value.dump();
  JSObject again;
  FUZZ_CHECK(parseExact(again, text.substr(0, static_cast<std::size_t>(consumed))) == consumed);
  FUZZ_CHECK(again.dump() == dumped);

  // What is written is JSON as a whole, and of the same value.
  FUZZ_CHECK(parseExact(again, dumped) == static_cast<int>(dumped.size()));
  FUZZ_CHECK(again.dump() == dumped);
  const JSObject copy(again);
  FUZZ_CHECK(copy.dump() == dumped);
  return 0;
}
