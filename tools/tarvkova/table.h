// Aligned columns.
#pragma once

#include <cstddef>
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

class Table {
 public:
  explicit Table(std::vector<Column> columns) : columns_(std::move(columns)) {}

  // Adds a row with one cell for each column. The cells are made printable here.
  void add(const std::vector<std::string> &cells);

  // The same for the last row, which sums up the others.
  void addTotal(const std::vector<std::string> &cells);

  // The lines, no wider than `width`, if any: cells are cut first. Where that is not enough every row becomes a list of
  // its cells.
  std::string text(std::optional<std::size_t> width) const;

 private:
  using Row = std::vector<std::string>;

  std::vector<std::size_t> naturalWidths() const;
  bool shrinkToFit(std::vector<std::size_t> &widths, std::size_t width) const;
  std::string rowLine(const Row &row, const std::vector<std::size_t> &widths) const;
  std::string rowList(const Row &row, std::size_t width) const;

  std::vector<Column> columns_;
  std::vector<Row> rows_;
  bool hasTotal_ = false;
};

// Lines of a label and a value, with the values below each other. They are cut to fit into `width`, if any, as long as
// that leaves them a few columns. Fields without a value are left out.
std::string fieldList(std::optional<std::size_t> width, const std::vector<std::pair<std::string, std::string>> &fields);

}  // namespace kova::cli
