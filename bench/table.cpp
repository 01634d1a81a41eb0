#include "bench/table.h"

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <initializer_list>

namespace bench {
namespace {

struct Unit {
  const char *name;
  double size;
};

// In the largest unit of which there is at least one.
std::string inUnits(double value, std::initializer_list<Unit> units) {
  const Unit *unit = units.begin();
  while (unit + 1 != units.end() && value >= unit[1].size) ++unit;
  char text[32];
  std::snprintf(text, sizeof text, "%.2f %s", value / unit->size, unit->name);
  return text;
}

std::string timeText(double nanoseconds) {
  return inUnits(nanoseconds, {{"ns", 1}, {"us", 1e3}, {"ms", 1e6}, {"s ", 1e9}});
}

std::string sizeText(double bytes) {
  return inUnits(bytes, {{"B  ", 1}, {"KiB", 1024}, {"MiB", 1024 * 1024}});
}

}  // namespace

void Table::addTimes(const std::string &measure, double ours, double reference, double mark) {
  rows_.push_back({measure, timeText(ours), timeText(reference), ours / reference, mark});
}

void Table::addSizes(const std::string &measure, double oursBytes, double referenceBytes, double mark) {
  rows_.push_back({measure, sizeText(oursBytes), sizeText(referenceBytes), oursBytes / referenceBytes, mark});
}

void Table::addLevel(const std::string &measure, const std::vector<double> &timesPerElement, double mark) {
  const auto [least, most] = std::ranges::minmax(timesPerElement);
  addTimes(measure, most, least, mark);
}

void Table::print() const {
  std::size_t width = 0;
  for (const Row &row : rows_) width = std::max(width, row.measure.size());
  const int left = static_cast<int>(width);
  std::printf("%-*s  %11s  %11s  %6s  %5s\n", left, "measure", "ours", "reference", "ratio", "mark");
  for (const Row &row : rows_) {
    std::printf("%-*s  %11s  %11s  %6.3f", left, row.measure.c_str(), row.ours.c_str(), row.reference.c_str(),
                row.ratio);
    if (row.mark > 0) std::printf("  %5.2f  %s", row.mark, row.ratio <= row.mark ? "ok" : "MISSED");
    std::printf("\n");
  }
}

}  // namespace bench
