// The results: what was measured, the library's value, the value it is held against, their ratio and its mark.
#pragma once

#include <string>
#include <vector>

namespace bench {

class Table {
 public:
  // Times in nanoseconds; a mark of 0 is none.
  void addTimes(const std::string &measure, double ours, double reference, double mark);
  void addSizes(const std::string &measure, double oursBytes, double referenceBytes, double mark);
  // For work whose time per element should not depend on the number of elements: the slowest beside the fastest.
  void addLevel(const std::string &measure, const std::vector<double> &timesPerElement, double mark);

  void print() const;

 private:
  struct Row {
    std::string measure;
    std::string ours;
    std::string reference;
    double ratio;
    double mark;
  };

  std::vector<Row> rows_;
};

}  // namespace bench
