/* A C program on the installed library: expects the serial number that its argument names, keeps an account. */
#include <kova/kova.h>
#include <stdio.h>
#include <string.h>

static AccountInfo written, found;

int main(int argc, char **argv) {
  char serial[64] = "";
  static char root[4096];
  if (TARVKOVAErrGet() != 0 || TARVKOVAGetSerialNumber(serial, sizeof serial) != 0) return 1;
  if (KovaDevicePath("/", root, sizeof root) < 0) return 5;
  if (argc != 2 || strcmp(serial, argv[1]) != 0) return 2;
  strcpy(written.vx_auth_key, "key");
  strcpy(written.kovaIDSerial, "4711");
  if (TARVKOVAAccountSet(&written) != 0 || TARVKOVAAccountGet(&found) != 0) return 3;
  if (memcmp(&written, &found, sizeof found) != 0) return 4;
  puts("kept");
  return 0;
}
