// The tree behind a JSObject.
//
// A `Value` knows the level on which it stands: 1 for the value of an object that a program holds
// itself, one more for each array or object around it. Arrays and objects stand on the levels 1 to
// kMaxLevel only, whatever way they were made, so that everything that walks a tree may recurse.
//
// An element or member is a `Cell`: the value and the JSObject through which programs see it. A
// cell never moves, so a reference to it stays good while others are added, until its container is
// assigned to, parsed into, turned into something else or destroyed.
//
// A text may bring a value with every other octet and a level of arrays with every two: what a
// value takes is what a small text can make a program take. So a value has 16 octets, a cell 24, an
// array as it is read one piece of memory that its elements fill, and an object none but its
// members'.
#ifndef WORKSTATION_ZELIPC_JSON_VALUE_H
#define WORKSTATION_ZELIPC_JSON_VALUE_H

#include "workstation/zelipc/zelipc_export.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

namespace zelipc {

struct JSObject::Value {
  struct Cell;
  struct Member;
  struct GrownArray;
  struct IndexedMembers;
  class Builder;
  struct Reading;
  struct Writing;

  enum class Type : std::uint8_t {
    kNull,
    kBool,
    kInteger,
    kReal,
    kText,
    kArray,
    kObject,
    kOverflow
  };

  static constexpr unsigned kRootLevel = 1;
  static constexpr unsigned kMaxLevel = 512;

  explicit Value(unsigned onLevel) noexcept;  ///< null
  /// What `source` holds, which becomes null, on the same level.
  Value(Value&& source) noexcept;
  Value& operator=(const Value&) = delete;
  ~Value();

  // --- The value of an object

  /// The value of `object`, which gets one, {}, when it has none yet.
  static Value& of(JSObject& object);

  /// Makes `object` {}, or null where no object may stand.
  static void clear(JSObject& object);

  /// A copy of `source` (null pointer: the empty object) that is to stand on `level`. Arrays and
  /// objects that would stand too deep become null.
  static Value copy(const Value* source, unsigned level);

  /// The null for what is not there. Never destroyed.
  static const JSObject& sharedNull();

  /// The value of `object` when it is of that type, else null.
  static const Value* get(const JSObject& object, Type type) {
    const Value* const value = object.value_;
    return value == nullptr || value->type_ != type ? nullptr : value;
  }

  // --- What it holds

  Type type() const { return type_; }
  bool isNull() const { return type_ == Type::kNull || type_ == Type::kOverflow; }
  bool isContainer() const { return type_ == Type::kArray || type_ == Type::kObject; }
  bool mayHoldOthers() const { return level <= kMaxLevel; }

  // Each for a value of its type.
  bool boolean() const { return content_.boolean; }
  long long integer() const { return content_.integer; }
  double real() const { return content_.real; }
  std::string_view text() const {
    // Not even an empty text may be a null pointer for memcpy.
    return count_ == 0 ? std::string_view("") : std::string_view(content_.text, count_);
  }

  /// Each makes it something else. What has no memory throws and leaves the value as it was.
  void setNull() noexcept;
  void set(bool value) noexcept;
  void set(long long value) noexcept;
  void set(double value) noexcept;
  void set(std::string_view value);
  void setArray() noexcept;   ///< []
  void setObject() noexcept;  ///< {}

  /// Takes over what `source` holds, which gets what this one held. Both stand on one level.
  void swap(Value& source) noexcept;

  /// Takes over the value of `source`, which is no container but may be part of this one.
  void assignSimple(const Value& source);

  /// Where mayHoldOthers() is false: becomes null and gives a null for what would stand below it,
  /// where nothing that is written is seen again. `self` is the object of this value.
  JSObject& overflow(JSObject& self);

  // --- Arrays and objects (json_array.cpp, json_members.cpp)

  /// The number of elements or members.
  std::size_t size() const { return count_; }

  const Cell& element(std::size_t index) const { return *cell(index); }
  /// Adds a null.
  Cell& append();
  /// Adds the values, which become null; they stand on the elements' level.
  void append(std::span<Value> values);

  /// The members in the order in which their names first appeared; null when there is none.
  const Member* firstMember() const;
  const Member* memberAfter(const Member& member) const;
  const Cell* find(std::string_view name) const;
  /// The member of that name; `findOrAdd` adds a null when there is none yet, `add` knows that
  /// there is none.
  Cell& findOrAdd(std::string_view name);
  Cell& add(std::string_view name);

  const std::uint16_t level;

 private:
  union Content {
    bool boolean;
    long long integer;
    double real;
    char* text;               // `count` octets; null for none
    Cell* cells;              // an array that has not grown: room for `count` elements, no more
    GrownArray* grown;        // one that has
    Member* lastMember;       // of a ring, so that the first comes after it; null for none
    IndexedMembers* indexed;  // of many members
    Cell* overflow;           // reads as null
  };

  // Numbers of octets, elements or members; what would be more cannot be had.
  static constexpr std::size_t kMaxCount = UINT32_MAX;

  void release() noexcept;
  void releaseArray() noexcept;
  void releaseMembers() noexcept;

  // Copies of what the argument holds, for a value that is null.
  void fill(const Value& source);
  void fillArray(const Value& source);
  void fillObject(const Value& source);

  Cell* cell(std::size_t index) const;
  void grow();
  Member* lastMember() const;
  void link(Member* member) noexcept;
  void indexMembers();

  Type type_ = Type::kNull;
  bool isLarge_ = false;  // the array has grown, or the members are indexed
  std::uint32_t count_ = 0;
  Content content_ = {.integer = 0};
};

/// An element or a member's value, and the object that shows it.
struct JSObject::Value::Cell {
  explicit Cell(unsigned level) noexcept;
  Cell(const Cell&) = delete;
  Cell& operator=(const Cell&) = delete;
  ~Cell();

  Value value;
  JSObject object;

  static_assert(sizeof(Value) == 16);
};

/// A member, with the octets of its name behind it.
struct JSObject::Value::Member {
  /// A new member with a null on `level`, to be given back by `destroy`.
  static Member* make(std::string_view name, unsigned level);
  static void destroy(const Member* member) noexcept;

  std::string_view name() const;

  Member* next;
  Cell cell;
  const std::uint32_t nameSize;

 private:
  Member(unsigned level, std::size_t size) noexcept
      : next(this), cell(level), nameSize(static_cast<std::uint32_t>(size)) {}
  ~Member() = default;

  std::size_t nameOffset() const;
};

}  // namespace zelipc

#endif  // WORKSTATION_ZELIPC_JSON_VALUE_H
