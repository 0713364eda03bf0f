// JSObject::dump: RapidJSON writes the text.

#include <cstring>
#include <string>
#include <string_view>

#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include "workstation/zelipc/json_allocator.h"
#include "workstation/zelipc/json_text.h"
#include "workstation/zelipc/json_value.h"

namespace zelipc {
namespace {

using Buffer = rapidjson::GenericStringBuffer<rapidjson::UTF8<>, workstation::JsonAllocator>;
using JsonWriter =
    rapidjson::Writer<Buffer, rapidjson::UTF8<>, rapidjson::UTF8<>, workstation::JsonAllocator>;

class Writer final : public JsonWriter {
 public:
  explicit Writer(Buffer& buffer) : JsonWriter(buffer) {}

  // Writes a text that needs no escapes. RapidJSON would look at each character.
  void plainText(std::string_view text) {
    Prefix(rapidjson::kStringType);
    char* const place = os_->Push(text.size() + 2);
    place[0] = '"';
    std::memcpy(place + 1, text.data(), text.size());
    place[text.size() + 1] = '"';
    EndValue(true);
  }
};

}  // namespace

/// Writes one value, recursing as deep as the tree is.
struct JSObject::Value::Writing {
  Writer& writer;

  void write(const Value& value) const {
    switch (value.type()) {
      case Type::kNull:
      case Type::kOverflow:
        writer.Null();
        return;
      case Type::kBool:
        writer.Bool(value.boolean());
        return;
      case Type::kInteger:
        writer.Int64(value.integer());
        return;
      case Type::kReal:
        return writeReal(value.real());
      case Type::kText:
        return writeText(value.text());
      case Type::kArray:
        return writeArray(value);
      case Type::kObject:
        return writeObject(value);
    }
  }

  void writeReal(double value) const {
    const std::string literal = workstation::writeNumber(value);
    writer.RawValue(literal.data(), literal.size(), rapidjson::kNumberType);
  }

  void writeArray(const Value& array) const {
    writer.StartArray();
    for (std::size_t i = 0; i < array.size(); ++i) write(array.element(i).value);
    writer.EndArray();
  }

  void writeObject(const Value& object) const {
    writer.StartObject();
    const Member* member = object.firstMember();
    for (; member != nullptr; member = object.memberAfter(*member)) {
      writeText(member->name());
      write(member->cell.value);
    }
    writer.EndObject();
  }

  void writeText(std::string_view text) const {
    if (workstation::isPlain(text)) {
      writer.plainText(text);
    } else if (workstation::wellFormedLength(text) == text.size()) {
      put(text);
    } else {
      put(workstation::repairUtf8(text));
    }
  }

  void put(std::string_view text) const {
    writer.String(text.data(), static_cast<rapidjson::SizeType>(text.size()));
  }
};

std::string JSObject::dump() const {
  if (value_ == nullptr) return "{}";
  Buffer buffer;
  Writer writer(buffer);
  Value::Writing{writer}.write(*value_);
  return std::string(buffer.GetString(), buffer.GetSize());
}

}  // namespace zelipc
