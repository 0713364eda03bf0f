// JSObject::parse: RapidJSON reads the text, `Builder` makes values of what it reports.

#include <climits>
#include <cstddef>
#include <span>
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
///
/// The elements of an array wait until it ends, so that it gets one piece of memory of their size;
/// a large one takes them over from time to time.
class JSObject::Value::Builder {
 public:
  /// What is read becomes the content of `root`. Numbers are taken from `text`, at the place where
  /// `stream` stands, since the stream may read a tame copy of it.
  Builder(Value& root, std::string_view text, const TextStream& stream)
      : root_(root), text_(text), stream_(stream) {}

  /// The text has an escape for half a surrogate pair, which RapidJSON does not always refuse.
  bool sawSurrogate() const { return sawSurrogate_; }

  // The names are those that RapidJSON calls.
  bool Null() { return place().setNull(), true; }
  bool Bool(bool value) { return place().set(value), true; }
  bool RawNumber(const char*, rapidjson::SizeType length, bool) {
    const std::string_view literal = text_.substr(stream_.Tell() - length, length);
    std::visit([this](auto number) { place().set(number); }, workstation::readNumber(literal));
    return true;
  }
  bool String(const char* text, rapidjson::SizeType length, bool) {
    if (!accept({text, length})) return false;
    place().set(std::string_view(text, length));
    return true;
  }
  bool Key(const char* name, rapidjson::SizeType length, bool) {
    if (!accept({name, length})) return false;
    Open& object = open_.back();
    // The last of several members of one name counts.
    object.member = &object.container.findOrAdd({name, length}).value;
    return true;
  }
  bool StartObject() {
    if (!open()) return false;
    open_.back().container.setObject();
    return true;
  }
  bool StartArray() {
    if (!open()) return false;
    open_.back().container.setArray();
    return true;
  }
  bool EndObject(rapidjson::SizeType) { return close(); }
  bool EndArray(rapidjson::SizeType) {
    takeOverWaiting();
    return close();
  }

  // Never called, as numbers come as texts.
  bool Int(int) { return false; }
  bool Uint(unsigned) { return false; }
  bool Int64(std::int64_t) { return false; }
  bool Uint64(std::uint64_t) { return false; }
  bool Double(double) { return false; }

 private:
  // An array or object whose end has not come.
  struct Open {
    Value container;
    std::size_t firstWaiting;
    Value* member = nullptr;  // the next value's, of an object
  };

  static constexpr std::size_t kMostWaiting = 64;

  unsigned nextLevel() const { return root_.level + static_cast<unsigned>(open_.size()); }

  // Where the next value belongs.
  Value& place() {
    if (open_.empty()) return root_;
    const Open& container = open_.back();
    if (container.member != nullptr) return *container.member;
    if (waiting_.size() - container.firstWaiting == kMostWaiting) takeOverWaiting();
    return waiting_.emplace_back(nextLevel());
  }

  // The elements that wait for the innermost array.
  void takeOverWaiting() {
    Open& array = open_.back();
    array.container.append(std::span(waiting_).subspan(array.firstWaiting));
    while (waiting_.size() > array.firstWaiting) waiting_.pop_back();
  }

  bool open() {
    Value container(nextLevel());
    if (!container.mayHoldOthers()) return false;
    open_.push_back({std::move(container), waiting_.size()});
    return true;
  }

  bool close() {
    Value closed = std::move(open_.back().container);
    open_.pop_back();
    place().swap(closed);
    return true;
  }

  bool accept(std::string_view text) {
    sawSurrogate_ = workstation::holdsSurrogate(text);
    return !sawSurrogate_;
  }

  Value& root_;
  const std::string_view text_;
  const TextStream& stream_;
  std::vector<Open> open_;
  std::vector<Value> waiting_;  // of the open arrays, the innermost one's last
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
      Value::of(*this).swap(reading.root);
      return static_cast<int>(reading.consumed);
    }
  }
  Value::clear(*this);
  return kNoValue;
}

}  // namespace zelipc
