// String lists and hashes.
#include <algorithm>
#include <ctime>
#include <limits>

#include "platform_check/rule.h"

namespace kova::check {
namespace {

constexpr int kSeveral = 1000;

std::string numbered(const char *what, int number) {
  return what + std::to_string(number);
}

// Whether setting and getting `count` keys takes the processor less than `limit` seconds. `taken` is what it took.
bool endsWithin(const Check &check, int count, double limit, double &taken) {
  const Hash hash(check);
  const std::clock_t start = std::clock();
  for (int i = 0; i < 2 * count; ++i) {
    const std::string key = numbered("key ", i % count);
    if (i < count) hash.set(key, "value");
    const char *value = check->TLIBCSzHashGetValue(hash.get(), key.c_str());
    check.expect(value != nullptr, "a key that was set is absent");
    taken = static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC;
    if (value == nullptr || taken > limit) return false;
  }
  return true;
}

constexpr Rule kRules[] = {
    {"TLIBCSzListAlloc", "capacity", "the capacity is not a limit",
     [](const Check &check) {
       for (const std::size_t capacity : {0, 1, 100}) {
         const Owned list(check.succeeds("an allocation", [&] { return check->TLIBCSzListAlloc(capacity); }),
                          check->TLIBCSzListFree);
         for (int i = 0; i < kSeveral; ++i) check->TLIBCSzListPush(list.get(), "item");
         check.equal(static_cast<long long>(check->TLIBCSzListCount(list.get())), kSeveral, "items pushed");
       }
     }},
    {"TLIBCSzListPush", "copy", "appends a copy",
     [](const Check &check) {
       const List list(check);
       std::string text = "one";
       check.succeeds("a push", [&] { return check->TLIBCSzListPush(list.get(), text.c_str()); });
       text.replace(0, 3, "two");
       check.succeeds("a push", [&] { return check->TLIBCSzListPush(list.get(), text.c_str()); });
       check.succeeds("the push of an empty text", [&] { return check->TLIBCSzListPush(list.get(), ""); });
       std::string all;
       for (const std::string &item : list.items()) all += item + ";";
       check.equal(all, "one;two;;", "the items");
     }},
    {"TLIBCSzListPush", "null", "null is a failure",
     [](const Check &check) {
       const List list(check);
       check.refusesNull([&] { return check->TLIBCSzListPush(nullptr, "item"); });
       check.refusesNull([&] { return check->TLIBCSzListPush(list.get(), nullptr); });
       check.equal(static_cast<long long>(check->TLIBCSzListCount(list.get())), 0, "items in the list then");
     }},
    {"TLIBCSzListCount", "null", "null is a failure",
     [](const Check &check) { check.refusesNull([&] { return check->TLIBCSzListCount(nullptr) != 0; }); }},
    {"TLIBCSzListGet", "valid", "an item stays valid until the list is freed",
     [](const Check &check) {
       const List list(check);
       std::vector<const char *> items;
       for (int i = 0; i < kSeveral; ++i) {
         check->TLIBCSzListPush(list.get(), numbered("item ", i).c_str());
         items.push_back(check->TLIBCSzListGet(list.get(), items.size()));
       }
       for (int i = 0; i < kSeveral; ++i) {
         const char *item = items[static_cast<std::size_t>(i)];
         if (item == nullptr || numbered("item ", i) != item) {
           return check.equal(item != nullptr ? item : "(null)", numbered("item ", i), "an item after more pushes");
         }
       }
     }},
    {"TLIBCSzListGet", "end", "null past the end, and for null",
     [](const Check &check) {
       const List list(check, {"item"});
       for (const std::size_t index : {std::size_t{1}, std::numeric_limits<std::size_t>::max()}) {
         check.fails("an index past the end", TLIBC_ERR_NONE, [&] { return check->TLIBCSzListGet(list.get(), index); });
       }
       check.refusesNull([&] { return check->TLIBCSzListGet(nullptr, 0); });
     }},
    {"TLIBCSzListFree", "null", "null is allowed", [](const Check &check) { check->TLIBCSzListFree(nullptr); }},
    {"TLIBCSzHashAlloc", "capacity", "the capacity is not a limit",
     [](const Check &check) {
       for (const std::size_t capacity : {0, 1, 100}) {
         const Owned hash(check.succeeds("an allocation", [&] { return check->TLIBCSzHashAlloc(capacity); }),
                          check->TLIBCSzHashFree);
         for (int i = 0; i < kSeveral; ++i) {
           check->TLIBCSzHashSetValue(hash.get(), numbered("key ", i).c_str(), "value");
         }
         const List keys(check);
         check.equal(check->TLIBCSzHashEnumKey(hash.get(), keys.get()), kSeveral, "keys set");
       }
     }},
    {"TLIBCSzHashSetValue", "copy", "sets the key to a copy",
     [](const Check &check) {
       const Hash hash(check);
       std::string key = "key", value = "one";
       check.succeeds("a value", [&] { return hash.set(key, value); });
       check.succeeds("an empty value", [&] { return hash.set("empty", ""); });
       check.succeeds("a longer value", [&] { return hash.set("long", std::string(5000, 'x')); });
       check->TLIBCSzHashSetValue(hash.get(), key.c_str(), value.c_str());
       key[0] = value[0] = '#';
       check.equal(hash.text(), "key=one;empty=;long=" + std::string(5000, 'x') + ";", "the hash");
     }},
    {"TLIBCSzHashSetValue", "own-value", "a key's own value can be set again",
     [](const Check &check) {
       const Hash hash(check, {{"key", "  a value that is longer than a pointer"}});
       const char *value = check->TLIBCSzHashGetValue(hash.get(), "key");
       check->TLIBCSzHashSetValue(hash.get(), "key", value + 2);
       check.equal(hash.text(), "key=a value that is longer than a pointer;", "the hash");
     }},
    {"TLIBCSzHashSetValue", "null", "null is a failure that leaves the hash as it was",
     [](const Check &check) {
       const Hash hash(check, {{"key", "value"}});
       check.refusesNull([&] { return check->TLIBCSzHashSetValue(nullptr, "key", "value"); });
       check.refusesNull([&] { return check->TLIBCSzHashSetValue(hash.get(), nullptr, "value"); });
       check.refusesNull([&] { return check->TLIBCSzHashSetValue(hash.get(), "key", nullptr); });
       check.equal(hash.text(), "key=value;", "the hash");
     }},
    {"TLIBCSzHashSetValue", "cost", "the cost of a key does not grow with the number of keys",
     [](const Check &check) {
       // 64 times the keys take 4096 times as long where each key is searched one after the other, and about 64 times
       // where not: it is the processor's time, and what it is compared with is the best of several runs.
       constexpr int kKeys = 100000, kFactor = 64, kTooMuch = 4 * kFactor;
       constexpr double kAlwaysEnough = 0.3;
       double least = std::numeric_limits<double>::max(), taken = 0;
       for (int run = 0; run < 5; ++run) {
         endsWithin(check, kKeys / kFactor, std::numeric_limits<double>::max(), taken);
         least = std::min(least, taken);
       }
       if (endsWithin(check, kKeys, std::max(kAlwaysEnough, least * kTooMuch), taken)) return;
       check.finding(std::to_string(kKeys / kFactor) + " keys take " + std::to_string(least) + " s, " +
                     std::to_string(kKeys) + " keys more than " + std::to_string(taken) + " s");
     }},
    {"TLIBCSzHashGetValue", "valid", "a value stays valid until its key is set again",
     [](const Check &check) {
       const Hash hash(check);
       std::vector<const char *> values;
       for (int i = 0; i < kSeveral; ++i) {
         hash.set(numbered("key ", i), numbered("value ", i));
         values.push_back(check->TLIBCSzHashGetValue(hash.get(), numbered("key ", i).c_str()));
         hash.set("another key", numbered("another value ", i));
       }
       for (int i = 0; i < kSeveral; ++i) {
         const char *value = values[static_cast<std::size_t>(i)];
         if (value == nullptr || numbered("value ", i) != value) {
           return check.equal(value != nullptr ? value : "(null)", numbered("value ", i), "after other keys were set");
         }
       }
     }},
    {"TLIBCSzHashGetValue", "absent", "null for a key that is absent, and for null",
     [](const Check &check) {
       const Hash hash(check, {{"key", "value"}, {"empty", ""}});
       for (const char *key : {"absent", "ke", "KEY", ""}) {
         check.fails("an absent key", TLIBC_ERR_NOT_FOUND, [&] { return check->TLIBCSzHashGetValue(hash.get(), key); });
       }
       check.succeeds("a key with an empty value", [&] { return check->TLIBCSzHashGetValue(hash.get(), "empty"); });
       check.refusesNull([&] { return check->TLIBCSzHashGetValue(nullptr, "key"); });
       check.refusesNull([&] { return check->TLIBCSzHashGetValue(hash.get(), nullptr); });
     }},
    {"TLIBCSzHashEnumKey", "insertion-order", "keys come in the order in which they were first set",
     [](const Check &check) {
       const Hash hash(check);
       std::string expected;
       for (int i = 0; i < kSeveral; ++i) {
         const std::string key = numbered("", i * 7919 % 10007);
         hash.set(key, "");
         expected += key + "=;";
       }
       check.equal(hash.text(), expected, "the order");
     }},
    {"TLIBCSzHashEnumKey", "same-place", "a key that is set again keeps its place",
     [](const Check &check) {
       const Hash hash(check, {{"c", "1"}, {"a", "2"}, {"b", "3"}, {"c", "4"}, {"a", "5"}});
       check.equal(hash.text(), "c=4;a=5;b=3;", "the hash");
     }},
    {"TLIBCSzHashEnumKey", "appends", "appends the keys and returns their number",
     [](const Check &check) {
       const Hash empty(check), hash(check, {{"b", "1"}, {"a", "2"}});
       const List keys(check, {"first"});
       const auto enumerate = [&](const Hash &each) {
         return check.succeeds("a call", [&] { return check->TLIBCSzHashEnumKey(each.get(), keys.get()); });
       };
       check.equal(enumerate(empty), 0, "keys of an empty hash");
       check.equal(enumerate(hash), 2, "keys of a hash of two");
       std::string all;
       for (const std::string &key : keys.items()) all += key + ";";
       check.equal(all, "first;b;a;", "the list");
     }},
    {"TLIBCSzHashEnumKey", "null", "null is a failure",
     [](const Check &check) {
       const Hash hash(check);
       const List list(check);
       check.refusesNull([&] { return check->TLIBCSzHashEnumKey(nullptr, list.get()); });
       check.refusesNull([&] { return check->TLIBCSzHashEnumKey(hash.get(), nullptr); });
     }},
    {"TLIBCSzHashFree", "null", "null is allowed", [](const Check &check) { check->TLIBCSzHashFree(nullptr); }},
};

}  // namespace

std::span<const Rule> containerRules() {
  return kRules;
}

}  // namespace kova::check
