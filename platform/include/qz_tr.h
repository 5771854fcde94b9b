/*
 * qz_tr.h - the trace library, libqz_tr.so
 *
 * A component registers its categories once and gets a token for each. From then on the trace library owns
 * the component's detail bytes: it sets them when recording is switched on, and a component records only in
 * a category whose byte is not zero, so that a trace point that is off costs the test of one byte. Records
 * carry a number and arguments; the message catalogue turns the number into a text.
 *
 * Recording is switched on from outside, by environment variables that the first registration reads (in a
 * set-user-id program they are ignored):
 *   QZ_TR_OUTPUT     "stderr", or the path of a file that lines are appended to; unset or empty: no recording,
 *                    and all detail bytes stay zero
 *   QZ_TR_LEVELS     the categories' levels of detail; unset: each category's default. Read by every
 *                    registration
 *   QZ_TR_CATALOGUE  path of the message catalogue, in place of the installed one
 * docs/tracing.md describes their values, the lines that are written and the catalogue's format.
 *
 * Conventions
 *   - C99 and C++; nothing here throws.
 *   - Recording keeps errno, is no cancellation point, allocates nothing and holds no lock, so it may be done
 *     from any thread, in a signal handler, and in a child that a process with several threads forked.
 *   - Registering takes a lock and allocates: do it from ordinary code.
 *   - A component's strings and arrays are read during the call only; none is remembered, so that the component
 *     may be unloaded. Registering the same component again gives the same tokens again.
 */
#ifndef QZ_TR_H
#define QZ_TR_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#pragma GCC visibility push(default)

/* Size of a component's or a category's name, in bytes with the NUL. */
#define TR_NAME_SIZE 32

/* Number of categories in one registration, and of arguments in one record; further arguments are counted in
 * the line, not written. */
#define TR_MAX_CATEGORIES 32
#define TR_MAX_ARGUMENTS 32

/* One category of a component's records. */
typedef struct tr_category_description {
    uint32_t category_id;
    const char *category_name;
    uint32_t default_level_of_detail; /* the level where QZ_TR_LEVELS asks for no other */
    uint32_t minimum_level_of_detail; /* the level never falls below this while recording is on */
} tr_category_description_t;

/* A category of a registered component. Made by registration, owned by the trace library, valid until that is
 * unloaded. A token that is none of these (null, say) is harmless: the record names no category then. */
typedef struct tr_file_token *tr_file_token_t;

/* Registers a component: `levels` has one byte and `categories` one row for each of `count` categories. Sets
 * every byte of `levels` - to the category's level, at most 255, while recording is on, else to 0 - and *tokens
 * to an array of `count` tokens in the order of the table, which the trace library owns.
 *
 * Gives 0; or -1 with errno set, the bytes (if given) 0 and *tokens untouched: EINVAL for a null argument, an
 * empty name or a `count` that is 0 or above TR_MAX_CATEGORIES; ENAMETOOLONG for a name that does not fit
 * TR_NAME_SIZE; ENOSPC when 64 different components, or 256 categories, are registered; ENOMEM. An output that
 * cannot be opened, a malformed QZ_TR_LEVELS and a faulty catalogue are no failure of the registration: they
 * are reported on stderr once. */
int tr_ms_register_component_1(const char *component, unsigned char *levels,
                               const tr_category_description_t *categories, uint32_t count,
                               tr_file_token_t **tokens);

/* Records of the number `id`, each one line. Does nothing while recording is off. `component` is the name that
 * was registered; arguments are numbered from 1.
 *
 * The id alone: */
void tr_ms_record_id_1(const char *component, uint32_t id, tr_file_token_t token);

/* `count` 32-bit values follow: */
void tr_ms_record_values_32_1(const char *component, uint32_t id, tr_file_token_t token, uint32_t count, ...);

/* `count` memory blocks follow, each a pointer and its length in bytes as an int. A null block, or a length
 * below 1, is an empty one: */
void tr_ms_record_data_1(const char *component, uint32_t id, tr_file_token_t token, uint32_t count, ...);

/* `count` NUL-terminated strings follow. A null one is written as (null): */
void tr_ms_record_strings_1(const char *component, uint32_t id, tr_file_token_t token, uint32_t count, ...);

#pragma GCC visibility pop

#ifdef __cplusplus
}
#endif

#endif
