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
  std::size_t least = 0;  // the columns that a narrow terminal leaves it; 0: it is never cut
  bool right = false;     // aligned to the right
};

class Table {
 public:
  explicit Table(std::vector<Column> columns) : columns_(std::move(columns)) {}

  // One cell for each column, made printable here.
  void add(const std::vector<std::string> &cells);

  // The same for a last row, which sums the others up.
  void addTotal(const std::vector<std::string> &cells);

  // The lines, no wider than `width`, if any: cells are cut first; where that is not enough every row becomes a list of
  // its cells.
  std::string text(std::optional<std::size_t> width) const;

 private:
  using Row = std::vector<std::string>;

  std::vector<std::size_t> naturalWidths() const;
  bool squeeze(std::vector<std::size_t> &widths, std::size_t width) const;
  std::string line(const Row &row, const std::vector<std::size_t> &widths) const;
  std::string list(const Row &row, std::size_t width) const;

  std::vector<Column> columns_;
  std::vector<Row> rows_;
  bool hasTotal_ = false;
};

// Lines of a label and a value, the values below each other and cut to fit into `width`, if any, as long as that leaves
// them a few columns. Fields without a value are left out.
std::string fieldList(std::optional<std::size_t> width, const std::vector<std::pair<std::string, std::string>> &fields);

}  // namespace kova::cli
