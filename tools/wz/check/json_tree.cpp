#include "wz/check/json_tree.h"

#include <rapidjson/error/en.h>
#include <rapidjson/memorystream.h>
#include <rapidjson/reader.h>

#include <algorithm>
#include <utility>

namespace wz {
namespace {

constexpr std::size_t kMostLevels = 256;

// Takes the reader's events. The reader does not say where a token begins; each event is one, so
// that they are counted along in the text.
class TreeBuilder : public rapidjson::BaseReaderHandler<rapidjson::UTF8<>, TreeBuilder> {
 public:
  using Size = rapidjson::SizeType;
  using Type = JsonNode::Type;

  explicit TreeBuilder(std::string_view text) : text_(text) {}

  bool Null() { return add({Type::kNull, "null", token(), {}, {}}); }
  bool Bool(bool value) { return add({Type::kFlag, value ? "true" : "false", token(), {}, {}}); }
  bool RawNumber(const char* text, Size size, bool) {
    return add({Type::kNumber, std::string(text, size), token(), {}, {}});
  }
  bool String(const char* text, Size size, bool) {
    return add({Type::kText, std::string(text, size), token(), {}, {}});
  }
  bool Key(const char* text, Size size, bool) {
    levels_.back().key = {std::string(text, size), token()};
    return true;
  }
  bool StartObject() { return open(Type::kObject); }
  bool StartArray() { return open(Type::kArray); }
  bool EndObject(Size) { return close(); }
  bool EndArray(Size) { return close(); }

  JsonNode root;
  bool isTooDeep = false;
  std::size_t end = 0;  // of the last token

 private:
  // Where the next token begins; `end` goes behind it.
  std::size_t token() {
    const std::size_t begin = std::min(text_.find_first_not_of(" \t\r\n,:", end), text_.size());
    end = begin + 1;
    if (begin == text_.size()) return begin;
    if (text_[begin] == '"') {
      while (end < text_.size() && text_[end] != '"') end += text_[end] == '\\' ? 2 : 1;
      ++end;
    } else if (std::string_view("{}[]").find(text_[begin]) == std::string_view::npos) {
      end = text_.find_first_of(" \t\r\n,:{}[]", begin);
    }
    end = std::min(end, text_.size());
    return begin;
  }

  struct Level {
    JsonNode node;
    std::pair<std::string, std::size_t> key;
  };

  bool open(Type type) {
    isTooDeep = levels_.size() == kMostLevels;
    if (isTooDeep) return false;
    levels_.push_back({{type, "", token(), {}, {}}, {}});
    return true;
  }

  bool close() {
    (void)token();
    JsonNode node = std::move(levels_.back().node);
    levels_.pop_back();
    return add(std::move(node));
  }

  bool add(JsonNode node) {
    if (levels_.empty()) {
      root = std::move(node);
      return true;
    }
    Level& level = levels_.back();
    if (level.node.type == Type::kArray) {
      level.node.items.push_back(std::move(node));
    } else {
      level.node.members.push_back({level.key.first, level.key.second, std::move(node)});
    }
    return true;
  }

  std::string_view text_;
  std::vector<Level> levels_;
};

}  // namespace

const JsonNode* JsonNode::find(std::string_view key) const {
  for (const JsonMember& member : members) {
    if (member.key == key) return &member.value;
  }
  return nullptr;
}

JsonText readJsonText(std::string_view text) {
  constexpr unsigned kFlags = rapidjson::kParseIterativeFlag |
                              rapidjson::kParseNumbersAsStringsFlag |
                              rapidjson::kParseValidateEncodingFlag;
  JsonText result;
  rapidjson::MemoryStream stream(text.data(), text.size());
  rapidjson::Reader reader;
  TreeBuilder builder(text);
  reader.Parse<kFlags>(stream, builder);
  if (builder.isTooDeep) {
    result.problem = "it is nested more than 256 levels deep";
    result.offset = builder.end;
  } else if (reader.HasParseError()) {
    result.problem = rapidjson::GetParseError_En(reader.GetParseErrorCode());
    if (result.problem.ends_with('.')) result.problem.pop_back();
    result.offset = reader.GetErrorOffset();
  } else {
    result.isJson = true;
    result.root = std::move(builder.root);
  }
  return result;
}

TextPlace placeIn(std::string_view text, std::size_t offset) {
  const std::string_view before = text.substr(0, offset);
  const auto lines = static_cast<std::size_t>(std::ranges::count(before, '\n'));
  const std::size_t start = before.rfind('\n');
  return {lines + 1, start == std::string_view::npos ? before.size() + 1 : before.size() - start};
}

std::string textAt(const JsonNode& node, std::string_view key) {
  const JsonNode* const found = node.find(key);
  return found != nullptr && found->type == JsonNode::Type::kText ? found->text : std::string();
}

bool flagAt(const JsonNode& node, std::string_view key) {
  const JsonNode* const found = node.find(key);
  return found != nullptr && found->type == JsonNode::Type::kFlag && found->text == "true";
}

const std::vector<JsonNode>& itemsAt(const JsonNode& node, std::string_view key) {
  static const std::vector<JsonNode> none;
  const JsonNode* const found = node.find(key);
  return found != nullptr && found->type == JsonNode::Type::kArray ? found->items : none;
}

std::vector<std::string> textsAt(const JsonNode& node, std::string_view key) {
  std::vector<std::string> texts;
  for (const JsonNode& item : itemsAt(node, key)) {
    if (item.type == JsonNode::Type::kText) texts.push_back(item.text);
  }
  return texts;
}

const char* typeText(JsonNode::Type type) {
  switch (type) {
    case JsonNode::Type::kNull:
      return "null";
    case JsonNode::Type::kFlag:
      return "true or false";
    case JsonNode::Type::kNumber:
      return "a number";
    case JsonNode::Type::kText:
      return "a text";
    case JsonNode::Type::kArray:
      return "a list";
    case JsonNode::Type::kObject:
      return "an object";
  }
  return "?";
}

}  // namespace wz
