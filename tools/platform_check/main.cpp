// kova-platform-check: the contract of <kova/platform.h> as a program.
#include "platform_check/program.h"

int main(int argc, char **argv) {
  return kova::check::Program().run(argc, argv);
}
