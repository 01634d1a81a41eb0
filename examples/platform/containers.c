/* String lists and hashes. */
#include <limits.h>
#include <stdlib.h>
#include <string.h>

#include "example.h"

struct TLIBCSzList {
  char **items;
  size_t count;
  size_t capacity;
};

/* Makes room for one more pointer in an array of them. */
static int reserve(void *array, size_t item_size, size_t count, size_t *capacity) {
  if (count < *capacity) return 0;
  const size_t larger = *capacity == 0 ? 16 : 2 * *capacity;
  void *old, *grown;
  memcpy(&old, array, sizeof old);
  grown = reallocarray(old, larger, item_size);
  if (grown == NULL) return fail(TLIBC_ERR_OUT_OF_MEMORY);
  memcpy(array, &grown, sizeof grown);
  *capacity = larger;
  return 0;
}

TLIBCSzList *TLIBCSzListAlloc(size_t capacity) {
  (void)capacity;
  TLIBCSzList *list = calloc(1, sizeof *list);
  return list != NULL ? list : failWithNull(TLIBC_ERR_OUT_OF_MEMORY);
}

int TLIBCSzListPush(TLIBCSzList *list, const char *text) {
  if (list == NULL || text == NULL) return fail(TLIBC_ERR_BAD_PARAMETER);
  if (reserve(&list->items, sizeof *list->items, list->count, &list->capacity) != 0) return -1;
  char *copy = strdup(text);
  if (copy == NULL) return fail(TLIBC_ERR_OUT_OF_MEMORY);
  list->items[list->count++] = copy;
  return 0;
}

size_t TLIBCSzListCount(const TLIBCSzList *list) {
  if (list != NULL) return list->count;
  fail(TLIBC_ERR_BAD_PARAMETER);
  return 0;
}

const char *TLIBCSzListGet(const TLIBCSzList *list, size_t index) {
  return list != NULL && index < list->count ? list->items[index] : failWithNull(TLIBC_ERR_BAD_PARAMETER);
}

void TLIBCSzListFree(TLIBCSzList *list) {
  if (list == NULL) return;
  for (size_t i = 0; i < list->count; ++i) wipeText(list->items[i]);
  free(list->items);
  free(list);
}

struct Entry {
  char *key;
  char *value;
  struct Entry *next; /* in its bucket */
};

/* The entries in the order of insertion, and in buckets, of which there are at least as many as entries. */
struct TLIBCSzHash {
  struct Entry **entries;
  size_t count;
  size_t capacity;
  struct Entry **buckets;
  size_t bucket_count; /* a power of two */
};

static struct Entry **bucketOf(const TLIBCSzHash *hash, const char *key) {
  size_t number = 5381;
  for (; *key != '\0'; ++key) number = number * 33 ^ (unsigned char)*key;
  return &hash->buckets[number & (hash->bucket_count - 1)];
}

static struct Entry *findEntry(const TLIBCSzHash *hash, const char *key) {
  struct Entry *entry = hash->count > 0 ? *bucketOf(hash, key) : NULL;
  while (entry != NULL && strcmp(entry->key, key) != 0) entry = entry->next;
  return entry;
}

static void intoBucket(TLIBCSzHash *hash, struct Entry *entry) {
  struct Entry **bucket = bucketOf(hash, entry->key);
  entry->next = *bucket;
  *bucket = entry;
}

static int reserveBuckets(TLIBCSzHash *hash) {
  if (hash->count < hash->bucket_count) return 0;
  const size_t larger = hash->bucket_count == 0 ? 16 : 2 * hash->bucket_count;
  struct Entry **buckets = calloc(larger, sizeof *buckets);
  if (buckets == NULL) return fail(TLIBC_ERR_OUT_OF_MEMORY);
  free(hash->buckets);
  hash->buckets = buckets;
  hash->bucket_count = larger;
  for (size_t i = 0; i < hash->count; ++i) intoBucket(hash, hash->entries[i]);
  return 0;
}

static void freeEntry(struct Entry *entry) {
  if (entry == NULL) return;
  wipeText(entry->key);
  wipeText(entry->value);
  free(entry);
}

static struct Entry *newEntry(const char *key, const char *value) {
  struct Entry *entry = calloc(1, sizeof *entry);
  if (entry == NULL) return failWithNull(TLIBC_ERR_OUT_OF_MEMORY);
  entry->key = strdup(key);
  entry->value = strdup(value);
  if (entry->key != NULL && entry->value != NULL) return entry;
  freeEntry(entry);
  return failWithNull(TLIBC_ERR_OUT_OF_MEMORY);
}

TLIBCSzHash *TLIBCSzHashAlloc(size_t capacity) {
  (void)capacity;
  TLIBCSzHash *hash = calloc(1, sizeof *hash);
  return hash != NULL ? hash : failWithNull(TLIBC_ERR_OUT_OF_MEMORY);
}

const char *TLIBCSzHashGetValue(const TLIBCSzHash *hash, const char *key) {
  if (hash == NULL || key == NULL) return failWithNull(TLIBC_ERR_BAD_PARAMETER);
  const struct Entry *entry = findEntry(hash, key);
  return entry != NULL ? entry->value : failWithNull(TLIBC_ERR_NOT_FOUND);
}

int TLIBCSzHashSetValue(TLIBCSzHash *hash, const char *key, const char *value) {
  if (hash == NULL || key == NULL || value == NULL) return fail(TLIBC_ERR_BAD_PARAMETER);
  struct Entry *entry = findEntry(hash, key);
  if (entry != NULL) {
    char *copy = strdup(value); /* before the old value, of which it may be a part, is released */
    if (copy == NULL) return fail(TLIBC_ERR_OUT_OF_MEMORY);
    wipeText(entry->value);
    entry->value = copy;
    return 0;
  }
  if (reserve(&hash->entries, sizeof *hash->entries, hash->count, &hash->capacity) != 0) return -1;
  if (reserveBuckets(hash) != 0) return -1;
  entry = newEntry(key, value);
  if (entry == NULL) return -1;
  hash->entries[hash->count++] = entry;
  intoBucket(hash, entry);
  return 0;
}

int TLIBCSzHashEnumKey(const TLIBCSzHash *hash, TLIBCSzList *keys) {
  if (hash == NULL || keys == NULL || hash->count > INT_MAX) return fail(TLIBC_ERR_BAD_PARAMETER);
  for (size_t i = 0; i < hash->count; ++i) {
    if (TLIBCSzListPush(keys, hash->entries[i]->key) != 0) return -1;
  }
  return (int)hash->count;
}

void TLIBCSzHashFree(TLIBCSzHash *hash) {
  if (hash == NULL) return;
  for (size_t i = 0; i < hash->count; ++i) freeEntry(hash->entries[i]);
  free(hash->entries);
  free(hash->buckets);
  free(hash);
}
