#include "platform/string_list.h"

#include "platform/last_error.h"

using namespace kova::platform;

TLIBCSzList *TLIBCSzListAlloc(size_t) {
  // Without parentheses: "new TLIBCSzList()" would clear the arena's first block.
  return guarded<TLIBCSzList *>(nullptr, [] { return new TLIBCSzList; });
}

int TLIBCSzListPush(TLIBCSzList *list, const char *text) {
  return guarded(-1, [&] {
    require(list != nullptr && text != nullptr);
    list->push(text);
    return 0;
  });
}

size_t TLIBCSzListCount(const TLIBCSzList *list) {
  return guarded<size_t>(0, [&] {
    require(list != nullptr);
    return list->items().size();
  });
}

const char *TLIBCSzListGet(const TLIBCSzList *list, size_t index) {
  return guarded<const char *>(nullptr, [&] {
    require(list != nullptr && index < list->items().size());
    return list->items()[index].data();
  });
}

void TLIBCSzListFree(TLIBCSzList *list) {
  delete list;
}
