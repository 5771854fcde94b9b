// SPDX-License-Identifier: Apache-2.0
#include "tests/unit/mss/wrapped_calls.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <sys/types.h>

namespace {

// Uses storage of fixed size: recording must not allocate.
constexpr std::size_t MOST_CALLS = 16;
constexpr std::size_t MOST_BYTES = 512;

struct Block {
    void *address;
    std::size_t size;
};

struct Freed {
    std::array<unsigned char, MOST_BYTES> content;
    std::size_t size;
};

template <typename T> struct List {
    std::array<T, MOST_CALLS> items;
    std::size_t count;

    void add(const T &item) {
        if (count == MOST_CALLS) {
            std::abort();
        }
        items[count++] = item;
    }
};

thread_local bool recording;
bool malloc_fails;
bool random_is_answered;
List<Block> blocks;
List<Freed> freed_blocks;
List<Random_Answer> answers_left;
List<std::size_t> random_sizes;

} // namespace

extern "C" {

void *__real_malloc(std::size_t size);
void __real_free(void *block);
ssize_t __real_getrandom(void *out, std::size_t size, unsigned flags);

void *__wrap_malloc(std::size_t size);
void __wrap_free(void *block);
ssize_t __wrap_getrandom(void *out, std::size_t size, unsigned flags);

void *__wrap_malloc(std::size_t size) {
    if (!recording) {
        return __real_malloc(size);
    }
    if (malloc_fails) {
        errno = ENOMEM;
        return nullptr;
    }
    void *block = __real_malloc(size);
    blocks.add({block, size});
    return block;
}

void __wrap_free(void *block) {
    if (recording && block != nullptr) {
        for (std::size_t i = 0; i < blocks.count; ++i) {
            if (blocks.items[i].address == block) {
                Freed copy{{}, std::min(blocks.items[i].size, MOST_BYTES)};
                std::memcpy(copy.content.data(), block, copy.size);
                freed_blocks.add(copy);
            }
        }
        errno = EDOM; // older C libraries change it
    }
    __real_free(block);
}

ssize_t __wrap_getrandom(void *out, std::size_t size, unsigned flags) {
    if (!recording) {
        return __real_getrandom(out, size, flags);
    }
    const std::size_t call = random_sizes.count;
    random_sizes.add(size);
    if (!random_is_answered) {
        return __real_getrandom(out, size, flags);
    }
    const Random_Answer answer =
        call < answers_left.count ? answers_left.items[call] : Random_Answer{EIO, 0, 0};
    if (answer.error != 0) {
        errno = answer.error;
        return -1;
    }
    const std::size_t count = std::min(answer.count, size);
    std::memset(out, answer.byte, count);
    return static_cast<ssize_t>(count);
}

} // extern "C"

Wrapped_Calls::Wrapped_Calls() {
    malloc_fails = false;
    random_is_answered = false;
    blocks.count = 0;
    freed_blocks.count = 0;
    answers_left.count = 0;
    random_sizes.count = 0;
    recording = true;
}

Wrapped_Calls::~Wrapped_Calls() {
    recording = false;
}

void Wrapped_Calls::fail_malloc() {
    malloc_fails = true;
}

void Wrapped_Calls::answer_getrandom(const std::vector<Random_Answer> &answers) {
    random_is_answered = true;
    for (const Random_Answer &answer : answers) {
        answers_left.add(answer);
    }
}

std::vector<std::size_t> Wrapped_Calls::allocated() const {
    std::vector<std::size_t> sizes;
    for (std::size_t i = 0; i < blocks.count; ++i) {
        sizes.push_back(blocks.items[i].size);
    }
    return sizes;
}

std::vector<hb_test::Bytes> Wrapped_Calls::freed() const {
    std::vector<hb_test::Bytes> contents;
    for (std::size_t i = 0; i < freed_blocks.count; ++i) {
        contents.push_back(hb_test::bytes_of(freed_blocks.items[i].content.data(), freed_blocks.items[i].size));
    }
    return contents;
}

std::vector<std::size_t> Wrapped_Calls::random_asked() const {
    return {random_sizes.items.begin(),
            random_sizes.items.begin() + static_cast<std::ptrdiff_t>(random_sizes.count)};
}
