/* A C program on the installed library: expects the serial number that its argument names, keeps an account. */
#include <kova/kova.h>
#include <string.h>

static AccountInfo written, found;

int main(int argc, char **argv) {
  char serial[64] = "", root[4096];
  if (argc != 2 || TARVKOVAErrGet() != 0 || KovaDevicePath("/", root, sizeof root) < 0) return 1;
  if (TARVKOVAGetSerialNumber(serial, sizeof serial) != 0 || strcmp(serial, argv[1]) != 0) return 2;
  strcpy(written.vx_auth_key, "key");
  strcpy(written.kovaIDSerial, "4711");
  if (TARVKOVAAccountSet(&written) != 0 || TARVKOVAAccountGet(&found) != 0) return 3;
  return memcmp(&written, &found, sizeof found) == 0 ? KovaErrorTextGet(0)->code : 4;
}
