// The tree behind a JSObject.
//
// A `Value` knows the level on which it stands: 1 for the value of an object that a program holds
// itself, one more for each array or object around it. Arrays and objects stand on the levels 1 to
// kMaxLevel only, whatever way they were made, so that everything that walks a tree may recurse.
//
// An element or member is a `Cell`: the value and the JSObject through which programs see it. A
// cell never moves, so a reference to it stays good while others are added, until its container is
// assigned to, parsed into, turned into something else or destroyed.
#ifndef WORKSTATION_ZELIPC_JSON_VALUE_H
#define WORKSTATION_ZELIPC_JSON_VALUE_H

#include "workstation/zelipc/zelipc_export.h"

#include <cstddef>
#include <list>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace zelipc {

struct JSObject::Value {
  struct Cell;
  struct Member;
  class Builder;
  struct Reading;
  struct Writing;

  /// The members of an object, in the order in which their names first appeared.
  class Members {
   public:
    Members();
    Members(Members&&) noexcept;
    Members& operator=(Members&&) noexcept;
    ~Members();

    const Cell* find(std::string_view name) const;
    /// The member of that name; `findOrAdd` adds a null that stands on `onLevel` when there is none
    /// yet, `add` knows that there is none.
    Cell& findOrAdd(std::string_view name, unsigned onLevel);
    Cell& add(std::string_view name, unsigned onLevel);

    std::size_t size() const { return members_.size(); }
    const std::list<Member>& all() const { return members_; }

   private:
    using Index = std::map<std::string_view, Cell*>;

    void indexAll();

    std::list<Member> members_;
    std::unique_ptr<Index> index_;  // of all members, or null while they are few
  };

  /// The elements of an array, in blocks of which each is twice as large as the one before, up to
  /// a limit: allocated one by one they would take a quarter more, and in one piece they would
  /// move.
  class Array {
   public:
    Array() = default;
    Array(Array&& other) noexcept;
    Array& operator=(Array&& other) noexcept;
    ~Array();

    const Cell& operator[](std::size_t index) const { return *cell(index); }
    /// Adds a null that stands on `onLevel`.
    Cell& add(unsigned onLevel);

    std::size_t size() const { return size_; }

   private:
    Cell* cell(std::size_t index) const;

    std::vector<std::unique_ptr<std::byte[]>> blocks_;
    std::size_t size_ = 0;
  };

  using Null = std::monostate;
  using Overflow = std::unique_ptr<Cell>;  // reads as null
  using Content =
      std::variant<Null, bool, long long, double, std::string, Array, Members, Overflow>;

  static constexpr unsigned kRootLevel = 1;
  static constexpr unsigned kMaxLevel = 512;

  explicit Value(unsigned onLevel);  ///< null
  Value(unsigned onLevel, Content newContent);
  Value(const Value&) = delete;
  Value& operator=(const Value&) = delete;
  ~Value();

  /// The value of `object`, which gets one, {}, when it has none yet.
  static Value& of(JSObject& object);

  /// Makes `object` {}, or null where no object may stand.
  static void clear(JSObject& object);

  /// The content of a copy of `source` (null pointer: the empty object) that is to stand on
  /// `level`. Arrays and objects that would stand too deep become null.
  static Content copy(const Value* source, unsigned level);

  /// The null for what is not there. Never destroyed.
  static const JSObject& sharedNull();

  /// The content of `object` when it is a `T`, else null.
  template <class T>
  static const T* get(const JSObject& object) {
    return object.value_ == nullptr ? nullptr : std::get_if<T>(&object.value_->content);
  }

  /// Takes over the value of `source`, which is no container but may be part of this one.
  void assignSimple(const Value& source);

  bool isNull() const;
  bool isContainer() const;
  bool mayHoldOthers() const { return level <= kMaxLevel; }

  /// Where mayHoldOthers() is false: becomes null and gives a null for what would stand below it,
  /// where nothing that is written is seen again. `self` is the object of this value.
  JSObject& overflow(JSObject& self);

  const unsigned level;
  Content content;

 private:
  // Copies of what the argument holds, for a value that is null.
  void fill(const Value& source);
  void fill(const Array& source);
  void fill(const Members& source);
};

/// An element or a member's value, and the object that shows it.
struct JSObject::Value::Cell {
  explicit Cell(unsigned level);
  Cell(const Cell&) = delete;
  Cell& operator=(const Cell&) = delete;
  ~Cell();

  Value value;
  JSObject object;
};

struct JSObject::Value::Member {
  Member(std::string_view memberName, unsigned level) : name(memberName), cell(level) {}

  const std::string name;
  Cell cell;
};

}  // namespace zelipc

#endif  // WORKSTATION_ZELIPC_JSON_VALUE_H
