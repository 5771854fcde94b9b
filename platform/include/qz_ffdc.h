/* SPDX-License-Identifier: Apache-2.0 */
/*
 * qz_ffdc.h - first-failure identifiers, libqz_ffdc.so
 *
 * A first-failure identifier names the report of the first failure in a chain. Every later report can then
 * refer to its cause. The identifier is printable text in a fixed array.
 *
 * Conventions
 *   - The interface is for C99 and C++. No function throws.
 *   - A function returns 0 on success, and -1 with errno set on failure. On failure the caller's array is
 *     unchanged. A successful call leaves errno unchanged.
 *   - Every function may be called from any thread.
 */
#ifndef QZ_FFDC_H
#define QZ_FFDC_H

#ifdef __cplusplus
extern "C" {
#endif

#pragma GCC visibility push(default)

/* Size of an identifier's array in bytes, including the terminating NUL. */
#define QZ_FFDC_ID_SIZE 43

/* An identifier: 1 to 42 printable ASCII characters (0x20 to 0x7E), terminated by NUL. The array belongs to
 * the caller. */
typedef char fc_eid_t[QZ_FFDC_ID_SIZE];

/* Creates a new identifier that differs from those of every process and host. Its text has exactly 42
 * characters:
 *
 *     20251120T234812Z-0001e240-9f86d081884c7d65
 *
 * The parts are the time in UTC to the second and the process id as 8 hexadecimal digits. Then follow 64 random
 * bits from the kernel as 16 hexadecimal digits. The order of texts is therefore the order of times, to the
 * second.
 *
 * errno: EINVAL id is null; EOVERFLOW the clock is outside the years 0000 to 9999; any other value is the
 * kernel's error while it supplied the random bits. */
int qz_ffdc_make_id(fc_eid_t id);

/* Checks that an array holds a well-formed identifier from any source: at least one character, only printable
 * characters, and a NUL within the array. Bytes after the NUL are ignored.
 *
 * errno: EINVAL id is null or not well-formed. */
int qz_ffdc_check_id(const fc_eid_t id);

#pragma GCC visibility pop

#ifdef __cplusplus
}
#endif

#endif
