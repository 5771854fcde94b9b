// SPDX-License-Identifier: Apache-2.0
// One kind of attack by hb_attack: what a program without many rights can do to others on its machine.
#pragma once

#include <string>
#include <vector>

namespace hb_test {

using Words = std::vector<std::string>;

struct Attack {
    std::string verb;
    std::string usage; // the words after the verb
    // Prints the result as lines on standard output, each flushed. Returns the exit status: 0 if the attack
    // succeeded, 1 if the system prevented it. Throws std::exception for wrong words.
    int (*run)(const Words &words);
};

// All attacks of the program. An object of this type at namespace scope adds one.
std::vector<Attack> &attacks();
struct Add_Attack {
    explicit Add_Attack(const Attack &attack) { attacks().push_back(attack); }
};

// Prints a line with the reason from errno and returns 1.
int refused(const std::string &what);
// Prints a line at once.
void say(const std::string &line);
// Keeps everything that the attack holds until standard input ends.
void wait_for_end_of_input();

} // namespace hb_test
