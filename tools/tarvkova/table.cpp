#include "tarvkova/table.h"

#include <algorithm>
#include <numeric>
#include <ostream>
#include <string_view>

#include "common/terminal_text.h"

namespace kova::cli {
namespace {

constexpr std::size_t kGap = 2;
constexpr std::size_t kMinimumValueWidth = 16;  // in a list of fields

// A cell as it is shown, but for its width.
std::string shownCell(std::string_view cell) {
  return printable(withoutTrailingSpace(cell));
}

std::string padding(std::size_t width, std::string_view text) {
  return std::string(width - std::min(width, displayWidth(text)), ' ');
}

}  // namespace

std::vector<std::size_t> Table::naturalWidths() const {
  std::vector<std::size_t> widths;
  widths.reserve(columns_.size());
  for (const Column &column : columns_) widths.push_back(displayWidth(column.title));
  const auto measure = [&](const TableRow &row) {
    for (std::size_t i = 0; i < widths.size(); ++i) widths[i] = std::max(widths[i], displayWidth(shownCell(row[i])));
  };
  forEachRow_(measure);
  if (total_) measure(*total_);
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

void Table::writeLines(std::ostream &out, const std::vector<std::size_t> &widths) const {
  const auto writeRow = [&](const TableRow &row) {
    std::string line;
    for (std::size_t i = 0; i < columns_.size(); ++i) {
      const std::string cell = cutToWidth(shownCell(row[i]), widths[i]);
      const std::string space = padding(widths[i], cell);
      line += columns_[i].isRightAligned ? space + cell : cell + space;
      line.append(kGap, ' ');
    }
    out << withoutTrailingSpace(line) << '\n';
  };
  TableRow titles;
  for (const Column &column : columns_) titles.push_back(column.title);
  writeRow(titles);
  forEachRow_(writeRow);
  if (total_) writeRow(*total_);
}

// Writes each row as a list of its cells, and the total as one line.
void Table::writeLists(std::ostream &out, std::size_t width) const {
  const char *separator = "";
  forEachRow_([&](const TableRow &row) {
    std::vector<std::pair<std::string, std::string>> fields;
    fields.reserve(columns_.size());
    for (std::size_t i = 0; i < columns_.size(); ++i) fields.emplace_back(columns_[i].title, row[i]);
    out << separator << fieldList(width, fields);
    separator = "\n";
  });
  if (!total_) return;
  std::string line;
  for (const std::string &cell : *total_) {
    if (!cell.empty()) line += (line.empty() ? "" : ", ") + shownCell(cell);
  }
  out << separator << cutToWidth(line, width) << '\n';
}

void Table::write(std::ostream &out, std::optional<std::size_t> width) const {
  std::vector<std::size_t> widths = naturalWidths();
  if (width && !shrinkToFit(widths, *width)) {
    writeLists(out, *width);
  } else {
    writeLines(out, widths);
  }
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
    const std::string shown = shownCell(value);
    list += label + ":" + padding(indent - 1, label);
    list += (width ? cutToWidth(shown, std::max(*width, indent + kMinimumValueWidth) - indent) : shown) + '\n';
  }
  return list;
}

}  // namespace kova::cli
