// A C++ program on the installed library.
#include <json/value.h>
#include <kova/kova.h>

int main() {
  Json::Value reply;
  return TARVKOVAAccountAuthen(nullptr, "", nullptr, reply) == -1 && TARVKOVAErrGet() == KOVA_ERR_BAD_PARAMETERS ? 0
                                                                                                                 : 1;
}
