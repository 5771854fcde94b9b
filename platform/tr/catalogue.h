// The message catalogue: from a component's record number to its text. A text file:
//
//     # comment
//     [_HBC]
//     151 Info adapter {1:u} belongs to node {2}
//
// A line in brackets names the component whose messages follow; a message is a number, its category and a text
// (message_text.h). Empty lines and lines that begin with # say nothing.
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
    std::vector<Message> messages; // ascending ids
};

struct Catalogue {
    std::vector<Catalogue_Component> components;

    const Message *find(std::string_view component, uint32_t id) const;
};

struct Catalogue_Fault {
    std::size_t line = 0; // from 1
    std::string what;
};

// Reads a catalogue's text. Lines that are malformed, or that repeat a number, are put into `faults` and left
// out.
Catalogue parse_catalogue(std::string_view text, std::vector<Catalogue_Fault> &faults);

} // namespace qz_tr
