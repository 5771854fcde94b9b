/* SPDX-License-Identifier: Apache-2.0 */
/*
 * qz_tr.h - the trace library, libqz_tr.so
 *
 * A component registers its categories once and receives a token for each. The trace library then sets the
 * component's detail bytes while recording is on. A component records only in categories with a non-zero byte,
 * so a disabled trace point costs the test of one byte. Records carry a number and arguments. The message
 * catalogue gives each number a text.
 *
 * Environment variables switch recording on. The first registration reads them; a set-user-id program ignores
 * them:
 *   QZ_TR_OUTPUT     "stderr", or the path of a file to which lines are appended; unset or empty: no recording,
 *                    and all detail bytes stay zero
 *   QZ_TR_LEVELS     the categories' levels of detail; unset: each category's default; every registration
 *                    reads it
 *   QZ_TR_CATALOGUE  path of a message catalogue that replaces the installed catalogue
 * docs/tracing.md describes their values, the written lines and the catalogue's format.
 *
 * Conventions
 *   - The interface is for C99 and C++. No function throws.
 *   - Recording keeps errno, allocates nothing, holds no lock and is not a cancellation point. A program may
 *     record from any thread, in a signal handler, and in a forked child of a process with several threads.
 *   - Registering locks and allocates, so call it from ordinary code only.
 *   - The library reads a component's strings and arrays only during the call, so the component may be
 *     unloaded. Registering the same component again returns the same tokens.
 */
#ifndef QZ_TR_H
#define QZ_TR_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#pragma GCC visibility push(default)

/* Size of a component's or category's name in bytes, including the NUL. */
#define TR_NAME_SIZE 32

/* Largest numbers of categories in one registration and of arguments in one record. Further arguments are
 * counted in the line but not written. */
#define TR_MAX_CATEGORIES 32
#define TR_MAX_ARGUMENTS 32

/* One category of a component's records. */
typedef struct tr_category_description {
    uint32_t category_id;
    const char *category_name;
    uint32_t default_level_of_detail; /* the level unless QZ_TR_LEVELS sets another */
    uint32_t minimum_level_of_detail; /* lowest level while recording is on */
} tr_category_description_t;

/* A category of a registered component. Registration creates it, and the trace library owns it. It is valid
 * until the trace library is unloaded. Any other token, such as null, is harmless: the record then names no
 * category. */
typedef struct tr_file_token *tr_file_token_t;

/* Registers a component. `levels` has one byte and `categories` one row for each of `count` categories. Sets
 * every byte of `levels` to the category's level, at most 255, or to 0 while recording is off. Sets *tokens to
 * an array of `count` tokens in the order of the table, which the trace library owns.
 *
 * Returns 0 on success. On failure returns -1 with errno set; the level bytes, if any, are then 0 and *tokens
 * is unchanged.
 *
 * errno: EINVAL an argument is null, a name is empty, or `count` is 0 or above TR_MAX_CATEGORIES; ENAMETOOLONG
 * a name does not fit TR_NAME_SIZE; ENOSPC 64 different components or 256 categories are already registered;
 * ENOMEM.
 *
 * An output that cannot be opened, a malformed QZ_TR_LEVELS or a faulty catalogue does not fail the
 * registration. Each is reported on stderr once. */
int tr_ms_register_component_1(const char *component, unsigned char *levels,
                               const tr_category_description_t *categories, uint32_t count,
                               tr_file_token_t **tokens);

/* Each of the following functions records one line with the number `id`. While recording is off they do
 * nothing. `component` is the registered name. The catalogue counts arguments from 1.
 *
 * Records the id alone. */
void tr_ms_record_id_1(const char *component, uint32_t id, tr_file_token_t token);

/* Records `count` 32-bit values, which follow. */
void tr_ms_record_values_32_1(const char *component, uint32_t id, tr_file_token_t token, uint32_t count, ...);

/* Records `count` memory blocks, which follow as a pointer and a length in bytes as an int. A null block, or a
 * length below 1, is an empty block. */
void tr_ms_record_data_1(const char *component, uint32_t id, tr_file_token_t token, uint32_t count, ...);

/* Records `count` NUL-terminated strings, which follow. A null string is written as (null). */
void tr_ms_record_strings_1(const char *component, uint32_t id, tr_file_token_t token, uint32_t count, ...);

#pragma GCC visibility pop

#ifdef __cplusplus
}
#endif

#endif
