#include "tarvkova/table.h"

#include <algorithm>
#include <numeric>
#include <string_view>

#include "tarvkova/text.h"

namespace kova::cli {
namespace {

constexpr std::size_t kGap = 2;
constexpr std::size_t kMinimumValueWidth = 16;  // in a list of fields

std::string padding(std::size_t width, std::string_view text) {
  return std::string(width - std::min(width, displayWidth(text)), ' ');
}

}  // namespace

void Table::add(const std::vector<std::string> &cells) {
  Row row;
  for (const std::string &cell : cells) row.push_back(printable(withoutTrailingSpace(cell)));
  rows_.push_back(std::move(row));
}

void Table::addTotal(const std::vector<std::string> &cells) {
  add(cells);
  hasTotal_ = true;
}

std::vector<std::size_t> Table::naturalWidths() const {
  std::vector<std::size_t> widths;
  for (std::size_t i = 0; i < columns_.size(); ++i) {
    std::size_t width = displayWidth(columns_[i].title);
    for (const Row &row : rows_) width = std::max(width, displayWidth(row[i]));
    widths.push_back(width);
  }
  return widths;
}

// Takes from the widest columns until all of them fit; false when they cannot.
bool Table::shrinkToFit(std::vector<std::size_t> &widths, std::size_t width) const {
  const std::size_t gaps = kGap * (columns_.size() - 1);
  for (std::size_t all = std::accumulate(widths.begin(), widths.end(), gaps); all > width; --all) {
    std::size_t *widest = nullptr;
    for (std::size_t i = 0; i < columns_.size(); ++i) {
      const std::size_t minimum = columns_[i].minimumWidth;
      if (minimum > 0 && widths[i] > minimum && (widest == nullptr || widths[i] > *widest)) widest = &widths[i];
    }
    if (widest == nullptr) return false;
    --*widest;
  }
  return true;
}

std::string Table::rowLine(const Row &row, const std::vector<std::size_t> &widths) const {
  std::string line;
  for (std::size_t i = 0; i < columns_.size(); ++i) {
    const std::string cell = cutToWidth(row[i], widths[i]);
    const std::string space = padding(widths[i], cell);
    line += columns_[i].isRightAligned ? space + cell : cell + space;
    line.append(kGap, ' ');
  }
  return std::string(withoutTrailingSpace(line)) + '\n';
}

// A row as a list of its cells; the total as one line.
std::string Table::rowList(const Row &row, std::size_t width) const {
  const bool isTotal = hasTotal_ && &row == &rows_.back();
  std::vector<std::pair<std::string, std::string>> fields;
  std::string line;
  for (std::size_t i = 0; i < columns_.size(); ++i) {
    fields.emplace_back(columns_[i].title, row[i]);
    if (!row[i].empty()) line += (line.empty() ? "" : ", ") + row[i];
  }
  return isTotal ? cutToWidth(line, width) + '\n' : fieldList(width, fields);
}

std::string Table::text(std::optional<std::size_t> width) const {
  std::vector<std::size_t> widths = naturalWidths();
  std::string text;
  if (width && !shrinkToFit(widths, *width)) {
    for (const Row &row : rows_) text += (text.empty() ? "" : "\n") + rowList(row, *width);
    return text;
  }
  Row titles;
  for (const Column &column : columns_) titles.push_back(column.title);
  text = rowLine(titles, widths);
  for (const Row &row : rows_) text += rowLine(row, widths);
  return text;
}

std::string fieldList(std::optional<std::size_t> width,
                      const std::vector<std::pair<std::string, std::string>> &fields) {
  std::size_t indent = 0;
  for (const auto &[label, value] : fields) {
    if (!value.empty()) indent = std::max(indent, displayWidth(label) + kGap);
  }
  std::string list;
  for (const auto &[label, value] : fields) {
    if (value.empty()) continue;
    const std::string shown = printable(withoutTrailingSpace(value));
    list += label + ":" + padding(indent - 1, label);
    list += (width ? cutToWidth(shown, std::max(*width, indent + kMinimumValueWidth) - indent) : shown) + '\n';
  }
  return list;
}

}  // namespace kova::cli
