#include "platform/string_list.h"

#include <cstddef>

#include "platform/last_error.h"

using namespace kova::platform;

TLIBCSzList *TLIBCSzListAlloc(std::size_t) {
  return withLastError<TLIBCSzList *>(nullptr, [] { return new TLIBCSzList; });
}

int TLIBCSzListPush(TLIBCSzList *list, const char *text) {
  return withLastError(-1, [&] {
    require(list != nullptr && text != nullptr);
    list->push(text);
    return 0;
  });
}

std::size_t TLIBCSzListCount(const TLIBCSzList *list) {
  return withLastError<std::size_t>(0, [&] {
    require(list != nullptr);
    return list->items().size();
  });
}

const char *TLIBCSzListGet(const TLIBCSzList *list, std::size_t index) {
  return withLastError<const char *>(nullptr, [&] {
    require(list != nullptr && index < list->items().size());
    return list->items()[index].c_str();
  });
}

void TLIBCSzListFree(TLIBCSzList *list) {
  delete list;
}
