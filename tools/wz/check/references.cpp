#include "wz/check/references.h"

#include <algorithm>
#include <cctype>
#include <optional>

namespace wz {
namespace {

std::string lower(std::string_view text) {
  std::string result(text);
  for (char& c : result) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return result;
}

// Overwrites what stands from `open` to `close` by blanks, so that places stay what they are.
void blank(std::string& text, std::string_view open, std::string_view close) {
  for (std::size_t at = text.find(open); at != std::string::npos; at = text.find(open, at)) {
    const std::size_t found = text.find(close, at + open.size());
    const std::size_t end = found == std::string::npos ? text.size() : found + close.size();
    for (; at < end; ++at) {
      if (text[at] != '\n') text[at] = ' ';
    }
  }
}

bool isLocal(std::string_view address) {
  if (address.empty() || address[0] == '#' || address.starts_with("//")) return false;
  if (address.find_first_of("{}<>$`\n") != std::string_view::npos)
    return false;  // made while it runs
  const std::size_t colon = address.find(':');
  return colon == std::string_view::npos || address.find('/') < colon;
}

void take(std::string_view whole, std::size_t offset, std::vector<Reference>& found) {
  const std::string_view address = whole.substr(0, whole.find_first_of("?#"));
  if (isLocal(whole) && !address.empty()) found.push_back({std::string(address), offset});
}

bool isBlank(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\f'; }

bool isWordPart(char c) {
  return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '_' || c == '$' || c == '-';
}

std::size_t behindBlanks(std::string_view text, std::size_t at) {
  while (at < text.size() && isBlank(text[at])) ++at;
  return at;
}

std::string_view trimmedBlanks(std::string_view text) {
  while (!text.empty() && isBlank(text.front())) text.remove_prefix(1);
  while (!text.empty() && isBlank(text.back())) text.remove_suffix(1);
  return text;
}

// A value at `at`, in quotation marks or up to one of `ends`; `at` goes behind it.
void takeValue(std::string_view text, std::string_view ends, std::size_t& at,
               std::vector<Reference>& found) {
  if (at >= text.size()) return;
  const char quote = text[at];
  const bool isQuoted = quote == '"' || quote == '\'';
  const std::size_t begin = isQuoted ? at + 1 : at;
  const std::size_t stop = isQuoted ? text.find(quote, begin) : text.find_first_of(ends, begin);
  const std::size_t end = std::min(stop, text.size());
  take(text.substr(begin, end - begin), begin, found);
  at = std::max(end, at + 1);
}

// url(...) and @import "..."
void findInStyle(std::string text, std::vector<Reference>& found) {
  blank(text, "/*", "*/");
  const std::string small = lower(text);
  for (std::size_t at = small.find("url("); at != std::string::npos; at = small.find("url(", at)) {
    at = behindBlanks(text, at + 4);
    takeValue(text, " \t\r\n)", at, found);
  }
  constexpr std::string_view kImport = "@import";
  for (std::size_t at = small.find(kImport); at != std::string::npos;
       at = small.find(kImport, at)) {
    at = behindBlanks(text, at + kImport.size());
    if (at < text.size() && (text[at] == '"' || text[at] == '\'')) takeValue(text, "", at, found);
  }
}

// At the beginning of a line, or behind a semicolon. Only addresses that begin with a dot or a
// slash: a bare name is none of a file.
void findInScript(std::string text, std::vector<Reference>& found) {
  blank(text, "/*", "*/");
  for (const std::string_view word : {"import", "export"}) {
    for (std::size_t at = text.find(word); at != std::string::npos; at = text.find(word, at)) {
      const std::size_t before = at == 0 ? std::string::npos : text.find_last_not_of(" \t", at - 1);
      const bool begins =
          before == std::string::npos || text[before] == '\n' || text[before] == ';';
      at += word.size();
      if (!begins || (at < text.size() && isWordPart(text[at]))) continue;
      const std::size_t stop = text.find_first_of("\"'`;()", at);
      if (stop == std::string::npos || (text[stop] != '"' && text[stop] != '\'')) continue;
      // Nothing, or "NAMES from", stands between the word and the address of a file.
      const std::string_view between = trimmedBlanks(std::string_view(text).substr(at, stop - at));
      at = stop;
      if (!between.empty() && !between.ends_with("from")) continue;
      const char first = at + 1 < text.size() ? text[at + 1] : ' ';
      if (first == '.' || first == '/') takeValue(text, "", at, found);
    }
  }
}

// Names of attributes whose values are addresses.
constexpr std::string_view kAddressAttributes[] = {"src", "href", "poster", "data"};

void findInTags(const std::string& tags, std::vector<Reference>& found) {
  const std::string small = lower(tags);
  for (const std::string_view name : kAddressAttributes) {
    for (std::size_t at = small.find(name); at != std::string::npos; at = small.find(name, at)) {
      const char before = at == 0 ? ' ' : small[at - 1];
      at += name.size();
      const std::size_t equals = behindBlanks(small, at);
      if (!isBlank(before) || equals >= small.size() || small[equals] != '=') continue;
      at = behindBlanks(tags, equals + 1);
      takeValue(tags, " \t\r\n>", at, found);
    }
  }
}

// Each <tag ...> with what stands up to its closing tag, for style and script.
void findInPage(std::string text, std::vector<Reference>& found) {
  blank(text, "<!--", "-->");
  const std::string small = lower(text);
  std::string tags(text.size(), ' ');
  std::string styles(text.size(), ' ');
  std::string scripts(text.size(), ' ');
  for (std::size_t at = small.find('<'); at != std::string::npos; at = small.find('<', at)) {
    const std::size_t end = std::min(small.find('>', at), small.size());
    std::copy(text.begin() + static_cast<std::ptrdiff_t>(at),
              text.begin() + static_cast<std::ptrdiff_t>(end),
              tags.begin() + static_cast<std::ptrdiff_t>(at));
    const bool isStyle = small.compare(at, 6, "<style") == 0;
    const bool isScript = small.compare(at, 7, "<script") == 0;
    std::size_t next = end;
    if (isStyle || isScript) {
      next = std::min(small.find(isStyle ? "</style" : "</script", end), small.size());
      std::string& into = isStyle ? styles : scripts;
      std::copy(text.begin() + static_cast<std::ptrdiff_t>(end),
                text.begin() + static_cast<std::ptrdiff_t>(next),
                into.begin() + static_cast<std::ptrdiff_t>(end));
    }
    at = std::max(next, at + 1);
  }
  findInTags(tags, found);
  findInStyle(styles, found);
  findInScript(scripts, found);
}

struct Kind {
  const char* ending;
  void (*find)(std::string text, std::vector<Reference>& found);
};

constexpr Kind kKinds[] = {
    {".html", findInPage}, {".htm", findInPage},  {".xhtml", findInPage},
    {".css", findInStyle}, {".js", findInScript}, {".mjs", findInScript},
};

std::optional<char> hexPair(std::string_view text) {
  const auto digit = [](char c) {
    const std::string_view digits = "0123456789abcdef";
    return digits.find(static_cast<char>(std::tolower(static_cast<unsigned char>(c))));
  };
  if (text.size() < 2 || digit(text[0]) == std::string_view::npos ||
      digit(text[1]) == std::string_view::npos) {
    return std::nullopt;
  }
  return static_cast<char>(digit(text[0]) * 16 + digit(text[1]));
}

std::string decoded(std::string_view address) {
  std::string text;
  for (std::size_t i = 0; i < address.size(); ++i) {
    const auto octet = address[i] == '%' ? hexPair(address.substr(i + 1)) : std::nullopt;
    text += octet.value_or(address[i]);
    if (octet) i += 2;
  }
  return text;
}

}  // namespace

std::vector<Reference> referencesIn(std::string_view name, std::string_view text) {
  // What is larger is no work of hands.
  constexpr std::size_t kMostOctets = std::size_t{1} << 20;
  std::vector<Reference> found;
  if (text.size() > kMostOctets) return found;
  const std::string small = lower(name);
  for (const Kind& kind : kKinds) {
    if (!small.ends_with(kind.ending)) continue;
    kind.find(std::string(text), found);
    break;
  }
  std::ranges::sort(found, {}, &Reference::offset);
  return found;
}

Target targetOf(const std::string& address, const std::string& from) {
  std::vector<std::string> parts;
  const auto walk = [&parts](std::string_view path) {
    bool leaves = false;
    while (!path.empty()) {
      const std::size_t slash = path.find('/');
      const std::string_view part = path.substr(0, slash);
      path.remove_prefix(slash == std::string_view::npos ? path.size() : slash + 1);
      if (part.empty() || part == ".") continue;
      if (part != "..") {
        parts.emplace_back(part);
      } else if (parts.empty()) {
        leaves = true;
      } else {
        parts.pop_back();
      }
    }
    return leaves;
  };
  const std::string path = decoded(address);
  if (!path.starts_with('/')) walk(from.substr(0, from.rfind('/') + 1));
  Target target;
  target.leaves = walk(path);
  for (const std::string& part : parts) target.name += (target.name.empty() ? "" : "/") + part;
  return target;
}

}  // namespace wz
