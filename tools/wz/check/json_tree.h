/// JSON (RFC 8259) with the places of its parts, for messages about what was written.
#ifndef WZ_CHECK_JSON_TREE_H
#define WZ_CHECK_JSON_TREE_H

#include <charconv>
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace wz {

struct JsonMember;

struct JsonNode {
  enum class Type { kNull, kFlag, kNumber, kText, kArray, kObject };
  Type type = Type::kNull;
  std::string text;  ///< of a text; a number as it is written
  std::size_t offset = 0;
  std::vector<JsonMember> members;  ///< of an object, in their order, doubles too
  std::vector<JsonNode> items;      ///< of an array

  /// The first member of that key; null when there is none, or this is no object.
  [[nodiscard]] const JsonNode* find(std::string_view key) const;
};

struct JsonMember {
  std::string key;
  std::size_t offset;  ///< of the key
  JsonNode value;
};

struct JsonText {
  bool isJson = false;
  JsonNode root;
  std::string problem;     ///< where it is not JSON: what is wrong,
  std::size_t offset = 0;  ///< and where
};

/// Reads a text whole. One that is nested more than 256 levels deep is refused.
[[nodiscard]] JsonText readJsonText(std::string_view text);

// The member of that key of an object, where it is of the type; otherwise what is empty.
[[nodiscard]] std::string textAt(const JsonNode& node, std::string_view key);
[[nodiscard]] bool flagAt(const JsonNode& node, std::string_view key);
[[nodiscard]] const std::vector<JsonNode>& itemsAt(const JsonNode& node, std::string_view key);
[[nodiscard]] std::vector<std::string> textsAt(const JsonNode& node, std::string_view key);

/// The same for an integer; `number` stays as it is where there is none.
template <typename Number>
void takeNumber(const JsonNode& node, std::string_view key, Number& number) {
  const JsonNode* const found = node.find(key);
  if (found == nullptr || found->type != JsonNode::Type::kNumber) return;
  std::from_chars(found->text.data(), found->text.data() + found->text.size(), number);
}

/// A place in a text: line and column from 1, columns in octets.
struct TextPlace {
  std::size_t line, column;
};
[[nodiscard]] TextPlace placeIn(std::string_view text, std::size_t offset);

/// "a text", "a list" and so on.
[[nodiscard]] const char* typeText(JsonNode::Type type);

inline constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

}  // namespace wz

#endif  // WZ_CHECK_JSON_TREE_H
