// One kind of attack that hb_attack makes: what a program without many rights can do to others on its machine.
#ifndef HB_TEST_SECURITY_ATTACK_H
#define HB_TEST_SECURITY_ATTACK_H

#include <string>
#include <vector>

namespace hb_test {

using Words = std::vector<std::string>;

struct Attack {
    std::string verb;
    std::string usage; // the words behind the verb
    // Prints what happened as lines on standard output, each flushed. Returns the exit status: 0 when the attack did
    // what it wanted, 1 when the system refused it. Throws std::exception for wrong words.
    int (*run)(const Words &words);
};

// Every attack of the program. An object of this type at namespace scope adds one.
std::vector<Attack> &attacks();
struct Add_Attack {
    explicit Add_Attack(const Attack &attack) { attacks().push_back(attack); }
};

// A line with the reason that errno holds, and 1.
int refused(const std::string &what);
// Prints a line at once.
void say(const std::string &line);
// Keeps what the attack holds until standard input ends.
void wait_for_end_of_input();

} // namespace hb_test

#endif
