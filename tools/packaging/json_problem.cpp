#include "packaging/json_problem.h"

#include <rapidjson/document.h>
#include <rapidjson/error/en.h>

#include <algorithm>
#include <string_view>

namespace packaging {
namespace {

std::string positionIn(const std::string& text, std::size_t offset) {
  const std::string_view before = std::string_view(text).substr(0, offset);
  const auto line = 1 + std::ranges::count(before, '\n');
  const std::size_t start = before.rfind('\n');
  const std::size_t column = start == std::string_view::npos ? offset + 1 : offset - start;
  return "line " + std::to_string(line) + ", column " + std::to_string(column);
}

}  // namespace

std::string whyNoJson(const std::string& text) {
  // RapidJSON passes over it, but no terminal and no page does.
  if (text.compare(0, 3, "\xEF\xBB\xBF") == 0) {
    return "It begins with a byte order mark; save it as UTF-8 without one. (line 1, column 1)";
  }
  rapidjson::Document document;
  document.Parse<rapidjson::kParseIterativeFlag | rapidjson::kParseValidateEncodingFlag>(
      text.data(), text.size());
  if (!document.HasParseError()) return {};
  return std::string(rapidjson::GetParseError_En(document.GetParseError())) + " (" +
         positionIn(text, document.GetErrorOffset()) + ")";
}

}  // namespace packaging
