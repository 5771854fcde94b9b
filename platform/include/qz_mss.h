/* SPDX-License-Identifier: Apache-2.0 */
/*
 * qz_mss.h - the security library, libqz_mss.so
 *
 * A typed key is a sequence of secret bytes and the algorithm that uses them. Its marshalled form has at most
 * 256 bytes and a checksum, which detects damage before a key is used. The checksum does not protect against
 * forgery. The key bytes are not encrypted: every reader of the form has the key.
 *
 * Conventions
 *   - The interface is for C99 and C++. No function throws or changes errno.
 *   - A function returns 0 on success and -1 on failure. On failure a buffer is unchanged, and a key descriptor
 *     to fill is zeroed. The descriptor can then be released safely after any result.
 *   - The library overwrites key bytes before it returns their memory to the system.
 *   - The library keeps no state, and every function may be called from any thread. Two threads must not use
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

/* A sequence of `length` bytes at `value`, for example the marshalled form of a key. The bytes belong to the
 * caller; the library never frees them. */
typedef struct sec_buffer_desc {
    int32_t length;
    void *value;
} sec_buffer_desc;

/* A typed key. A descriptor in which every byte is zero means "no key". */
typedef struct sec_key_desc {
    uint32_t type;   /* SEC_KEY_TYPE_... */
    int32_t version; /* SEC_KEY_VERSION */
    int32_t length;  /* number of key bytes */
    void *value;     /* the key bytes */
    void *schedule;  /* private to the security library; null for every type so far */
} sec_key_desc;

/* The algorithm of a key and its permitted lengths. No type is zero, because zero means "no key". */
#define SEC_KEY_TYPE_HMAC_SHA256 1 /* message authentication code over SHA-256: 16 to 236 bytes */
#define SEC_KEY_TYPE_HMAC_SHA512 2 /* message authentication code over SHA-512: 16 to 236 bytes */
#define SEC_KEY_TYPE_AES_CMAC 3    /* message authentication code over AES: 16, 24 or 32 bytes */

/* The only version of typed keys so far. */
#define SEC_KEY_VERSION 1

/* Length limits of a key of any type, in bytes. */
#define SEC_KEY_MIN_LENGTH 16
#define SEC_KEY_MAX_LENGTH 236

/* Buffer size that is sufficient for the marshalled form of any key, in bytes. */
#define SEC_MARSHALLED_KEY_SIZE 256

/* Creates a new key of `key_length` random bytes from the kernel's random source. The caller releases it with
 * sec_release_typed_key. Early during the system's start the call waits until the kernel has enough randomness.
 *
 * -1: `key` is null, the type is unknown, the type does not permit the length, memory is exhausted or the
 * kernel's random source is unavailable. */
int sec_generate_typed_key(uint32_t type, int32_t key_length, sec_key_desc *key);

/* Writes the marshalled form of *key to marshalled->value. The form is 20 bytes longer than the key.
 * `marshalled->length` is the buffer size on entry and the length written on return. SEC_MARSHALLED_KEY_SIZE is
 * always sufficient. The form contains the key, so the caller wipes it with sec_wipe after use.
 *
 * -1: an argument or its `value` is null; the key's type or version is unknown; the type does not permit the
 * length; or the buffer is too small. */
int sec_marshal_typed_key(const sec_key_desc *key, sec_buffer_desc *marshalled);

/* Creates a key from a marshalled form of exactly `marshalled->length` bytes. The key has its own bytes, so the
 * form may be discarded afterwards. The caller releases the key with sec_release_typed_key. The former content
 * of *key is ignored and not released.
 *
 * -1: an argument or `marshalled->value` is null; the form is too short, too long or damaged; its version or
 * type is unknown; or memory is exhausted. */
int sec_unmarshal_typed_key(sec_buffer_desc *marshalled, sec_key_desc *key);

/* Overwrites and frees the key bytes from sec_unmarshal_typed_key or sec_generate_typed_key. Ignores null, a
 * zeroed descriptor and a descriptor that those functions left after a failure. The descriptor itself is not
 * changed: its `value` is then invalid, and a second release is an error, as with free(). */
void sec_release_typed_key(sec_key_desc *key);

/* Overwrites `length` bytes at `memory` with zeroes in a way that a compiler does not remove. Call it before
 * freeing memory that held key bytes. A null `memory` or a `length` of 0 does nothing. */
void sec_wipe(void *memory, size_t length);

#pragma GCC visibility pop

#ifdef __cplusplus
}
#endif

#endif
