// SPDX-License-Identifier: Apache-2.0
// Records what outlives a process unless it is removed: segments, semaphore sets, directories.
//
// Other tests run on the same machine at the same time, so only objects that this test made are checked.
#pragma once

#include <string>
#include <sys/types.h>
#include <vector>

namespace hb_test {

enum class Made : int { nothing = 0, segment, semaphores, directory };

void note_made(Made kind, int id, const std::string &path = {});
void note_gone(Made kind, int id, const std::string &path = {});

// Children forked after this call share the record.
void share_leftovers_book();
// Clears the record. Segments that exist at this time do not count as leftovers later. Process ids are reused,
// so an earlier process with the same id may have left them.
void open_leftovers_book();
// Returns one text for each object that was recorded as made and not as removed. Also lists unrecorded segments
// that a process with this id made.
std::vector<std::string> leftovers(pid_t maker);
// Removes them, for a test that ended before it could.
void remove_leftovers(pid_t maker);

// Reads the system's own list.
struct Segment_Facts {
    int key;
    int id;
    pid_t creator;
    unsigned long attached;
};
std::vector<Segment_Facts> list_segments();
bool semaphores_exist(int id);

} // namespace hb_test
