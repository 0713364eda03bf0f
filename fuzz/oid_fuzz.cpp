// Object identifiers both ways: a text that content converts to leads back to it, and what is short
// and equal agrees with the texts.

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

#include "crypto/der/der_writer.h"
#include "crypto/der/oid.h"
#include "fuzz/check.h"

namespace {

using wzapp::ByteView;
using wzapp::ShortOid;

// The text of content octets; empty, with the code in `length`, where they have none.
std::string textOf(ByteView content, int& length) {
  const int needed = wzapp::oidToText(content, nullptr, 0);
  std::vector<char> text(needed > 0 ? static_cast<std::size_t>(needed) : 8);
  length = wzapp::oidToText(content, text.data(), text.size());
  FUZZ_CHECK(length == (needed > 0 ? needed - 1 : needed));
  if (needed > 1) {
    // One octet less does not do.
    FUZZ_CHECK(wzapp::oidToText(content, text.data(), text.size() - 1) == wzapp::kDerNotFound);
    FUZZ_CHECK(wzapp::oidToText(content, text.data(), text.size()) == length);
  }
  if (length < 0) return {};
  return {text.data(), static_cast<std::size_t>(length)};
}

void checkContent(ByteView content) {
  int length = 0;
  const std::string text = textOf(content, length);
  ShortOid oid;
  const int code = ShortOid::read(content, oid);
  FUZZ_CHECK((code == 0) == (length > 0 && text.size() <= wzapp::kMaxOidText));
  if (length < 0) return;
  FUZZ_CHECK(std::all_of(text.begin(), text.end(),
                         [](char c) { return c == '.' || (c >= '0' && c <= '9'); }));
  if (code == 0) FUZZ_CHECK(ShortOid::parse(text) == oid);

  wzapp::DerBuffer element;
  const int size = wzapp::textToOid(text, &element);
  FUZZ_CHECK(size == wzapp::textToOid(text, nullptr));
  if (size < 0) return;
  int again = 0;
  FUZZ_CHECK(textOf(element.content(), again) == text);
  FUZZ_CHECK(element.content().size() <= content.size());  // the padding is gone
}

void checkText(std::string_view text) {
  wzapp::DerBuffer element;
  const int size = wzapp::textToOid(text, &element);
  FUZZ_CHECK(size == wzapp::textToOid(text, nullptr));
  if (size > 0) FUZZ_CHECK(element.encoding().size() == static_cast<std::size_t>(size));

  const std::optional<ShortOid> oid = ShortOid::parse(text);
  if (!oid) return;
  int length = 0;
  ShortOid read;
  FUZZ_CHECK(size > 0 && textOf(element.content(), length) == text);
  FUZZ_CHECK(ShortOid::read(element.content(), read) == 0 && read == *oid);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  checkContent(ByteView(data, size));
  checkText({reinterpret_cast<const char*>(data), size});
  return 0;
}
