#include "wz/words/explain.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cstdio>
#include <iterator>

#include "wz/words/log_format.h"
#include "wz/words/nearest.h"

namespace wz {
namespace {

// ---- What a user writes ------------------------------------------------------------------------

std::string lower(std::string_view text) {
  std::string result(text);
  for (char& c : result) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return result;
}

// "WZ-0304" for "WZ-0304", "wz 304" and "304" alike; empty for other texts.
std::string writtenCode(std::string_view text) {
  std::string rest = lower(trimmedLine(text));
  if (rest.starts_with('-')) return {};  // a number of the library
  if (rest.starts_with("wz")) rest.erase(0, 2);
  rest.erase(0, std::min(rest.find_first_not_of("- _"), rest.size()));
  constexpr std::size_t kDigits = 4;
  const auto isDigit = [](char c) { return c >= '0' && c <= '9'; };
  if (rest.empty() || rest.size() > kDigits || !std::ranges::all_of(rest, isDigit)) return {};
  return "WZ-" + std::string(kDigits - rest.size(), '0') + rest;
}

std::vector<const Code*> findNumber(std::string_view text) {
  std::vector<const Code*> found;
  text = trimmedLine(text);
  if (!text.starts_with('-') || !isInteger(text)) return found;
  for (const Code* const code : allCodes()) {
    if (code->layer != Layer::kNone && std::to_string(code->number) == text) found.push_back(code);
  }
  return found;
}

std::vector<std::string> wordsOf(const std::string& text) {
  std::vector<std::string> words(1);
  for (const char c : text) {
    if (std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '_' || c == '.') {
      words.back() += c;
    } else if (!words.back().empty()) {
      words.emplace_back();
    }
  }
  if (words.back().empty()) words.pop_back();
  return words;
}

std::string searchedText(const Code& code) {
  return lower(std::string(code.title) + " " + code.rule + " " + code.causes);
}

bool hasAll(const std::string& text, const std::vector<std::string>& words) {
  const auto isIn = [&text](const std::string& word) {
    return text.find(word) != std::string::npos;
  };
  return std::ranges::all_of(words, isIn);
}

std::vector<const Code*> findWords(const std::vector<std::string>& words) {
  std::vector<const Code*> inTitle;
  std::vector<const Code*> anywhere;
  if (words.empty()) return {};
  for (const Code* const code : allCodes()) {
    if (hasAll(lower(code->title), words)) inTitle.push_back(code);
    if (hasAll(searchedText(*code), words)) anywhere.push_back(code);
  }
  return inTitle.empty() ? anywhere : inTitle;
}

// The words of all rows that have `words`.
std::vector<std::string> vocabulary(const std::vector<std::string>& words) {
  std::vector<std::string> found;
  for (const Code* const code : allCodes()) {
    const std::string text = searchedText(*code);
    if (hasAll(text, words)) std::ranges::move(wordsOf(text), std::back_inserter(found));
  }
  return found;
}

// "Error %d" of a certificate: the number has a row of its own.
void addNumbered(const LogMatch& match, std::vector<const Code*>& found) {
  if (std::string_view(match.code->id) != "WZ-0202") return;
  int number = 0;
  const std::string& text = match.values.back();
  std::from_chars(text.data(), text.data() + text.size(), number);
  if (const Code* const cause = findCode(Layer::kSummary, number)) found.push_back(cause);
}

// ---- In words ----------------------------------------------------------------------------------

void addPart(const char* label, std::string_view text, std::size_t width,
             std::vector<std::string>& lines) {
  constexpr std::size_t kLabel = 12;
  if (text.empty()) return;
  std::string begin = std::string("  ") + label;
  begin.resize(kLabel, ' ');
  for (const std::string& line : wrapped(text, width - kLabel)) {
    lines.push_back(begin + line);
    begin.assign(kLabel, ' ');
  }
}

}  // namespace

LogMatch matchLogLine(std::string_view line) {
  LogMatch best;
  std::size_t bestSize = 0;
  line = trimmedLine(line);
  for (const Code* const code : allCodes()) {
    if (*code->logLine == '\0') continue;
    const LogFormat format(code->logLine);
    const auto match = format.find(line);
    if (!match || format.literalSize() <= bestSize) continue;
    best = {code, match->values};
    bestSize = format.literalSize();
  }
  return best;
}

std::vector<const Code*> findMeant(const std::string& text) {
  if (const Code* const code = findCode(writtenCode(text))) return {code};
  if (auto numbered = findNumber(text); !numbered.empty()) return numbered;
  if (const LogMatch match = matchLogLine(text); match.code != nullptr) {
    std::vector<const Code*> found{match.code};
    addNumbered(match, found);
    return found;
  }
  return findWords(wordsOf(lower(text)));
}

std::string suggestedText(const std::string& text) {
  if (const std::string code = writtenCode(text); !code.empty()) {
    std::vector<std::string> ids;
    for (const Code* const one : allCodes()) ids.emplace_back(one->id);
    return nearest(code, ids);
  }
  std::vector<std::string> words = wordsOf(lower(text));
  const auto isUnknown = [](const std::string& word) { return findWords({word}).empty(); };
  std::vector<std::string> rightOnes;
  std::ranges::remove_copy_if(words, std::back_inserter(rightOnes), isUnknown);
  const std::vector<std::string> known = vocabulary(rightOnes);
  std::string suggested;
  for (std::string& word : words) {
    if (isUnknown(word)) word = nearest(word, known);
    if (word.empty()) return {};
    suggested += (suggested.empty() ? "" : " ") + word;
  }
  return findWords(words).empty() ? std::string() : suggested;
}

std::vector<const Code*> codesBehind(const Code& code) {
  std::vector<const Code*> found;
  for (const Code* const other : allCodes()) {
    if (std::string_view(other->behind) == code.id) found.push_back(other);
  }
  return found;
}

std::vector<std::string> explanation(const Code& code, std::size_t width) {
  std::vector<std::string> lines;
  lines.push_back(std::string(code.id) + " " + severityText(code.severity) + ": " + code.title);
  std::string_view logLine = code.logLine;
  if (logLine.ends_with('\n')) logLine.remove_suffix(1);
  addPart("Log", logLine, width, lines);
  if (*code.behind != '\0') {
    addPart("Log", std::string("says only what ") + code.behind + " has", width, lines);
  }
  if (code.layer != Layer::kNone) addPart("Number", std::to_string(code.number), width, lines);
  addPart("Rule", code.rule, width, lines);
  addPart("Causes", code.causes, width, lines);
  for (const Code* const cause : codesBehind(code)) {
    addPart("", std::string(cause->id) + " " + cause->title, width, lines);
  }
  addPart("Repair", code.repair, width, lines);
  addPart("Command", code.command, width, lines);
  return lines;
}

std::vector<std::string> wrapped(std::string_view text, std::size_t width) {
  std::vector<std::string> lines;
  while (text.size() > width) {
    std::size_t end = text.rfind(' ', width);
    if (end == std::string_view::npos || end == 0) end = text.find(' ');
    if (end == std::string_view::npos) break;
    lines.emplace_back(text.substr(0, end));
    text.remove_prefix(end + 1);
  }
  lines.emplace_back(text);
  return lines;
}

std::string lowerFirst(std::string_view title) {
  std::string text(title);
  const bool isWord = text.size() > 1 && std::isupper(static_cast<unsigned char>(text[1])) == 0;
  if (isWord) text[0] = static_cast<char>(std::tolower(static_cast<unsigned char>(text[0])));
  return text;
}

}  // namespace wz
