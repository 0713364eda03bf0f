#include "workstation/browser/engine/page/console_table.h"

#include <algorithm>
#include <map>
#include <vector>

#include "workstation/browser/engine/page/remote_value.h"

namespace workstation {
namespace {

constexpr std::size_t kWidestCell = 40;  // characters
constexpr std::size_t kMostColumns = 20;
constexpr std::size_t kMostRows = 200;
constexpr char kIndexColumn[] = "(index)";
constexpr char kValueColumn[] = "Value";

bool isContinuation(char octet) { return (static_cast<unsigned char>(octet) & 0xC0) == 0x80; }

std::size_t characters(const std::string& text) {
  return static_cast<std::size_t>(
      std::count_if(text.begin(), text.end(), [](char c) { return !isContinuation(c); }));
}

// A cell stands on one line.
std::string fitting(std::string text) {
  std::replace(text.begin(), text.end(), '\n', ' ');
  if (characters(text) <= kWidestCell) return text;
  std::size_t end = 0;
  for (std::size_t seen = 0; end < text.size(); ++end) {
    if (!isContinuation(text[end]) && seen++ == kWidestCell - 1) break;
  }
  return text.substr(0, end) + "…";
}

class Table {
 public:
  void addRow(const std::string& index) { rows_.push_back({{kIndexColumn, index}}); }

  void set(const std::string& column, const std::string& value) {
    const bool known = std::find(columns_.begin(), columns_.end(), column) != columns_.end();
    if (!known && columns_.size() >= kMostColumns) return;
    if (!known) columns_.push_back(column);
    rows_.back()[column] = fitting(value);
  }

  // Values of rows that are no objects stand in a column of their own, the last.
  void setValue(const std::string& value) {
    hasValues_ = true;
    rows_.back()[kValueColumn] = fitting(value);
  }

  bool isEmpty() const { return rows_.empty(); }
  std::size_t size() const { return rows_.size(); }

  std::string drawn() {
    std::vector<std::string> columns{kIndexColumn};
    columns.insert(columns.end(), columns_.begin(), columns_.end());
    if (hasValues_) columns.emplace_back(kValueColumn);
    std::vector<std::size_t> widths;
    widths.reserve(columns.size());
    for (const std::string& column : columns) widths.push_back(widthOf(column));

    std::map<std::string, std::string> head;
    for (const std::string& column : columns) head[column] = fitting(column);
    std::string text = border(widths, "┌", "┬", "┐\n") + line(columns, widths, head) + '\n' +
                       border(widths, "├", "┼", "┤\n");
    for (const auto& row : rows_) text += line(columns, widths, row) + '\n';
    return text + border(widths, "└", "┴", "┘");
  }

 private:
  std::size_t widthOf(const std::string& column) const {
    std::size_t width = characters(fitting(column));
    for (const auto& row : rows_) {
      const auto cell = row.find(column);
      if (cell != row.end()) width = std::max(width, characters(cell->second));
    }
    return width;
  }

  static std::string border(const std::vector<std::size_t>& widths, const char* left,
                            const char* between, const char* right) {
    std::string text = left;
    for (std::size_t i = 0; i < widths.size(); ++i) {
      if (i > 0) text += between;
      for (std::size_t n = 0; n < widths[i] + 2; ++n) text += "─";
    }
    return text + right;
  }

  static std::string line(const std::vector<std::string>& columns,
                          const std::vector<std::size_t>& widths,
                          const std::map<std::string, std::string>& row) {
    std::string text = "│";
    for (std::size_t i = 0; i < columns.size(); ++i) {
      const auto found = row.find(columns[i]);
      const std::string cell = found == row.end() ? "" : found->second;
      text += " " + cell + std::string(widths[i] - characters(cell) + 1, ' ') + "│";
    }
    return text;
  }

  std::vector<std::string> columns_;  // in the order in which they first came
  std::vector<std::map<std::string, std::string>> rows_;
  bool hasValues_ = false;
};

void addCells(const JsonValue& row, Table& table) {
  const JsonValue& cells = jsonMember(jsonMember(row, "valuePreview"), "properties");
  if (!cells.IsArray()) return table.setValue(previewValueText(row));
  for (const JsonValue& cell : cells.GetArray())
    table.set(jsonString(cell, "name"), previewValueText(cell));
}

}  // namespace

std::string consoleTable(const JsonValue& preview) {
  Table table;
  const JsonValue& rows = jsonMember(preview, "properties");
  if (!rows.IsArray()) return "";
  for (const JsonValue& row : rows.GetArray()) {
    if (table.size() == kMostRows) break;
    table.addRow(jsonString(row, "name"));
    addCells(row, table);
  }
  if (table.isEmpty()) return "";
  const bool isCut = jsonBool(preview, "overflow") || table.size() < rows.Size();
  return table.drawn() + (isCut ? "\n…" : "");
}

}  // namespace workstation
