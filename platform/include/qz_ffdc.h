/*
 * qz_ffdc.h - first-failure identifiers, libqz_ffdc.so
 *
 * A first-failure identifier names the report of the first failure in a chain, so that every later report
 * can point at its cause. It is printable text in a fixed array.
 *
 * Conventions
 *   - C99 and C++; nothing here throws.
 *   - A function gives 0 on success, and -1 with errno set on failure; on failure the caller's array is
 *     untouched. A successful call leaves errno alone.
 *   - Every function may be called from any thread.
 */
#ifndef QZ_FFDC_H
#define QZ_FFDC_H

#ifdef __cplusplus
extern "C" {
#endif

#pragma GCC visibility push(default)

/* Size of an identifier's array in bytes, the ending NUL included. */
#define QZ_FFDC_ID_SIZE 43

/* An identifier: 1 to 42 printable ASCII characters (0x20 to 0x7E), ended by a NUL. The array belongs to
 * whoever declares it. */
typedef char fc_eid_t[QZ_FFDC_ID_SIZE];

/* Makes a new identifier, unlike any other of any process of any host. Its text has exactly 42 characters:
 *
 *     20251120T234812Z-0001e240-9f86d081884c7d65
 *
 * the time in UTC to the second, the process id as 8 hexadecimal digits, and 64 random bits from the kernel
 * as 16 hexadecimal digits. Text order is therefore time order, to the second.
 *
 * errno: EINVAL id is null; EOVERFLOW the clock is outside the years 0000 to 9999; else what the kernel gave
 * when it had no random bits. */
int qz_ffdc_make_id(fc_eid_t id);

/* Checks that an array holds a well-formed identifier, whoever made it: at least one character, every one
 * printable, and a NUL within the array. What stands behind the NUL does not matter.
 *
 * errno: EINVAL id is null or is not well-formed. */
int qz_ffdc_check_id(const fc_eid_t id);

#pragma GCC visibility pop

#ifdef __cplusplus
}
#endif

#endif
