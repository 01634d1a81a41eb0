// The measures, one group a file. Each adds its rows to the table.
#pragma once

#include <filesystem>
#include <string>

#include "bench/table.h"

namespace bench {

struct Setting {
  std::string email;
  std::string password;
  std::filesystem::path disk;  // an empty directory on a disk; the device itself may lie in memory
  bool quick = false;

  // How many samples the medians are taken of.
  unsigned samples(unsigned wanted) const { return quick ? 3 : wanted; }
};

void measureToken(const Setting &setting, Table &table);
void measureParameters(const Setting &setting, Table &table);

// Signs in; the device has its account file from then on.
void measureSession(const Setting &setting, Table &table);
// These need that account file.
void measureAccountFile(const Setting &setting, Table &table);
void measurePurchases(const Setting &setting, Table &table);

// Throws, naming `what`, when the condition does not hold.
void require(bool works, const char *what);

}  // namespace bench
