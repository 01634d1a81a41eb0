// Aligned columns.
#pragma once

#include <cstddef>
#include <functional>
#include <iosfwd>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace kova::cli {

struct Column {
  std::string title;
  std::size_t minimumWidth = 0;  // what a narrow terminal leaves the column; with 0 it is never cut
  bool isRightAligned = false;
};

// The cells of a row, one for each column.
using TableRow = std::vector<std::string>;
using UseRow = std::function<void(const TableRow &row)>;

// A table whose rows are made as they are needed, so that many of them take no memory. The cells are made printable
// here.
class Table {
 public:
  // `forEachRow` calls its argument with each row, in their order. It is called twice for the same rows: to measure
  // them, and to write them.
  Table(std::vector<Column> columns, std::function<void(const UseRow &use)> forEachRow)
      : columns_(std::move(columns)), forEachRow_(std::move(forEachRow)) {}

  // Adds a last row, which sums up the others.
  void setTotal(TableRow total) { total_ = std::move(total); }

  // Writes the lines, no wider than `width`, if any: cells are cut first. Where that is not enough every row becomes a
  // list of its cells.
  void write(std::ostream &out, std::optional<std::size_t> width) const;

 private:
  std::vector<std::size_t> naturalWidths() const;
  bool shrinkToFit(std::vector<std::size_t> &widths, std::size_t width) const;
  void writeLines(std::ostream &out, const std::vector<std::size_t> &widths) const;
  void writeLists(std::ostream &out, std::size_t width) const;

  std::vector<Column> columns_;
  std::function<void(const UseRow &use)> forEachRow_;
  std::optional<TableRow> total_;
};

// Lines of a label and a value, with the values below each other. They are cut to fit into `width`, if any, as long as
// that leaves them a few columns. Fields without a value are left out.
std::string fieldList(std::optional<std::size_t> width, const std::vector<std::pair<std::string, std::string>> &fields);

}  // namespace kova::cli
