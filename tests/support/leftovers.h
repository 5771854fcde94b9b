// Book-keeping of what outlives a process unless it is removed: segments, semaphore sets, directories.
//
// Other tests run on the same machine at the same time, so only what this test made itself is looked at.
#ifndef HB_TEST_LEFTOVERS_H
#define HB_TEST_LEFTOVERS_H

#include <sys/types.h>

#include <string>
#include <vector>

namespace hb_test {

enum class Made : int { nothing = 0, segment, semaphores, directory };

void note_made(Made kind, int id, const std::string &path = {});
void note_gone(Made kind, int id, const std::string &path = {});

// The book is shared with children forked after this.
void share_leftovers_book();
// Forgets everything noted. Segments that are there by now are nobody's leftovers later: a process id comes
// back, and with it what an earlier process of that number may have left.
void open_leftovers_book();
// What was noted as made and not as gone, and segments that a process with this id made all the same; one
// text for each.
std::vector<std::string> leftovers(pid_t maker);
// Removes them, for a test that died before it could.
void remove_leftovers(pid_t maker);

// What the system itself lists.
struct SegmentFacts {
    int key;
    int id;
    pid_t creator;
    unsigned long attached;
};
std::vector<SegmentFacts> list_segments();
bool semaphores_exist(int id);

} // namespace hb_test

#endif
