// SPDX-License-Identifier: Apache-2.0
// A chained hash table from a fixed-width key to a pointer. It owns its nodes but never the objects. Each
// table uses one kind of key. Nothing is locked, and the number of buckets never changes.
#pragma once

#include <cstdint>

enum H_key_type : int32_t { H_KT_LONG = 1, H_KT_LONG2 = 2, H_KT_IPv6 = 3 };

struct H_IPv6_key_t {
    uint32_t uint_elem[4];
};

struct Hobj {
    union {
        struct {
            uint32_t key;
            uint32_t key2;
        } k1k2;
        H_IPv6_key_t key_IPv6;
    } ku;
    void *pointer;
    Hobj *next;
    Hobj *prev; // written, never read
    H_key_type keyType;
};
using H_obj_str = Hobj;

struct H_table_str {
    Hobj **table;
    char *name;
    int32_t size;
    int32_t entries;
};

struct H_cursor_str {
    int32_t bucket;
    Hobj *obj; // null: the walk has ended
};

// With a null table each operation does nothing and returns null or 0.

// Makes a table of `size` buckets, at least 257. Returns null when memory is short. A null name counts as an
// empty one.
H_table_str *Hash_init(const char *name, int size);
// Returns the number of buckets for a population: the smallest m >= n without a divisor d, 2 <= d and d * d < m.
// The test is strict, so squares of primes pass.
int prime(int n);
// A 16-bit hash of a string. The table does not use it.
int IndexHash(const char *s);

// Keys are 32-bit words, whatever the width of long. Insert returns the key's previous object, or null for a
// new key. When memory is short a new key is not stored, and `entries` is unchanged. Search and delete return
// null if there is no such key.
void *Hash_insert(unsigned long key, H_table_str *t, void *object);
void *Hash_insert2(unsigned long key, unsigned long key2, H_table_str *t, void *object);
void *Hash_insert_IPv6(const H_IPv6_key_t *key, H_table_str *t, void *object);
void *Hash_search(unsigned long key, const H_table_str *t);
void *Hash_search2(unsigned long key, unsigned long key2, const H_table_str *t);
void *Hash_search_IPv6(const H_IPv6_key_t *key, const H_table_str *t);
void *Hash_delete(unsigned long key, H_table_str *t);
void *Hash_delete2(unsigned long key, unsigned long key2, H_table_str *t);
void *Hash_delete_IPv6(const H_IPv6_key_t *key, H_table_str *t);

// Inserts the objects of an array in order, each under the address that lies `key_offset` bytes into it. The
// first object of an address keeps the address: `on_duplicate`, which may be null, is called with each later
// one. Returns false when memory is short: the objects up to that one are stored.
bool Hash_insert_array_IPv6(H_table_str *t, void *objects, int count, unsigned object_size, unsigned key_offset,
                            void (*on_duplicate)(void *object));
// Deletes the addresses of an array's objects, whatever objects they lead to. Nodes that were inserted in the
// array's order lie in that order in memory, so this empties a large table faster than Hash_clean.
void Hash_delete_array_IPv6(H_table_str *t, const void *objects, int count, unsigned object_size,
                            unsigned key_offset);

// If the key is found: its node, and its bucket + 1. If not: the last node of the chain or null, and the
// bitwise complement of the bucket. Without a table: null, and 0.
int FindHashLoc(unsigned long key, const H_table_str *t, Hobj **where);
int FindHashLoc2(unsigned long key, unsigned long key2, const H_table_str *t, Hobj **where);
int FindHashLoc_IPv6(const H_IPv6_key_t *key, const H_table_str *t, Hobj **where);

int Hash_entries(const H_table_str *t);

// A walk goes by ascending bucket and, within a bucket, in order of insertion. The entry at the cursor must
// not be deleted.
void *Hash_first(const H_table_str *t, H_cursor_str *cursor);
void *Hash_next(const H_table_str *t, H_cursor_str *cursor);
void Hash_table_call(const H_table_str *t, int (*function)(void *));
// Prints the table to standard error, each entry through `dump`.
void Hash_dump_table(const H_table_str *t, int (*dump)(void *));
int Hash_dump_string(void *object);

void Hash_clean(H_table_str *t); // empties the table
void Hash_free(H_table_str *t);  // frees the table
