#include "packaging/ignore_rules.h"

#include <algorithm>

namespace packaging {
namespace {

// [abc], [a-z], [!abc]: takes it off the front of `pattern`. False when `c` does not fit, or there
// is no end.
bool takeClass(std::string_view& pattern, char c) {
  std::size_t at = 1;
  const bool isNot = at < pattern.size() && (pattern[at] == '!' || pattern[at] == '^');
  if (isNot) ++at;
  bool isIn = false;
  for (bool isFirst = true; at < pattern.size() && (isFirst || pattern[at] != ']');
       isFirst = false) {
    const char low = pattern[at++];
    char high = low;
    if (at + 1 < pattern.size() && pattern[at] == '-' && pattern[at + 1] != ']') {
      high = pattern[at + 1];
      at += 2;
    }
    isIn = isIn || (low <= c && c <= high);
  }
  if (at >= pattern.size()) return false;
  pattern.remove_prefix(at + 1);
  return isIn != isNot && c != '/';
}

bool matchesFrom(std::string_view pattern, std::string_view text, int& steps);

// Behind "**/": at the front, or behind any "/".
bool matchesBelow(std::string_view pattern, std::string_view text, int& steps) {
  for (;;) {
    if (matchesFrom(pattern, text, steps)) return true;
    const std::size_t slash = text.find('/');
    if (slash == std::string_view::npos) return false;
    text.remove_prefix(slash + 1);
  }
}

bool matchesStar(std::string_view pattern, std::string_view text, int& steps) {
  for (std::size_t i = 0;; ++i) {
    if (matchesFrom(pattern, text.substr(i), steps)) return true;
    if (i == text.size() || text[i] == '/') return false;
  }
}

// A pattern of stars alone could take for ever; nobody writes one that needs these steps.
constexpr int kMostSteps = 1'000'000;

bool matchesFrom(std::string_view pattern, std::string_view text, int& steps) {
  while (!pattern.empty()) {
    if (++steps > kMostSteps) return false;
    if (pattern == "**") return true;
    if (pattern.starts_with("**/")) return matchesBelow(pattern.substr(3), text, steps);
    if (pattern[0] == '*') return matchesStar(pattern.substr(1), text, steps);
    if (text.empty()) return false;
    if (pattern[0] == '[') {
      if (!takeClass(pattern, text[0])) return false;
      text.remove_prefix(1);
      continue;
    }
    if (pattern[0] == '?') {
      if (text[0] == '/') return false;
    } else {
      if (pattern[0] == '\\' && pattern.size() > 1) pattern.remove_prefix(1);
      if (pattern[0] != text[0]) return false;
    }
    pattern.remove_prefix(1);
    text.remove_prefix(1);
  }
  return text.empty();
}

std::string_view withoutBlanksBehind(std::string_view line) {
  while (!line.empty() && (line.back() == ' ' || line.back() == '\r' || line.back() == '\t')) {
    const bool isMeant = line.size() > 1 && line[line.size() - 2] == '\\';
    if (isMeant) break;
    line.remove_suffix(1);
  }
  return line;
}

}  // namespace

bool matchesGlob(std::string_view pattern, std::string_view text) {
  int steps = 0;
  return matchesFrom(pattern, text, steps);
}

IgnoreRules::IgnoreRules(std::string_view text) {
  while (!text.empty()) {
    const std::size_t end = text.find('\n');
    addLine(text.substr(0, end));
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
  }
}

void IgnoreRules::addLine(std::string_view line) {
  line = withoutBlanksBehind(line);
  if (line.empty() || line[0] == '#') return;
  Rule rule{};
  rule.isExcept = line[0] == '!';
  if (rule.isExcept) line.remove_prefix(1);
  rule.isForFolders = line.ends_with('/');
  if (rule.isForFolders) line.remove_suffix(1);
  rule.isAnchored = line.find('/') != std::string_view::npos;
  if (line.starts_with('/')) line.remove_prefix(1);
  if (line.empty()) return;
  rule.pattern = line;
  rules_.push_back(rule);
}

bool IgnoreRules::isIgnored(std::string_view name, bool isFolder) const {
  const std::size_t slash = name.rfind('/');
  const std::string_view last = slash == std::string_view::npos ? name : name.substr(slash + 1);
  const auto fits = [&](const Rule& rule) {
    return (isFolder || !rule.isForFolders) &&
           matchesGlob(rule.pattern, rule.isAnchored ? name : last);
  };
  const auto rule = std::find_if(rules_.rbegin(), rules_.rend(), fits);
  return rule != rules_.rend() && !rule->isExcept;
}

}  // namespace packaging
