#include "wz/matrix/matrix_table.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <utility>

#include "wz/matrix/progress.h"
#include "wz/reports/json_document_line.h"
#include "wz/reports/output.h"
#include "wz/words/codes.h"
#include "wz/words/explain.h"

namespace wz {
namespace {

constexpr std::size_t kWidthOfFiles = 100;
constexpr std::size_t kGap = 2;
constexpr std::size_t kMostNames = 60;  // of a list in words

std::string cellText(const Verdict& verdict) {
  const std::string word = wordText(verdict.word);
  return verdict.code.empty() ? word : word + " " + verdict.code;
}

std::string padded(std::string text, std::size_t width) {
  text.resize(std::max(width, text.size()), ' ');
  return text;
}

std::string withoutEnd(std::string line) {
  line.erase(line.find_last_not_of(' ') + 1);
  return line;
}

constexpr std::size_t kCellWidth = 18;  // "downgrades WZ-0522"

}  // namespace

std::size_t outputWidth() {
  winsize size{};
  const bool isKnown = ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0;
  return isKnown ? size.ws_col : kWidthOfFiles;
}

MatrixTable::MatrixTable(const MatrixHead& head, std::size_t width) : head_(head), width_(width) {
  const std::size_t rows = head.isTogether ? head.terminals.size() : head.packages.size();
  const std::size_t columns = head.isTogether ? head.packages.size() : head.terminals.size();
  for (std::size_t i = 0; i < rows; ++i) {
    const std::string& name = head.isTogether ? head.terminals[i].name : head.packages[i];
    nameWidth_ = std::max(nameWidth_, name.size());
  }
  std::size_t all = nameWidth_;
  for (std::size_t i = 0; i < columns; ++i) {
    columnWidths_.push_back(std::max(columnName(i).size(), kCellWidth));
    all += kGap + columnWidths_.back();
  }
  fits_ = all <= width;
}

const std::string& MatrixTable::columnName(std::size_t column) const {
  return head_.isTogether ? head_.packages[column] : head_.terminals[column].name;
}

void MatrixTable::add(const CellPlace& place, const Verdict& verdict) {
  const std::string& row =
      head_.isTogether ? head_.terminals[place.terminal].name : head_.packages[place.package];
  if (row != row_) printRow();
  row_ = row;
  const std::size_t column = head_.isTogether ? place.package : place.terminal;
  cells_.push_back({column, cellText(verdict)});
  if (column + 1 == columnWidths_.size()) printRow();
}

void MatrixTable::end() { printRow(); }

void MatrixTable::printRow() {
  if (cells_.empty()) return;
  if (fits_ && !std::exchange(isBegun_, true)) printColumns();
  fits_ ? printLine() : printParagraph();
  cells_.clear();
}

void MatrixTable::printColumns() const {
  std::string line(nameWidth_, ' ');
  for (std::size_t i = 0; i < columnWidths_.size(); ++i) {
    line += std::string(kGap, ' ') + padded(columnName(i), columnWidths_[i]);
  }
  wz::printLine(withoutEnd(line));
}

void MatrixTable::printLine() const {
  std::string line = padded(row_, nameWidth_);
  std::size_t column = 0;
  for (const Cell& cell : cells_) {
    for (; column <= cell.column; ++column) {
      line.append(kGap, ' ');
      line += padded(column == cell.column ? cell.text : "", columnWidths_[column]);
    }
  }
  wz::printLine(withoutEnd(line));
}

// Those of most columns first.
void MatrixTable::printParagraph() const {
  std::vector<std::pair<std::string, std::vector<std::size_t>>> said;
  for (const Cell& cell : cells_) {
    const auto same = std::find_if(said.begin(), said.end(),
                                   [&](const auto& one) { return one.first == cell.text; });
    if (same == said.end()) {
      said.push_back({cell.text, {cell.column}});
    } else {
      same->second.push_back(cell.column);
    }
  }
  std::stable_sort(said.begin(), said.end(), [](const auto& one, const auto& other) {
    return one.second.size() > other.second.size();
  });
  std::string block = row_;
  for (const auto& [text, columns] : said) {
    std::string names;
    for (std::size_t i = 0; i < std::min(columns.size(), kMostNames); ++i) {
      names += (i == 0 ? "" : " ") + columnName(columns[i]);
    }
    if (columns.size() > kMostNames) {
      names += " and " + grouped(columns.size() - kMostNames) + " more";
    }
    std::string begin = "  " + padded(text, kCellWidth) + "  " + grouped(columns.size()) + ": ";
    const std::size_t room = width_ > begin.size() + 20 ? width_ - begin.size() : 20;
    for (const std::string& line : wrapped(names, room)) {
      block += "\n" + begin + line;
      begin.assign(begin.size(), ' ');
    }
  }
  printBlock(block);
}

// ---- The summary -------------------------------------------------------------------------------

void MatrixSummary::add(const MatrixHead& head, const CellPlace& place, const Verdict& verdict) {
  const auto word = static_cast<std::size_t>(verdict.word);
  ++cells_;
  ++counts_[word];
  terminals_[word] += head.terminals[place.terminal].count;
  if (verdict.code.empty()) return;
  Finding& finding = findings_[verdict.code];
  if (finding.cells++ > 0) return;
  finding.package = head.packages[place.package];
  finding.terminal = head.terminals[place.terminal].name;
  finding.reason = verdict.reason;
}

bool MatrixSummary::areAllTaken() const {
  return counts_[static_cast<std::size_t>(Verdict::Word::kRefused)] == 0 &&
         counts_[static_cast<std::size_t>(Verdict::Word::kDied)] == 0;
}

std::vector<std::string> MatrixSummary::codesByCount() const {
  std::vector<std::string> codes;
  for (const auto& [code, finding] : findings_) codes.push_back(code);
  std::stable_sort(codes.begin(), codes.end(), [this](const auto& one, const auto& other) {
    return findings_.at(one).cells > findings_.at(other).cells;
  });
  return codes;
}

void MatrixSummary::print() const {
  for (const std::string& id : codesByCount()) {
    const Finding& finding = findings_.at(id);
    const Code* const code = findCode(id);
    if (code == nullptr) continue;
    printLine("");
    printLine(id + ", " + grouped(finding.cells) + (finding.cells == 1 ? " cell: " : " cells: ") +
              lowerFirst(code->title));
    printLine("  such as " + finding.package + " on " + finding.terminal +
              (finding.reason.empty() ? "" : ": " + finding.reason));
    printLine("  repair: " + repairOf({id, "", "", "", 0, 0, ""}));
  }
  std::string counts;
  for (std::size_t i = 0; i < kVerdictWordCount; ++i) {
    if (counts_[i] == 0) continue;
    counts += (counts.empty() ? "" : ", ") + grouped(counts_[i]) + " " + kVerdictWords[i];
  }
  printLine("");
  printLine(grouped(cells_) + (cells_ == 1 ? " cell: " : " cells: ") + counts);
}

std::string MatrixSummary::documentLine(const MatrixHead& head) const {
  Diagnostics diagnostics;
  for (const std::string& id : codesByCount()) {
    const Finding& finding = findings_.at(id);
    const Code* const code = findCode(id);
    if (code == nullptr) continue;
    diagnostics.push_back({id, lowerFirst(code->title), finding.package, "", 0, 0,
                           std::to_string(finding.cells) + " cells, such as on " +
                               finding.terminal + ": " + finding.reason});
  }
  return jsonDocumentLine("matrix", areAllTaken(), diagnostics, [&](JsonWriter& writer) {
    putFlag(writer, "together", head.isTogether);
    putNumber(writer, "packages", head.packages.size());
    putNumber(writer, "terminals", head.terminals.size());
    putNumber(writer, "cells", cells_);
    writer.Key("words");
    writer.StartObject();
    for (std::size_t i = 0; i < kVerdictWordCount; ++i) {
      putNumber(writer, kVerdictWords[i], counts_[i]);
    }
    writer.EndObject();
    writer.Key("standFor");
    writer.StartObject();
    for (std::size_t i = 0; i < kVerdictWordCount; ++i) {
      putNumber(writer, kVerdictWords[i], terminals_[i]);
    }
    writer.EndObject();
    writer.Key("codes");
    writer.StartObject();
    for (const auto& [id, finding] : findings_) putNumber(writer, id.c_str(), finding.cells);
    writer.EndObject();
  });
}

}  // namespace wz
