/*
 * qz_mss.h - the security library, libqz_mss.so
 *
 * Conventions
 *   - C99 and C++; nothing here throws, and nothing here changes errno.
 *   - A descriptor points at memory that it does not describe the owner of: who made it says who frees it.
 *   - Every function may be called from any thread; two threads must not work on the same memory at once.
 */
#ifndef QZ_MSS_H
#define QZ_MSS_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#pragma GCC visibility push(default)

/* A run of `length` bytes at `value`, for instance the marshalled form of a key. */
typedef struct sec_buffer_desc {
    int32_t length;
    void *value;
} sec_buffer_desc;

/* A typed key. A descriptor whose bytes are all zero means "no key". */
typedef struct sec_key_desc {
    uint32_t type;
    int32_t version;
    int32_t length; /* of the key bytes, in bytes */
    void *value;    /* the key bytes */
    void *schedule; /* the security library's own, opaque to callers */
} sec_key_desc;

/* Overwrites `length` bytes at `memory` with zeroes in a way that a compiler does not remove, for memory that
 * held key bytes and is about to be given back. A null `memory` or a `length` of 0 does nothing. */
void sec_wipe(void *memory, size_t length);

/* Builds a key object from its marshalled form. Returns 0, or -1 when the form is malformed; *key is then as
 * sec_release_typed_key leaves it. */
int sec_unmarshal_typed_key(sec_buffer_desc *marshalled, sec_key_desc *key);

/* Wipes and frees what sec_unmarshal_typed_key built. */
void sec_release_typed_key(sec_key_desc *key);

#pragma GCC visibility pop

#ifdef __cplusplus
}
#endif

#endif
