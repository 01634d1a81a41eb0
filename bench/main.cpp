// kova_bench: the time and memory that the library takes, beside plain calls that do the same.
#include <curl/curl.h>

#include <cstdio>
#include <exception>
#include <fstream>
#include <stdexcept>
#include <string>
#include <string_view>

#include "bench/measures.h"

namespace bench {
namespace {

std::string firstLine(const char *path) {
  std::string line;
  require(static_cast<bool>(std::getline(std::ifstream(path), line)), path);
  return line;
}

void run(const Setting &setting) {
  Table table;
  measureToken(setting, table);
  measureParameters(setting, table);
  measureSession(setting, table);
  measureAccountFile(setting, table);
  measurePurchases(setting, table);
  table.print();
}

}  // namespace

void require(bool works, const char *what) {
  if (!works) throw std::runtime_error(std::string(what) + " does not work");
}

}  // namespace bench

int main(int argc, char **argv) try {
  bench::Setting setting;
  setting.quick = argc > 1 && std::string_view(argv[1]) == "--quick";
  argv += setting.quick ? 2 : 1;
  if (argc - (setting.quick ? 2 : 1) != 3) {
    std::fputs("usage: kova_bench [--quick] EMAIL PASSWORD-FILE DIRECTORY-ON-DISK\n", stderr);
    return 2;
  }
  setting.email = argv[0];
  setting.password = bench::firstLine(argv[1]);
  setting.disk = argv[2];
  curl_global_init(CURL_GLOBAL_DEFAULT);
  bench::run(setting);
  return 0;
} catch (const std::exception &error) {
  std::fprintf(stderr, "kova_bench: %s\n", error.what());
  return 1;
}
