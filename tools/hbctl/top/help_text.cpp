// SPDX-License-Identifier: Apache-2.0
#include "tools/hbctl/top/help_text.h"

#include <array>

#include "tools/hbctl/top/node_grid.h"
#include "tools/hbctl/top/text_columns.h"

namespace hbctl {
namespace {

struct Help {
    const char *key;
    const char *meaning;
};

constexpr std::array KEYS{
    Help{"q", "quit"},
    Help{"h ?", "show or hide this help"},
    Help{"f", "show all nodes, those with a problem, the local one"},
    Help{"/", "search a node by number or name"},
    Help{"Esc", "show all nodes again"},
    Help{"s", "sort by number, by state, by name"},
    Help{"↑ ↓", "scroll a line (also k, j)"},
    Help{"PgUp PgDn", "scroll a page (also b, blank)"},
    Help{"Home End", "to the first, to the last node (also g, G)"},
    Help{"← →", "other networks, if they do not all fit"},
};

constexpr std::array REMARKS{
    Help{"○", "it was up when wispd last answered"},
    Help{"▸", "the local node"},
    Help{"net_a 4/5", "4 of the 5 adapters on this network are up"},
    Help{"no answer", "wispd is connected and silent; the states are old"},
};

constexpr std::size_t KEY_COLUMNS = 11;

Text_Line help_line(const std::string &key, Style style, const std::string &meaning, std::size_t width) {
    Text_Line line(width);
    line.add("  ").add(fitted(key, KEY_COLUMNS), style).add(meaning);
    return line;
}

} // namespace

std::vector<Text_Line> help_lines(std::size_t width) {
    std::vector<Text_Line> lines;
    for (const Help &help : KEYS) {
        lines.push_back(help_line(help.key, Style::key, help.meaning, width));
    }
    lines.emplace_back(width);
    for (const Meaning_Of_Glyph &meaning : glyph_meanings(true)) {
        lines.push_back(help_line(meaning.glyph, meaning.style, meaning.explanation, width));
    }
    for (const Help &help : REMARKS) {
        lines.push_back(help_line(help.key, Style::heading, help.meaning, width));
    }
    return lines;
}

} // namespace hbctl
