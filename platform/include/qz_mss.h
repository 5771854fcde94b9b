/*
 * qz_mss.h - the security library, libqz_mss.so
 *
 * A typed key is a run of secret bytes with the algorithm that they are for. It travels in a marshalled form,
 * at most 256 bytes, that carries a checksum: damage is noticed before a key is used. The checksum is no
 * protection against forgery, and the key bytes travel in clear: whoever can read the form has the key.
 *
 * Conventions
 *   - C99 and C++; nothing here throws, and nothing here changes errno.
 *   - A function gives 0 on success and -1 on failure. On failure a buffer is untouched, and a key descriptor
 *     that was to be filled is zeroed, so that releasing it is safe whatever the result.
 *   - Key bytes that the library gives back to the system have been overwritten.
 *   - The library keeps no state. Every function may be called from any thread; two threads must not work on
 *     the same descriptor or memory at once.
 */
#ifndef QZ_MSS_H
#define QZ_MSS_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#pragma GCC visibility push(default)

/* A run of `length` bytes at `value`, for instance the marshalled form of a key. The bytes belong to whoever
 * set `value`; the library never frees them. */
typedef struct sec_buffer_desc {
    int32_t length;
    void *value;
} sec_buffer_desc;

/* A typed key. A descriptor whose bytes are all zero means "no key". */
typedef struct sec_key_desc {
    uint32_t type;   /* SEC_KEY_TYPE_... */
    int32_t version; /* SEC_KEY_VERSION */
    int32_t length;  /* of the key bytes, in bytes */
    void *value;     /* the key bytes */
    void *schedule;  /* the security library's own, opaque to callers; null, as no type here prepares any */
} sec_key_desc;

/* What a key is for, and how many bytes such a key has. The types are not zero, so that "no key" is none. */
#define SEC_KEY_TYPE_HMAC_SHA256 1 /* message authentication code over SHA-256: 16 to 236 bytes */
#define SEC_KEY_TYPE_HMAC_SHA512 2 /* message authentication code over SHA-512: 16 to 236 bytes */
#define SEC_KEY_TYPE_AES_CMAC 3    /* message authentication code over AES: 16, 24 or 32 bytes */

/* The only version of typed keys so far. */
#define SEC_KEY_VERSION 1

/* Length limits of a key of any type, in bytes. */
#define SEC_KEY_MIN_LENGTH 16
#define SEC_KEY_MAX_LENGTH 236

/* Room that holds the marshalled form of any key, in bytes. */
#define SEC_MARSHALLED_KEY_SIZE 256

/* Makes a new key of `key_length` random bytes from the kernel's random source. The caller releases it with
 * sec_release_typed_key. Early in the system's start the call waits until the kernel has gathered randomness.
 *
 * -1: `key` is null, the type is unknown, the length is not one of the type's, there is no memory or the
 * kernel has no random source. */
int sec_generate_typed_key(uint32_t type, int32_t key_length, sec_key_desc *key);

/* Writes the marshalled form of *key, 20 bytes more than the key has, to marshalled->value.
 * `marshalled->length` is the room there, SEC_MARSHALLED_KEY_SIZE being always enough, and becomes the length
 * written. The form holds the key: the caller wipes it with sec_wipe when done.
 *
 * -1: an argument or its `value` is null, the key's type or version is unknown, its length is not one of its
 * type's, or the room is too small. */
int sec_marshal_typed_key(const sec_key_desc *key, sec_buffer_desc *marshalled);

/* Builds a key object with key bytes of its own from a marshalled form of exactly `marshalled->length` bytes,
 * which may be discarded afterwards. The caller releases the key with sec_release_typed_key. What *key was
 * before does not matter and is not released.
 *
 * -1: an argument or `marshalled->value` is null, the form is cut short, has bytes behind its end, is damaged,
 * or is of an unknown version or type, or there is no memory. */
int sec_unmarshal_typed_key(sec_buffer_desc *marshalled, sec_key_desc *key);

/* Overwrites and frees the key bytes that sec_unmarshal_typed_key or sec_generate_typed_key made. Does nothing
 * for null, a zeroed descriptor, or what those two left after a failure. The descriptor itself is not changed:
 * its `value` then points at nothing, and releasing it once more is an error, as with free(). */
void sec_release_typed_key(sec_key_desc *key);

/* Overwrites `length` bytes at `memory` with zeroes in a way that a compiler does not remove, for memory that
 * held key bytes and is about to be given back. A null `memory` or a `length` of 0 does nothing. */
void sec_wipe(void *memory, size_t length);

#pragma GCC visibility pop

#ifdef __cplusplus
}
#endif

#endif
