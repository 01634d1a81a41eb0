// A C++ program on the installed library.
#include <json/value.h>
#include <kova/kova.h>

int main() {
  Json::Value reply;
  const int result = TARVKOVAAccountAuthen(nullptr, "", nullptr, reply);
  return result == -1 && TARVKOVAErrGet() == KOVA_ERR_BAD_PARAMETERS ? 0 : 1;
}
