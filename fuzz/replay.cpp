// Gives the inputs in a directory to a fuzz target, without a fuzzer.
#include "support/files.h"

extern "C" int LLVMFuzzerTestOneInput(const unsigned char *data, std::size_t size);

int main(int, char **argv) {
  for (const auto &file : std::filesystem::directory_iterator(argv[1])) {
    const std::string input = readFile(file);
    LLVMFuzzerTestOneInput(reinterpret_cast<const unsigned char *>(input.data()), input.size());
  }
}
