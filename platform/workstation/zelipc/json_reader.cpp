// JSObject::parse: RapidJSON reads the text, `Builder` makes values of what it reports.

#include <climits>
#include <cstring>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include <rapidjson/reader.h>

#include "workstation/zelipc/json_allocator.h"
#include "workstation/zelipc/json_text.h"
#include "workstation/zelipc/json_value.h"

namespace zelipc {
namespace {

constexpr int kNoValue = -1;

// A text of known length. RapidJSON's own stream would be read past the terminator when the text
// ends within a character.
class TextStream {
 public:
  using Ch = char;

  explicit TextStream(std::string_view text)
      : begin_(text.data()), position_(begin_), end_(begin_ + text.size()) {}

  char Peek() const { return position_ == end_ ? '\0' : *position_; }
  char Take() { return position_ == end_ ? '\0' : *position_++; }
  std::size_t Tell() const { return static_cast<std::size_t>(position_ - begin_); }

  // What a stream for writing would do; never called.
  char* PutBegin() { return nullptr; }
  void Put(char) {}
  void Flush() {}
  std::size_t PutEnd(char*) { return 0; }

 private:
  const char* begin_;
  const char* position_;
  const char* end_;
};

using Reader =
    rapidjson::GenericReader<rapidjson::UTF8<>, rapidjson::UTF8<>, workstation::JsonAllocator>;

constexpr unsigned kReaderFlags =
    rapidjson::kParseIterativeFlag | rapidjson::kParseStopWhenDoneFlag |
    rapidjson::kParseValidateEncodingFlag | rapidjson::kParseNumbersAsStringsFlag;

std::size_t skipSpace(std::string_view text, std::size_t position) {
  const std::size_t next = text.find_first_not_of(" \t\n\r", position);
  return next == std::string_view::npos ? text.size() : next;
}

}  // namespace

/// Receives RapidJSON's events. A false result ends the reading.
class JSObject::Value::Builder {
 public:
  /// What is read becomes the content of `root`. Numbers are taken from `text`, at the place where
  /// `stream` stands, since the stream may read a tame copy of it.
  Builder(Value& root, std::string_view text, const TextStream& stream)
      : root_(root), text_(text), stream_(stream) {}

  /// The text has an escape for half a surrogate pair, which RapidJSON does not always refuse.
  bool sawSurrogate() const { return sawSurrogate_; }

  // The names are those that RapidJSON calls.
  bool Null() { return place().content = Value::Null(), true; }
  bool Bool(bool value) { return place().content = value, true; }
  bool RawNumber(const char*, rapidjson::SizeType length, bool) {
    const std::string_view literal = text_.substr(stream_.Tell() - length, length);
    std::visit([this](auto number) { place().content = number; }, workstation::readNumber(literal));
    return true;
  }
  bool String(const char* text, rapidjson::SizeType length, bool) {
    if (!accept(std::string_view(text, length))) return false;
    place().content.emplace<std::string>(text, length);
    return true;
  }
  bool Key(const char* name, rapidjson::SizeType length, bool) {
    if (!accept(std::string_view(name, length))) return false;
    Value& object = *open_.back();
    // The last of several members of one name counts.
    member_ = &std::get<Members>(object.content).findOrAdd({name, length}, object.level + 1).value;
    return true;
  }
  bool StartObject() { return open(Members()); }
  bool StartArray() { return open(Array()); }
  bool EndObject(rapidjson::SizeType) { return close(); }
  bool EndArray(rapidjson::SizeType) { return close(); }

  // Never called, as numbers come as texts.
  bool Int(int) { return false; }
  bool Uint(unsigned) { return false; }
  bool Int64(std::int64_t) { return false; }
  bool Uint64(std::uint64_t) { return false; }
  bool Double(double) { return false; }

 private:
  // Where the next value belongs.
  Value& place() {
    if (open_.empty()) return root_;
    Value& container = *open_.back();
    auto* const array = std::get_if<Array>(&container.content);
    return array == nullptr ? *member_ : array->add(container.level + 1).value;
  }

  bool open(Content container) {
    Value& value = place();
    if (!value.mayHoldOthers()) return false;
    value.content = std::move(container);
    open_.push_back(&value);
    return true;
  }

  bool close() {
    open_.pop_back();
    return true;
  }

  bool accept(std::string_view text) {
    sawSurrogate_ = workstation::holdsSurrogate(text);
    return !sawSurrogate_;
  }

  Value& root_;
  const std::string_view text_;
  const TextStream& stream_;
  std::vector<Value*> open_;  // arrays and objects around the next value
  Value* member_ = nullptr;   // of the innermost one, if an object
  bool sawSurrogate_ = false;
};

struct JSObject::Value::Reading {
  Value root;
  std::size_t consumed = 0;
  bool complete = false;
  bool mayBeTamed = false;  // JSON perhaps, but for what tameCopy() replaces

  explicit Reading(unsigned level) : root(level) {}

  void run(std::string_view text, std::string_view original) {
    TextStream stream(text);
    Builder builder(root, original, stream);
    Reader reader;
    const rapidjson::ParseResult result = reader.Parse<kReaderFlags>(stream, builder);
    complete = !result.IsError();
    consumed = skipSpace(text, stream.Tell());
    mayBeTamed = builder.sawSurrogate() || result.Code() == rapidjson::kParseErrorNumberTooBig ||
                 result.Code() == rapidjson::kParseErrorStringUnicodeSurrogateInvalid;
  }
};

int JSObject::parse(const char* text) {
  const unsigned level = value_ == nullptr ? Value::kRootLevel : value_->level;
  const std::string_view whole(text == nullptr ? "" : text);
  if (whole.size() <= INT_MAX) {
    Value::Reading reading(level);
    reading.run(whole, whole);
    if (reading.mayBeTamed) reading.run(workstation::tameCopy(whole), whole);
    if (reading.complete) {
      Value::of(*this).content = std::move(reading.root.content);
      return static_cast<int>(reading.consumed);
    }
  }
  Value::clear(*this);
  return kNoValue;
}

}  // namespace zelipc
