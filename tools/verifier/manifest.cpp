#include "verifier/manifest.h"

#include <algorithm>
#include <cstdlib>

namespace verifier {
namespace {

constexpr std::string_view kWhite = " \t\n\v\f\r";

}  // namespace

Value Value::member(const char* key) const {
  if (value_ == nullptr || !value_->IsObject()) return Value();
  // Of members of one name the last counts.
  const rapidjson::Value* found = nullptr;
  for (const auto& member : value_->GetObject()) {
    if (std::string_view(member.name.GetString(), member.name.GetStringLength()) == key) {
      found = &member.value;
    }
  }
  return Value(found);
}

std::string Value::text() const {
  if (value_ == nullptr || !value_->IsString()) return "";
  return {value_->GetString(), value_->GetStringLength()};
}

std::vector<Value> Value::elements() const {
  std::vector<Value> all;
  if (value_ == nullptr || !value_->IsArray()) return all;
  for (const rapidjson::Value& element : value_->GetArray()) all.emplace_back(&element);
  return all;
}

Manifest::Manifest(const std::string& text) {
  document_.Parse<rapidjson::kParseValidateEncodingFlag | rapidjson::kParseIterativeFlag>(
      text.data(), text.size());
  // Texts end at a zero octet, so that one with such an octet is not read to its end. A byte order
  // mark is no part of JSON (RFC 8259, 8.1).
  isJson_ = !document_.HasParseError() && text.find('\0') == std::string::npos &&
            !text.starts_with("\xEF\xBB\xBF");
  if (!isJson_) readSections(text);
}

void Manifest::readSections(std::string_view text) {
  std::string clean;
  for (const char c : text) {
    if (c != '\r') clean += c == '\t' ? ' ' : c;
  }
  isSections_ = true;
  std::string section;
  for (std::size_t start = 0; start < clean.size();) {
    const std::size_t end = std::min(clean.find('\n', start), clean.size());
    readLine(std::string_view(clean).substr(start, end - start), section);
    start = end + 1;
  }
}

void Manifest::readLine(std::string_view line, std::string& section) {
  line.remove_prefix(std::min(line.find_first_not_of(' '), line.size()));
  if (line.empty() || line[0] == ';') return;
  const std::size_t close = line.find(']');
  if (line[0] == '[' && close != std::string_view::npos) {
    section = line.substr(1, close - 1);
  } else if (!section.empty() && line.find('=') != std::string_view::npos) {
    sections_[section].emplace_back(line);
  } else {
    isSections_ = false;
  }
}

std::string Manifest::valueOf(const std::string& section, const std::string& key) const {
  const auto found = sections_.find(section);
  if (found == sections_.end()) return "";
  for (const std::string& line : found->second) {
    const std::size_t sign = line.find('=');
    if (trimmed(line.substr(0, sign)) == key) return trimmed(line.substr(sign + 1));
  }
  return "";
}

std::string Manifest::appId() const {
  std::string id;
  if (isJson_ && root().member("application").has("id")) {
    id = root().member("application").member("id").text();
  } else {
    id = valueOf("install", "appid");
    if (id.empty()) id = valueOf("uninstall", "appid");
  }
  return isPlainName(id) ? id : "";
}

bool isPlainName(std::string_view id) {
  return id != "." && id != ".." && !id.ends_with(':') &&
         id.find_first_of(std::string_view("/\\\0", 3)) == std::string_view::npos;
}

std::string trimmed(std::string_view text) {
  const std::size_t first = text.find_first_not_of(kWhite);
  if (first == std::string_view::npos) return "";
  return std::string(text.substr(first, text.find_last_not_of(kWhite) - first + 1));
}

std::vector<std::string> pieces(std::string_view text, char separator) {
  std::vector<std::string> all;
  while (true) {
    const std::size_t end = text.find(separator);
    all.push_back(trimmed(text.substr(0, end)));
    if (end == std::string_view::npos) return all;
    text.remove_prefix(end + 1);
  }
}

int compareVersions(std::string_view one, std::string_view other) {
  const std::vector<std::string> left = pieces(one, '.');
  const std::vector<std::string> right = pieces(other, '.');
  for (std::size_t i = 0; i < std::min(left.size(), right.size()); ++i) {
    const long a = std::strtol(left[i].c_str(), nullptr, 10);
    const long b = std::strtol(right[i].c_str(), nullptr, 10);
    if (a != b) return a < b ? -1 : 1;
  }
  return left.size() == right.size() ? 0 : left.size() < right.size() ? -1 : 1;
}

}  // namespace verifier
