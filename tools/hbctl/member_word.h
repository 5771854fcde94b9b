// SPDX-License-Identifier: Apache-2.0
// A node or an adapter as the user typed it: by number or by name.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace hbctl {

// Text of digits is always a number, even if a node has such a name.
struct Member_Word {
    std::uint32_t number = 0;
    std::string name; // not empty: the number is still to be found

    bool operator==(const Member_Word &) const = default;
};

// "3", or the name
std::string word_text(const Member_Word &word);

// Returns a complaint about a number above `highest` and about an empty text; otherwise an empty text.
std::string complaint_about_member(const std::string &text, std::uint32_t highest);

// Accepts only text without a complaint.
Member_Word member_word(const std::string &text);

struct Member_List {
    std::vector<Member_Word> members; // in the given order, with ranges expanded
    std::string complaint;            // empty: the text was valid
};

// "1,alpha,5-7"
Member_List parse_member_list(const std::string &text, std::uint32_t highest);

} // namespace hbctl
