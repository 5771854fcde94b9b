// SPDX-License-Identifier: Apache-2.0
// The message catalogue: finds the text of a component's record number. It is a text file:
//
//     # comment
//     [_HBC]
//     151 Info adapter {1:u} belongs to node {2}
//
// A line in brackets names the component of the following messages. A message is a number, its category and
// a text (message_text.h). Empty lines and lines that begin with # are ignored.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace qz_tr {

struct Message {
    uint32_t id = 0;
    std::string category;
    std::string text;
};

struct Catalogue_Component {
    std::string name;
    std::vector<Message> messages; // in ascending order of their ids
};

struct Catalogue {
    std::vector<Catalogue_Component> components;

    const Message *find(std::string_view component, uint32_t id) const;
};

struct Catalogue_Fault {
    std::size_t line = 0; // counted from 1
    std::string what;
};

// Parses the text of a catalogue. Malformed lines and repeated numbers are added to `faults` and otherwise
// ignored.
Catalogue parse_catalogue(std::string_view text, std::vector<Catalogue_Fault> &faults);

} // namespace qz_tr
