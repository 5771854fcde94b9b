// A chained hash table from a fixed-width key to a pointer. It owns its nodes and never the objects. A table
// is used with one kind of key only; nothing is locked, and the number of buckets is fixed when it is made.
#ifndef UTILS_HASH_H
#define UTILS_HASH_H

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
    Hobj *obj; // null when the walk is over
};

// Where an operation gets a null table it does nothing and returns null, or 0.

// A table of `size` buckets, 257 at least; null when memory is short. A null name is an empty one.
H_table_str *Hash_init(const char *name, int size);
// The bucket count for a population: the smallest m >= n that no d with 2 <= d and d * d < m divides. The
// test is strict, so squares of primes pass.
int prime(int n);
// A 16-bit hash of a string; the table does not use it.
int IndexHash(const char *s);

// Keys are 32-bit words, whatever the width of long. Insert returns the object that the key had before, or
// null for a new key; when memory is short a new key is not stored and `entries` stays. Search and delete
// return null when there is no such key.
void *Hash_insert(unsigned long key, H_table_str *t, void *object);
void *Hash_insert2(unsigned long key, unsigned long key2, H_table_str *t, void *object);
void *Hash_insert_IPv6(const H_IPv6_key_t *key, H_table_str *t, void *object);
void *Hash_search(unsigned long key, const H_table_str *t);
void *Hash_search2(unsigned long key, unsigned long key2, const H_table_str *t);
void *Hash_search_IPv6(const H_IPv6_key_t *key, const H_table_str *t);
void *Hash_delete(unsigned long key, H_table_str *t);
void *Hash_delete2(unsigned long key, unsigned long key2, H_table_str *t);
void *Hash_delete_IPv6(const H_IPv6_key_t *key, H_table_str *t);

// Found: the node, and its bucket + 1. Not found: the last node of the chain (null if there is none), and
// the bitwise complement of the bucket. Without a table: null, and 0.
int FindHashLoc(unsigned long key, const H_table_str *t, Hobj **where);
int FindHashLoc2(unsigned long key, unsigned long key2, const H_table_str *t, Hobj **where);
int FindHashLoc_IPv6(const H_IPv6_key_t *key, const H_table_str *t, Hobj **where);

int Hash_entries(const H_table_str *t);

// Walks go by rising bucket and, within one, in order of insertion. The entry under a live cursor must not
// be deleted.
void *Hash_first(const H_table_str *t, H_cursor_str *cursor);
void *Hash_next(const H_table_str *t, H_cursor_str *cursor);
void Hash_table_call(const H_table_str *t, int (*function)(void *));
// To standard error, each entry through `dump`.
void Hash_dump_table(const H_table_str *t, int (*dump)(void *));
int Hash_dump_string(void *object);

void Hash_clean(H_table_str *t); // empties the table
void Hash_free(H_table_str *t);  // destroys it

#endif
