#include "wz/words/log_format.h"

#include <cctype>
#include <charconv>

namespace wz {

LogFormat::LogFormat(std::string_view format) {
  if (format.ends_with('\n')) format.remove_suffix(1);
  literals_.emplace_back();
  for (std::size_t i = 0; i < format.size(); ++i) {
    if (format[i] != '%' || i + 1 == format.size()) {
      literals_.back() += format[i];
      continue;
    }
    directives_.push_back(format[++i]);
    literals_.emplace_back();
  }
}

// Each literal where it comes first behind the one before it, but the last at the end of the line.
std::optional<LogFormat::Match> LogFormat::find(std::string_view line) const {
  Match match{line.find(literals_.front()), {}};
  if (match.position == std::string_view::npos) return std::nullopt;
  std::size_t position = match.position + literals_.front().size();
  for (std::size_t i = 1; i < literals_.size(); ++i) {
    const std::string& literal = literals_[i];
    const bool isLast = i + 1 == literals_.size();
    const std::size_t next = isLast && line.size() >= literal.size() ? line.size() - literal.size()
                                                                     : line.find(literal, position);
    if (next == std::string_view::npos || next < position ||
        !line.substr(next).starts_with(literal)) {
      return std::nullopt;
    }
    match.values.emplace_back(line.substr(position, next - position));
    if (directives_[i - 1] == 'd' && !isInteger(match.values.back())) return std::nullopt;
    position = next + literal.size();
  }
  if (position != line.size()) return std::nullopt;
  return match;
}

std::size_t LogFormat::literalSize() const {
  std::size_t size = 0;
  for (const std::string& literal : literals_) size += literal.size();
  return size;
}

std::string_view trimmedLine(std::string_view line) {
  while (!line.empty() && std::isspace(static_cast<unsigned char>(line.back())) != 0) {
    line.remove_suffix(1);
  }
  while (!line.empty() && std::isspace(static_cast<unsigned char>(line.front())) != 0) {
    line.remove_prefix(1);
  }
  return line;
}

bool isInteger(std::string_view text) {
  int number = 0;
  const auto [end, failure] = std::from_chars(text.data(), text.data() + text.size(), number);
  return failure == std::errc() && end == text.data() + text.size();
}

}  // namespace wz
