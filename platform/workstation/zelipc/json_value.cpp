#include "workstation/zelipc/json_value.h"

#include <new>
#include <utility>

namespace zelipc {
namespace {

// Fewer members are found faster by looking at each.
constexpr std::size_t kIndexedFrom = 16;

}  // namespace

JSObject::Value::Value(unsigned onLevel) : level(onLevel) {}

JSObject::Value::Value(unsigned onLevel, Content newContent)
    : level(onLevel), content(std::move(newContent)) {}

JSObject::Value::~Value() = default;

JSObject::Value& JSObject::Value::of(JSObject& object) {
  if (object.value_ == nullptr) object.value_ = new Value(kRootLevel, Members());
  return *object.value_;
}

void JSObject::Value::clear(JSObject& object) {
  if (object.value_ == nullptr) return;
  object.value_->content = copy(nullptr, object.value_->level);
}

JSObject::Value::Content JSObject::Value::copy(const Value* source, unsigned level) {
  Value target(level);
  if (source != nullptr) {
    target.fill(*source);
  } else if (target.mayHoldOthers()) {
    target.content = Members();
  }
  return std::move(target.content);
}

bool JSObject::Value::isContainer() const {
  return std::holds_alternative<Array>(content) || std::holds_alternative<Members>(content);
}

// The two steps that recurse stand apart to keep their frames small.
void JSObject::Value::fill(const Value& source) {
  if (const auto* const array = std::get_if<Array>(&source.content)) return fill(*array);
  if (const auto* const object = std::get_if<Members>(&source.content)) return fill(*object);
  assignSimple(source);
}

void JSObject::Value::fill(const Array& source) {
  if (!mayHoldOthers()) return;
  Array& elements = content.emplace<Array>();
  for (std::size_t i = 0; i < source.size(); ++i) {
    elements.add(level + 1).value.fill(source[i].value);
  }
}

void JSObject::Value::fill(const Members& source) {
  if (!mayHoldOthers()) return;
  Members& members = content.emplace<Members>();
  for (const Member& member : source.all()) {
    members.add(member.name, level + 1).value.fill(member.cell.value);
  }
}

void JSObject::Value::assignSimple(const Value& source) {
  if (const auto* const text = std::get_if<std::string>(&source.content)) {
    content = *text;
  } else if (const auto* const integer = std::get_if<long long>(&source.content)) {
    content = *integer;
  } else if (const auto* const real = std::get_if<double>(&source.content)) {
    content = *real;
  } else if (const auto* const boolean = std::get_if<bool>(&source.content)) {
    content = *boolean;
  } else {
    content = Null();
  }
}

const JSObject& JSObject::Value::sharedNull() {
  alignas(Cell) static unsigned char place[sizeof(Cell)];
  static const Cell* const cell = new (place) Cell(kRootLevel);
  return cell->object;
}

bool JSObject::Value::isNull() const {
  return std::holds_alternative<Null>(content) || std::holds_alternative<Overflow>(content);
}

JSObject& JSObject::Value::overflow(JSObject& self) {
  if (level > kMaxLevel + 1) {  // already lost
    content = Null();
    return self;
  }
  content = std::make_unique<Cell>(level + 1);
  return std::get<Overflow>(content)->object;
}

JSObject::Value::Cell::Cell(unsigned level) : value(level) { object.value_ = &value; }

// The object would delete its value, which is part of this cell.
JSObject::Value::Cell::~Cell() { object.value_ = nullptr; }

JSObject::Value::Members::Members() = default;
JSObject::Value::Members::Members(Members&&) noexcept = default;
JSObject::Value::Members& JSObject::Value::Members::operator=(Members&&) noexcept = default;
JSObject::Value::Members::~Members() = default;

const JSObject::Value::Cell* JSObject::Value::Members::find(std::string_view name) const {
  if (index_) {
    const auto found = index_->find(name);
    return found == index_->end() ? nullptr : found->second;
  }
  for (const Member& member : members_) {
    if (member.name == name) return &member.cell;
  }
  return nullptr;
}

JSObject::Value::Cell& JSObject::Value::Members::findOrAdd(std::string_view name,
                                                           unsigned onLevel) {
  const Cell* const found = find(name);
  return found != nullptr ? const_cast<Cell&>(*found) : add(name, onLevel);
}

JSObject::Value::Cell& JSObject::Value::Members::add(std::string_view name, unsigned onLevel) {
  Member& member = members_.emplace_back(name, onLevel);
  try {
    if (index_) {
      index_->emplace(member.name, &member.cell);
    } else if (members_.size() == kIndexedFrom) {
      indexAll();
    }
  } catch (...) {
    members_.pop_back();
    throw;
  }
  return member.cell;
}

void JSObject::Value::Members::indexAll() {
  auto index = std::make_unique<Index>();
  for (Member& member : members_) index->emplace(member.name, &member.cell);
  index_ = std::move(index);
}

}  // namespace zelipc
