#include "wz/matrix/matrix_page.h"

#include <set>
#include <string_view>

#include "wz/matrix/progress.h"
#include "wz/reports/output.h"
#include "wz/words/codes.h"

namespace wz {
namespace {

constexpr std::size_t kMostExamples = 100;  // of a code

constexpr char kStyle[] = R"(
:root { color-scheme: light dark; font: 15px/1.4 system-ui, sans-serif; }
body { margin: 1.5rem; }
h1 { font-size: 1.3rem; }
.frame { overflow: auto; max-height: 80vh; border: 1px solid #8886; }
table { border-collapse: separate; border-spacing: 0; }
th, td { padding: .2rem .6rem; border: 1px solid #8883; text-align: left; white-space: nowrap; }
th { background: Canvas; position: sticky; }
thead th { top: 0; z-index: 1; }
tbody th { left: 0; font-weight: normal; }
thead th:first-child { left: 0; z-index: 2; }
td a { color: inherit; }
.accepted { background: #2a72; }
.downgrades, .removes { background: #db93; }
.refused { background: #d543; }
.died { background: #a4d5; }
dt { font-weight: bold; }
dd { margin: 0 0 .5rem 1rem; }
)";

// Text in HTML.
std::string html(std::string_view text) {
  std::string result;
  for (const char c : escaped(text)) {
    switch (c) {
      case '&':
        result += "&amp;";
        break;
      case '<':
        result += "&lt;";
        break;
      case '>':
        result += "&gt;";
        break;
      case '"':
        result += "&quot;";
        break;
      default:
        result += c;
    }
  }
  return result;
}

std::string item(const char* title, const std::string& text) {
  if (text.empty()) return {};
  return std::string("<dt>") + title + "</dt><dd>" + html(text) + "</dd>\n";
}

}  // namespace

std::size_t MatrixPage::numberOf(const std::string& text) {
  const auto [known, isNew] = numbers_.emplace(text, texts_.size());
  if (isNew) texts_.push_back(text);
  return known->second;
}

void MatrixPage::add(const CellPlace& place, const Verdict& verdict) {
  cells_.push_back({place, verdict.word, numberOf(verdict.code), numberOf(verdict.reason)});
}

// What the row's cells leave out stays empty, as in a share.
std::string MatrixPage::tableText() const {
  const bool areTerminalsRows = head_.isTogether;
  const std::size_t columns = areTerminalsRows ? head_.packages.size() : head_.terminals.size();
  const auto columnName = [&](std::size_t i) {
    return areTerminalsRows ? head_.packages[i] : head_.terminals[i].name;
  };
  std::string text = "<div class=\"frame\" tabindex=\"0\"><table>\n<thead><tr><th></th>";
  for (std::size_t i = 0; i < columns; ++i) {
    text += "<th scope=\"col\">" + html(columnName(i)) + "</th>";
  }
  text += "</tr></thead>\n<tbody>\n";
  for (std::size_t i = 0; i < cells_.size();) {
    const CellPlace first = cells_[i].place;
    const std::size_t row = areTerminalsRows ? first.terminal : first.package;
    text += "<tr><th scope=\"row\">" +
            html(areTerminalsRows ? head_.terminals[row].name : head_.packages[row]) + "</th>";
    std::size_t column = 0;
    for (; i < cells_.size(); ++i, ++column) {
      const Cell& cell = cells_[i];
      if ((areTerminalsRows ? cell.place.terminal : cell.place.package) != row) break;
      const std::size_t own = areTerminalsRows ? cell.place.package : cell.place.terminal;
      for (; column < own; ++column) text += "<td></td>";
      const std::string& code = texts_[cell.code];
      const std::string word = wordText(cell.word);
      text += "<td class=\"" + word + "\"";
      if (!texts_[cell.reason].empty()) text += " title=\"" + html(texts_[cell.reason]) + "\"";
      text += ">" + word;
      if (!code.empty()) {
        text += " <a href=\"#";
        text += code + "\">" + code + "</a>";
      }
      text += "</td>";
    }
    text += "</tr>\n";
  }
  return text + "</tbody></table></div>\n";
}

std::string MatrixPage::codeText(const std::string& id) const {
  const Code* const code = findCode(id);
  if (code == nullptr) return {};
  std::string text = "<section id=\"" + id + "\"><h2>" + id + ": " + html(code->title) +
                     "</h2>\n<dl>\n" + item("Rule", code->rule) + item("Causes", code->causes) +
                     item("Repair", code->repair);
  if (*code->command != '\0') {
    text += "<dt>Command</dt><dd><code>" + html(code->command) + "</code></dd>\n";
  }
  text += "</dl>\n<details><summary>Where</summary><ul>\n";
  std::size_t count = 0;
  for (const Cell& cell : cells_) {
    if (texts_[cell.code] != id || ++count > kMostExamples) continue;
    const std::string& reason = texts_[cell.reason];
    text += "<li>" + html(head_.packages[cell.place.package]) + " on " +
            html(head_.terminals[cell.place.terminal].name) +
            (reason.empty() ? "" : ": " + html(reason)) + "</li>\n";
  }
  if (count > kMostExamples) text += "<li>and " + grouped(count - kMostExamples) + " more</li>\n";
  return text + "</ul></details></section>\n";
}

std::string MatrixPage::text() const {
  std::set<std::string> codes;
  std::size_t counts[kVerdictWordCount] = {};
  for (const Cell& cell : cells_) {
    ++counts[static_cast<std::size_t>(cell.word)];
    if (!texts_[cell.code].empty()) codes.insert(texts_[cell.code]);
  }
  std::string words;
  for (std::size_t i = 0; i < kVerdictWordCount; ++i) {
    if (counts[i] == 0) continue;
    words += (words.empty() ? "" : ", ") + grouped(counts[i]) + " " + kVerdictWords[i];
  }
  std::string page =
      "<!DOCTYPE html>\n<html lang=\"en\"><head><meta charset=\"utf-8\">\n"
      "<meta http-equiv=\"Content-Security-Policy\" content=\"default-src 'none'; "
      "style-src 'unsafe-inline'\">\n<title>Packages on terminals</title>\n<style>" +
      std::string(kStyle) + "</style></head>\n<body><h1>" + grouped(head_.packages.size()) +
      " packages" + (head_.isTogether ? " together" : "") + " on " +
      grouped(head_.terminals.size()) + " terminals: " + words + "</h1>\n" + tableText();
  for (const std::string& code : codes) page += codeText(code);
  return page + "</body></html>\n";
}

}  // namespace wz
