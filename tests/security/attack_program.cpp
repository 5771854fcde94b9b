// SPDX-License-Identifier: Apache-2.0
// hb_attack: makes one attack and prints its result.
#include <cerrno>
#include <cstring>
#include <exception>
#include <iostream>

#include "tests/security/attack.h"

namespace hb_test {

std::vector<Attack> &attacks() {
    static std::vector<Attack> all;
    return all;
}

void say(const std::string &line) {
    std::cout << line << std::endl;
}

int refused(const std::string &what) {
    say(what + ": " + std::strerror(errno));
    return 1;
}

void wait_for_end_of_input() {
    std::string line;
    while (std::getline(std::cin, line)) {
    }
}

} // namespace hb_test

int main(int count, char **words) {
    using namespace hb_test;
    const Words all(words + 1, words + count);
    for (const Attack &attack : attacks()) {
        if (!all.empty() && attack.verb == all.front()) {
            try {
                return attack.run(Words(all.begin() + 1, all.end()));
            } catch (const std::exception &error) {
                std::cerr << "hb_attack: " << attack.verb << ": " << error.what() << "\n";
                return 2;
            }
        }
    }
    std::cerr << "usage: hb_attack VERB [WORD]...\n";
    for (const Attack &attack : attacks()) {
        std::cerr << "    " << attack.verb << " " << attack.usage << "\n";
    }
    return 2;
}
