// SPDX-License-Identifier: Apache-2.0
#include "utils/hash.h"

#include <algorithm>
#include <climits>
#include <cstdio>
#include <cstring>
#include <new>

#include "utils/utils.h"

namespace {

constexpr int SMALLEST_TABLE = 257;

// A large table does not fit in the processor's caches. Work on many keys fetches what it will read some keys
// ahead, in steps of this many.
constexpr int FETCH_STEP = 16;

// The differences between the three kinds of key: the bucket of a key, the node that holds it, and how a new
// node stores it.
struct Word_Key {
    uint32_t key;

    uint32_t sum() const { return key; }
    bool in(const Hobj &node) const { return node.ku.k1k2.key == key; }
    void put(Hobj &node) const {
        node.ku.k1k2.key = key;
        node.keyType = H_KT_LONG;
    }
};

struct Pair_Key {
    uint32_t key;
    uint32_t key2;

    uint32_t sum() const { return key; }
    bool in(const Hobj &node) const { return node.ku.k1k2.key == key && node.ku.k1k2.key2 == key2; }
    void put(Hobj &node) const {
        node.ku.k1k2.key = key;
        node.ku.k1k2.key2 = key2;
        node.keyType = H_KT_LONG2;
    }
};

struct Address_Key {
    H_IPv6_key_t key;

    uint32_t sum() const { return key.uint_elem[0] + key.uint_elem[1] + key.uint_elem[2] + key.uint_elem[3]; }
    bool in(const Hobj &node) const { return std::memcmp(&node.ku.key_IPv6, &key, sizeof key) == 0; }
    void put(Hobj &node) const {
        node.ku.key_IPv6 = key;
        node.keyType = H_KT_IPv6;
    }
};

Word_Key word_key(unsigned long key) {
    return {static_cast<uint32_t>(key & 0xFFFFFFFFUL)};
}

Pair_Key pair_key(unsigned long key, unsigned long key2) {
    return {static_cast<uint32_t>(key & 0xFFFFFFFFUL), static_cast<uint32_t>(key2 & 0xFFFFFFFFUL)};
}

template <typename Key> int bucket_of(const Key &key, const H_table_str &t) {
    return static_cast<int>(key.sum() % static_cast<uint32_t>(t.size));
}

struct Location {
    int bucket;
    Hobj *found; // null: no such key
    Hobj *last;  // the previous node, or the chain's last node if the key was not found
};

template <typename Key> inline Location locate(const Key &key, const H_table_str &t, int bucket) {
    Location at{bucket, nullptr, nullptr};
    for (Hobj *node = t.table[at.bucket]; node != nullptr; node = node->next) {
        if (key.in(*node)) {
            at.found = node;
            return at;
        }
        at.last = node;
    }
    return at;
}

template <typename Key> inline Location locate(const Key &key, const H_table_str &t) {
    return locate(key, t, bucket_of(key, t));
}

// Stores a new key where a search has ended. Returns false when memory is short.
template <typename Key>
inline bool append(const Key &key, H_table_str &t, const Location &at, void *object, const char *caller) {
    void *block = nullptr;
    cpp_malloc(&block, static_cast<int>(sizeof(Hobj)), caller);
    if (block == nullptr) {
        return false;
    }
    Hobj *node = new (block) Hobj;
    key.put(*node);
    node->pointer = object;
    node->next = nullptr;
    node->prev = at.last;
    (at.last != nullptr ? at.last->next : t.table[at.bucket]) = node;
    ++t.entries;
    return true;
}

template <typename Key>
inline void *insert(const Key &key, H_table_str *table, void *object, const char *caller) {
    if (table == nullptr) {
        return nullptr;
    }
    H_table_str &t = *table;
    const Location at = locate(key, t);
    if (at.found != nullptr) {
        void *previous = at.found->pointer;
        at.found->pointer = object;
        return previous;
    }
    append(key, t, at, object, caller);
    return nullptr;
}

template <typename Key> inline void *search(const Key &key, const H_table_str *t) {
    if (t == nullptr) {
        return nullptr;
    }
    const Location at = locate(key, *t);
    return at.found != nullptr ? at.found->pointer : nullptr;
}

template <typename Key> void *remove(const Key &key, H_table_str &t, int bucket) {
    const Location at = locate(key, t, bucket);
    Hobj *node = at.found;
    if (node == nullptr) {
        return nullptr;
    }
    (at.last != nullptr ? at.last->next : t.table[at.bucket]) = node->next;
    if (node->next != nullptr) {
        node->next->prev = at.last;
    }
    void *object = node->pointer;
    ccst_free(node);
    --t.entries;
    return object;
}

template <typename Key> void *remove(const Key &key, H_table_str *t) {
    return t != nullptr ? remove(key, *t, bucket_of(key, *t)) : nullptr;
}

template <typename Key> int find(const Key &key, const H_table_str *t, Hobj **where) {
    if (t == nullptr) {
        *where = nullptr;
        return 0;
    }
    const Location at = locate(key, *t);
    *where = at.found != nullptr ? at.found : at.last;
    return at.found != nullptr ? at.bucket + 1 : ~at.bucket;
}

template <typename Visit> void for_each_node(const H_table_str *t, Visit visit) {
    for (int bucket = 0; t != nullptr && bucket < t->size; ++bucket) {
        for (const Hobj *node = t->table[bucket]; node != nullptr; node = node->next) {
            visit(bucket, *node);
        }
    }
}

inline void fetch(const void *address) {
    __builtin_prefetch(address, 1);
}

// A node may lie in two cache lines: its key in the one, its links in the other.
inline void fetch_node(const Hobj *node) {
    fetch(node);
    fetch(&node->next);
}

// Fetches the first node of a bucket's chain.
inline void fetch_first(const H_table_str &t, int bucket) {
    if (t.table[bucket] != nullptr) {
        fetch_node(t.table[bucket]);
    }
}

inline void fetch_second(const H_table_str &t, int bucket) {
    const Hobj *first = t.table[bucket];
    if (first != nullptr && first->next != nullptr) {
        fetch_node(first->next);
    }
}

// Calls visit(key, bucket) for each address in an array of objects. Each address's bucket is fetched ahead, some
// addresses later the chain's first node, then the second. Stops when a visit returns false, and returns false then.
template <typename Visit>
bool for_each_address(const H_table_str &t, const void *objects, int count, unsigned object_size,
                      unsigned key_offset, Visit visit) {
    const auto key_at = [=](int i) {
        const std::size_t at = std::size_t{object_size} * static_cast<unsigned>(i) + key_offset;
        Address_Key key;
        std::memcpy(&key.key, static_cast<const char *>(objects) + at, sizeof key.key);
        return key;
    };
    int buckets[4 * FETCH_STEP] = {};
    const auto bucket_at = [&](int i) -> int & { return buckets[static_cast<unsigned>(i) % (4 * FETCH_STEP)]; };
    for (int i = -3 * FETCH_STEP; i < count; ++i) {
        if (i + 3 * FETCH_STEP < count) {
            const int bucket = bucket_of(key_at(i + 3 * FETCH_STEP), t);
            bucket_at(i + 3 * FETCH_STEP) = bucket;
            fetch(&t.table[bucket]);
        }
        if (i + 2 * FETCH_STEP >= 0 && i + 2 * FETCH_STEP < count) {
            fetch_first(t, bucket_at(i + 2 * FETCH_STEP));
        }
        if (i + FETCH_STEP >= 0 && i + FETCH_STEP < count) {
            fetch_second(t, bucket_at(i + FETCH_STEP));
        }
        if (i >= 0 && !visit(key_at(i), bucket_at(i))) {
            return false;
        }
    }
    return true;
}

// Returns the first bucket at or after `bucket` that is not empty, or `size` if there is none.
int used_bucket(const H_table_str &t, int bucket) {
    while (bucket < t.size && t.table[bucket] == nullptr) {
        ++bucket;
    }
    return bucket;
}

void *enter_bucket(const H_table_str &t, H_cursor_str &cursor, int bucket) {
    cursor.bucket = used_bucket(t, bucket);
    cursor.obj = cursor.bucket < t.size ? t.table[cursor.bucket] : nullptr;
    return cursor.obj != nullptr ? cursor.obj->pointer : nullptr;
}

// Nodes that will be freed, roughly sorted by address. Scattered keys jump across the heap, and freeing a
// hundred thousand nodes in that order takes longer than building the table. A node that follows the previous
// one in memory is freed at once.
class Regions {
  public:
    void take(Hobj *node) {
        const auto address = reinterpret_cast<uintptr_t>(node);
        const bool follows = address - previous_ < NEAR;
        previous_ = address;
        if (follows) {
            ccst_free(node);
            return;
        }
        const std::size_t region = address / REGION_SIZE % REGION_COUNT;
        node->next = heads_[region];
        heads_[region] = node;
        first_ = std::min(first_, region);
        last_ = std::max(last_, region);
    }

    void free_all() {
        for (std::size_t region = first_; region <= last_; ++region) {
            Hobj *node = heads_[region];
            while (node != nullptr) {
                Hobj *next = node->next;
                ccst_free(node);
                node = next;
            }
        }
    }

  private:
    static constexpr std::size_t REGION_SIZE = 16384;
    static constexpr std::size_t REGION_COUNT = 1024;
    static constexpr uintptr_t NEAR = 256;

    Hobj *heads_[REGION_COUNT] = {};
    std::size_t first_ = REGION_COUNT; // the used regions lie between these
    std::size_t last_ = 0;
    uintptr_t previous_ = 0;
};

} // namespace

H_table_str *Hash_init(const char *name, int size) {
    if (size < SMALLEST_TABLE) {
        size = SMALLEST_TABLE;
    }
    if (size > INT_MAX / static_cast<int>(sizeof(Hobj *))) {
        return nullptr;
    }
    void *header = nullptr;
    cpp_malloc(&header, static_cast<int>(sizeof(H_table_str)), "Hash_init");
    if (header == nullptr) {
        return nullptr;
    }
    void *buckets = nullptr;
    cpp_malloc(&buckets, size * static_cast<int>(sizeof(Hobj *)), "Hash_init");
    if (buckets == nullptr) {
        ccst_free(header);
        return nullptr;
    }
    char *name_copy = copy_string(name != nullptr ? name : "");
    if (name_copy == nullptr) {
        ccst_free(buckets);
        ccst_free(header);
        return nullptr;
    }
    Hobj **table = static_cast<Hobj **>(buckets);
    std::memset(table, 0, static_cast<std::size_t>(size) * sizeof(Hobj *));
    return new (header) H_table_str{table, name_copy, size, 0};
}

int prime(int n) {
    int m = n;
    int d = 2;
    while (static_cast<int64_t>(d) * d < m) {
        if (m % d == 0) {
            ++m;
            d = 2;
        } else {
            ++d;
        }
    }
    return m;
}

int IndexHash(const char *s) {
    unsigned int h = 0;
    unsigned int shift = 0;
    for (; *s != '\0'; ++s) {
        h ^= static_cast<unsigned int>(static_cast<unsigned char>(*s)) << shift;
        shift = 8 - shift;
    }
    return static_cast<int>(h);
}

void *Hash_insert(unsigned long key, H_table_str *t, void *object) {
    return insert(word_key(key), t, object, "Hash_insert");
}

void *Hash_insert2(unsigned long key, unsigned long key2, H_table_str *t, void *object) {
    return insert(pair_key(key, key2), t, object, "Hash_insert");
}

void *Hash_insert_IPv6(const H_IPv6_key_t *key, H_table_str *t, void *object) {
    return insert(Address_Key{*key}, t, object, "Hash_insert_IPv6");
}

void *Hash_search(unsigned long key, const H_table_str *t) {
    return search(word_key(key), t);
}

void *Hash_search2(unsigned long key, unsigned long key2, const H_table_str *t) {
    return search(pair_key(key, key2), t);
}

void *Hash_search_IPv6(const H_IPv6_key_t *key, const H_table_str *t) {
    return search(Address_Key{*key}, t);
}

void *Hash_delete(unsigned long key, H_table_str *t) {
    return remove(word_key(key), t);
}

void *Hash_delete2(unsigned long key, unsigned long key2, H_table_str *t) {
    return remove(pair_key(key, key2), t);
}

void *Hash_delete_IPv6(const H_IPv6_key_t *key, H_table_str *t) {
    return remove(Address_Key{*key}, t);
}

bool Hash_insert_array_IPv6(H_table_str *table, void *objects, int count, unsigned object_size,
                            unsigned key_offset, void (*on_duplicate)(void *object)) {
    if (table == nullptr) {
        return false;
    }
    H_table_str &t = *table;
    char *object = static_cast<char *>(objects);
    return for_each_address(t, objects, count, object_size, key_offset,
                            [&](const Address_Key &key, int bucket) {
                                const Location at = locate(key, t, bucket);
                                if (at.found == nullptr && !append(key, t, at, object, "Hash_insert_IPv6")) {
                                    return false;
                                }
                                if (at.found != nullptr && on_duplicate != nullptr) {
                                    on_duplicate(object);
                                }
                                object += object_size;
                                return true;
                            });
}

void Hash_delete_array_IPv6(H_table_str *table, const void *objects, int count, unsigned object_size,
                            unsigned key_offset) {
    if (table == nullptr) {
        return;
    }
    H_table_str &t = *table;
    for_each_address(t, objects, count, object_size, key_offset, [&t](const Address_Key &key, int bucket) {
        remove(key, t, bucket);
        return true;
    });
}

int FindHashLoc(unsigned long key, const H_table_str *t, Hobj **where) {
    return find(word_key(key), t, where);
}

int FindHashLoc2(unsigned long key, unsigned long key2, const H_table_str *t, Hobj **where) {
    return find(pair_key(key, key2), t, where);
}

int FindHashLoc_IPv6(const H_IPv6_key_t *key, const H_table_str *t, Hobj **where) {
    return find(Address_Key{*key}, t, where);
}

int Hash_entries(const H_table_str *t) {
    return t != nullptr ? t->entries : 0;
}

void *Hash_first(const H_table_str *t, H_cursor_str *cursor) {
    if (t == nullptr) {
        *cursor = {0, nullptr};
        return nullptr;
    }
    return enter_bucket(*t, *cursor, 0);
}

void *Hash_next(const H_table_str *t, H_cursor_str *cursor) {
    if (cursor == nullptr || cursor->obj == nullptr) {
        return nullptr;
    }
    if (t == nullptr) {
        cursor->obj = nullptr;
        return nullptr;
    }
    cursor->obj = cursor->obj->next;
    if (cursor->obj == nullptr) {
        return enter_bucket(*t, *cursor, cursor->bucket + 1);
    }
    return cursor->obj->pointer;
}

void Hash_table_call(const H_table_str *t, int (*function)(void *)) {
    for_each_node(t, [function](int, const Hobj &node) { function(node.pointer); });
}

void Hash_dump_table(const H_table_str *t, int (*dump)(void *)) {
    if (t == nullptr) {
        return;
    }
    std::fprintf(stderr, "\nDumping Hash Table \"%s\"\n", t->name);
    for_each_node(t, [dump](int bucket, const Hobj &node) {
        std::fprintf(stderr, "Bucket %d: key > 0x%08X\n", bucket, node.ku.k1k2.key);
        dump(node.pointer);
    });
}

int Hash_dump_string(void *object) {
    std::fprintf(stderr, "object > \"%s\"\n", static_cast<const char *>(object));
    return 0;
}

void Hash_clean(H_table_str *t) {
    if (t == nullptr) {
        return;
    }
    // No bucket after the last node's needs a visit: most of a small table's buckets are empty.
    Regions regions;
    int rest = t->entries;
    for (int bucket = 0; rest > 0 && bucket < t->size; ++bucket) {
        if (bucket < t->size - 2 * FETCH_STEP) {
            fetch_first(*t, bucket + 2 * FETCH_STEP);
            fetch_second(*t, bucket + FETCH_STEP);
        }
        Hobj *node = t->table[bucket];
        while (node != nullptr) {
            Hobj *next = node->next;
            regions.take(node);
            node = next;
            --rest;
        }
        t->table[bucket] = nullptr;
    }
    regions.free_all();
    t->entries = 0;
}

void Hash_free(H_table_str *t) {
    if (t == nullptr) {
        return;
    }
    Hash_clean(t);
    ccst_free(t->name);
    ccst_free(t->table);
    ccst_free(t);
}
