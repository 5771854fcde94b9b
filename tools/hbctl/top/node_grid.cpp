// SPDX-License-Identifier: Apache-2.0
#include "tools/hbctl/top/node_grid.h"

#include <algorithm>
#include <optional>

#include "tools/hbctl/top/text_columns.h"

namespace hbctl {
namespace {

constexpr std::size_t MARKER_COLUMNS = 2;
constexpr std::size_t HEADING_COLUMNS = 4;    // "NODE"
constexpr std::size_t STATE_COLUMNS = 8;      // "was down"
constexpr std::size_t WORD_COLUMNS = 6;       // "✗ down"
constexpr std::size_t LONGEST_NAME = 24;      // columns
constexpr std::size_t LONGEST_TILE_NAME = 16; // columns
constexpr std::size_t CELL_GAP = 3;
constexpr std::size_t TILE_GAP = 2;
// Without a limit of lines, more nodes than this stand in tiles.
constexpr std::size_t MOST_DETAILED = 64;

std::string glyph_of(Cell cell, bool fresh) {
    switch (cell) {
    case Cell::up:
        return fresh ? "●" : "○";
    case Cell::down:
        return "✗";
    case Cell::mixed:
        return "◐";
    case Cell::unknown:
        return "?";
    case Cell::none:
        break;
    }
    return "·";
}

Style style_of(Cell cell, bool fresh) {
    if (cell == Cell::none) {
        return Style::faint;
    }
    if (!fresh) {
        return Style::stale;
    }
    return cell == Cell::up ? Style::up : cell == Cell::down ? Style::down : Style::mixed;
}

std::string word_of(Cell cell) {
    switch (cell) {
    case Cell::up:
        return " up";
    case Cell::down:
        return " down";
    case Cell::mixed:
        return " part";
    case Cell::unknown:
    case Cell::none:
        break;
    }
    return "";
}

std::string state_word(Cell cell, bool fresh) {
    if (cell == Cell::unknown) {
        return "unknown";
    }
    return (fresh ? "" : "was ") + std::string(cell == Cell::up ? "up" : "down");
}

std::string share(std::size_t up, std::size_t all) {
    return std::to_string(up) + "/" + std::to_string(all);
}

std::string share_of(const Network_Summary &network) {
    const bool is_known = network.up + network.down == network.adapters;
    return is_known ? share(network.up, network.adapters) : "?/" + std::to_string(network.adapters);
}

std::string heading_of(const Network_Summary &network) {
    return network.name + " " + share_of(network);
}

std::string address_text_of(const Node_Cell &cell, bool fresh) {
    const std::string glyph = glyph_of(cell.state, fresh);
    const bool has_address = cell.adapter != nullptr && !cell.adapter->address.empty();
    return has_address ? glyph + " " + cell.adapter->address : glyph + word_of(cell.state);
}

std::string word_text_of(const Node_Cell &cell, bool fresh) {
    return glyph_of(cell.state, fresh) + word_of(cell.state);
}

// What is common to both forms.
class Grid_Parts {
  public:
    Grid_Parts(const Top_Model &the_model, const Top_Summary &the_summary,
               const std::vector<const Node_Row *> &the_nodes, const Grid_Place &the_place)
        : model(the_model), summary(the_summary), nodes(the_nodes), place(the_place) {
        for (const Node_Row &node : model.picture().nodes) {
            number_columns = std::max(number_columns, std::to_string(node.number).size());
        }
        for (const auto &[number, name] : model.facts().nodes) {
            name_columns = std::max(name_columns, std::min(width_of(name), LONGEST_NAME));
        }
    }

    void add_node(const Node_Row &node, std::size_t name_limit, Text_Line &line) const {
        const Style style = place.fresh && node.state == Liveness::down ? Style::down
                            : node.local                                ? Style::strong
                                                                        : Style::plain;
        line.add(node.local ? "▸ " : "  ", Style::strong);
        line.add(fitted(std::to_string(node.number), number_columns, Align::right), style);
        if (name_columns > 0) {
            line.add(" ").add(fitted(model.name_of(node.number), std::min(name_columns, name_limit)), style);
        }
    }

    // The columns of add_node.
    std::size_t node_columns(std::size_t name_limit) const {
        return MARKER_COLUMNS + number_columns +
               (name_columns > 0 ? 1 + std::min(name_columns, name_limit) : 0);
    }

    const Top_Model &model;
    const Top_Summary &summary;
    const std::vector<const Node_Row *> &nodes;
    const Grid_Place &place;
    std::size_t number_columns = 1;
    std::size_t name_columns = 0;
};

// ---- One node a line ----

using Cell_Text = std::string (*)(const Node_Cell &, bool);

struct Detailed_Form {
    Cell_Text text;
    bool shares;                     // "4/5" in the headings
    std::vector<std::size_t> widths; // of each network's column
};

// Behind the state, or behind another cell.
std::size_t gap_before(std::size_t cell) {
    return cell == 0 ? CELL_GAP - 1 : CELL_GAP;
}

std::size_t form_columns(const Detailed_Form &form, const Grid_Parts &parts) {
    std::size_t columns = parts.node_columns(LONGEST_NAME) + CELL_GAP + STATE_COLUMNS;
    for (std::size_t i = 0; i < form.widths.size(); ++i) {
        columns += gap_before(i) + form.widths[i];
    }
    return columns;
}

Detailed_Form word_form(bool shares, const Grid_Parts &parts) {
    Detailed_Form form{word_text_of, shares, {}};
    for (const Network_Summary &network : parts.summary.networks) {
        form.widths.push_back(std::max(WORD_COLUMNS, width_of(shares ? heading_of(network) : network.name)));
    }
    return form;
}

Detailed_Form address_form(const Grid_Parts &parts) {
    Detailed_Form form = word_form(true, parts);
    form.text = address_text_of;
    for (const Node_Row *node : parts.nodes) {
        const std::vector<Node_Cell> cells = cells_of(*node, parts.model.picture());
        for (std::size_t i = 0; i < cells.size(); ++i) {
            form.widths[i] = std::max(form.widths[i], width_of(address_text_of(cells[i], true)));
        }
    }
    return form;
}

// The form with the most in it that fits.
std::optional<Detailed_Form> detailed_form(const Grid_Parts &parts) {
    const auto fits = [&](const Detailed_Form &form) { return form_columns(form, parts) <= parts.place.width; };
    const Detailed_Form words = word_form(true, parts);
    if (fits(words)) {
        const Detailed_Form addresses = address_form(parts);
        return fits(addresses) ? addresses : words;
    }
    const Detailed_Form narrow = word_form(false, parts);
    return fits(narrow) ? std::optional(narrow) : std::nullopt;
}

Text_Line detailed_head(const Detailed_Form &form, const Grid_Parts &parts) {
    Text_Line line(parts.place.width);
    const std::size_t columns = parts.node_columns(LONGEST_NAME);
    line.add(fitted("  NODE", columns), Style::heading);
    line.move_to(columns + CELL_GAP, Style::heading);
    line.add(fitted("STATE", STATE_COLUMNS), Style::heading);
    for (std::size_t i = 0; i < form.widths.size(); ++i) {
        const Network_Summary &network = parts.summary.networks[i];
        const bool alarm = parts.place.fresh && network.down > 0;
        line.add(std::string(gap_before(i), ' '), Style::heading);
        line.add(network.name, alarm && !form.shares ? Style::down : Style::heading);
        if (form.shares) {
            line.add(" ", Style::heading);
            line.add(share_of(network), alarm ? Style::down : Style::heading);
        }
        const std::size_t used = width_of(form.shares ? heading_of(network) : network.name);
        line.add(std::string(form.widths[i] - used, ' '), Style::heading);
    }
    return line;
}

Text_Line detailed_row(const Node_Row &node, const Detailed_Form &form, const Grid_Parts &parts) {
    const bool fresh = parts.place.fresh;
    Text_Line line(parts.place.width);
    parts.add_node(node, LONGEST_NAME, line);
    line.move_to(parts.node_columns(LONGEST_NAME) + CELL_GAP);
    line.add(fitted(state_word(state_cell(node), fresh), STATE_COLUMNS), style_of(state_cell(node), fresh));
    const std::vector<Node_Cell> cells = cells_of(node, parts.model.picture());
    for (std::size_t i = 0; i < cells.size(); ++i) {
        line.add(std::string(gap_before(i), ' '))
            .add(fitted(form.text(cells[i], fresh), form.widths[i]), style_of(cells[i].state, fresh));
    }
    return line;
}

// ---- Several nodes a line ----

// The sizes of one node's tile: marker, number, name, state, and a character for each network.
struct Tile {
    std::size_t columns = 0;
    std::size_t per_line = 1;
    std::size_t networks = 0; // that are shown
    std::size_t count = 0;    // columns of "45/48", if there are more networks
};

std::size_t share_columns(const Picture &picture) {
    std::size_t most = 0;
    for (const Node_Row &node : picture.nodes) {
        most = std::max(most, node.adapters.size());
    }
    return share(most, most).size();
}

Tile tile_of(const Grid_Parts &parts) {
    Tile tile;
    const std::size_t all = parts.summary.networks.size();
    const std::size_t base = parts.node_columns(LONGEST_TILE_NAME) + 2; // with the state
    tile.networks = all;
    tile.columns = base + (all > 0 ? 1 + all : 0);
    if (tile.columns > parts.place.width) {
        tile.count = share_columns(parts.model.picture());
        const std::size_t taken = base + 1 + tile.count + 1;
        tile.networks = parts.place.width > taken ? std::min(all, parts.place.width - taken) : 0;
        tile.columns = parts.place.width;
    }
    tile.per_line = std::max<std::size_t>(1, (parts.place.width + TILE_GAP) / (tile.columns + TILE_GAP));
    return tile;
}

std::size_t first_network(const Tile &tile, const Grid_Parts &parts) {
    return std::min(parts.place.first_network, parts.summary.networks.size() - tile.networks);
}

// Names the networks behind the digits; those with a problem first.
Text_Line networks_line(const Grid_Parts &parts) {
    Text_Line line(parts.place.width);
    line.add("  networks", Style::heading);
    std::vector<const Network_Summary *> networks;
    for (const Network_Summary &network : parts.summary.networks) {
        networks.push_back(&network);
    }
    std::stable_partition(networks.begin(), networks.end(),
                          [](const Network_Summary *network) { return network->down > 0; });
    for (const Network_Summary *network : networks) {
        const bool alarm = parts.place.fresh && network->down > 0;
        const std::string text = std::to_string(network->number) + " " + heading_of(*network);
        if (line.left() < width_of(text) + 4) {
            line.add("  …", Style::faint);
            break;
        }
        line.add("  ").add(text, alarm ? Style::down : parts.place.fresh ? Style::plain : Style::stale);
    }
    return line;
}

Text_Line tiles_head(const Tile &tile, const Grid_Parts &parts) {
    Text_Line line(parts.place.width);
    const std::size_t first = first_network(tile, parts);
    for (std::size_t i = 0; i < tile.per_line; ++i) {
        const std::size_t begin = i * (tile.columns + TILE_GAP);
        const std::size_t columns = parts.node_columns(LONGEST_TILE_NAME);
        line.move_to(begin, Style::heading);
        const std::string word = columns >= 6 ? "  NODE" : "  #";
        line.add(fitted(word, columns), Style::heading);
        line.move_to(begin + columns + 3, Style::heading);
        for (std::size_t at = first; at < first + tile.networks; ++at) {
            line.add(std::to_string(parts.summary.networks[at].number % 10), Style::heading);
        }
        if (tile.count > 0) {
            line.add(" " + fitted("UP", tile.count, Align::right), Style::heading);
        }
    }
    return line;
}

void add_tile(const Node_Row &node, const Tile &tile, const Grid_Parts &parts, Text_Line &line) {
    const bool fresh = parts.place.fresh;
    parts.add_node(node, LONGEST_TILE_NAME, line);
    line.add(" ").add(glyph_of(state_cell(node), fresh), style_of(state_cell(node), fresh)).add(" ");
    const std::vector<Node_Cell> cells = cells_of(node, parts.model.picture());
    const std::size_t first = first_network(tile, parts);
    for (std::size_t at = first; at < first + tile.networks; ++at) {
        line.add(glyph_of(cells[at].state, fresh), style_of(cells[at].state, fresh));
    }
    if (tile.count > 0) {
        const auto up = std::count_if(cells.begin(), cells.end(),
                                      [](const Node_Cell &cell) { return cell.state == Cell::up; });
        const auto all = std::count_if(cells.begin(), cells.end(),
                                       [](const Node_Cell &cell) { return cell.state != Cell::none; });
        line.add(" ").add(fitted(share(static_cast<std::size_t>(up), static_cast<std::size_t>(all)), tile.count,
                                 Align::right),
                          up < all ? style_of(Cell::down, fresh) : style_of(Cell::up, fresh));
    }
}

Text_Line tiles_row(std::size_t row, const Tile &tile, const Grid_Parts &parts) {
    Text_Line line(parts.place.width);
    for (std::size_t i = 0; i < tile.per_line && row * tile.per_line + i < parts.nodes.size(); ++i) {
        line.move_to(i * (tile.columns + TILE_GAP));
        add_tile(*parts.nodes[row * tile.per_line + i], tile, parts, line);
    }
    return line;
}

// ---- The choice between them ----

// Sets the range for so many rows, and adds those on the screen.
template <typename Make> void add_rows(std::size_t rows, const Grid_Place &place, Node_Grid &grid, Make make) {
    const std::size_t heads = grid.heads.size();
    const std::size_t room = place.height == 0 ? rows : place.height > heads ? place.height - heads : 0;
    grid.range.rows = rows;
    grid.range.shown = std::min(rows, room);
    grid.range.first = std::min(place.first_row, rows - grid.range.shown);
    for (std::size_t row = grid.range.first; row < grid.range.first + grid.range.shown; ++row) {
        grid.rows.push_back(make(row));
    }
}

Node_Grid detailed_grid(const Detailed_Form &form, const Grid_Parts &parts) {
    Node_Grid grid;
    if (parts.place.heads) {
        grid.heads.push_back(detailed_head(form, parts));
    }
    add_rows(parts.nodes.size(), parts.place, grid,
             [&](std::size_t row) { return detailed_row(*parts.nodes[row], form, parts); });
    grid.range.networks = grid.range.networks_shown = parts.summary.networks.size();
    return grid;
}

Node_Grid tiles_grid(const Tile &tile, const Grid_Parts &parts) {
    Node_Grid grid;
    if (parts.place.heads && !parts.summary.networks.empty()) {
        grid.heads.push_back(networks_line(parts));
    }
    if (parts.place.heads) {
        grid.heads.push_back(tiles_head(tile, parts));
    }
    grid.columns = tile.per_line;
    add_rows((parts.nodes.size() + tile.per_line - 1) / tile.per_line, parts.place, grid,
             [&](std::size_t row) { return tiles_row(row, tile, parts); });
    grid.range.networks = parts.summary.networks.size();
    grid.range.networks_shown = tile.networks;
    grid.range.first_network = first_network(tile, parts);
    return grid;
}

// Numbers alone are narrower than "NODE".
Grid_Parts with_room_for_heading(Grid_Parts parts) {
    parts.number_columns = std::max(parts.number_columns, parts.name_columns > 0 ? 1 : HEADING_COLUMNS);
    return parts;
}

bool fits_in_detail(const Grid_Parts &parts) {
    const std::size_t rows = parts.nodes.size();
    return parts.place.height == 0 ? rows <= MOST_DETAILED
                                   : rows + (parts.place.heads ? 1U : 0U) <= parts.place.height;
}

} // namespace

Node_Grid grid_of(const Top_Model &model, const Top_Summary &summary,
                  const std::vector<const Node_Row *> &nodes, const Grid_Place &place) {
    const Grid_Parts parts(model, summary, nodes, place);
    const Tile tile = tile_of(parts);
    if (fits_in_detail(parts) || tile.per_line == 1) {
        const Grid_Parts parts_in_detail = with_room_for_heading(parts);
        if (const std::optional<Detailed_Form> form = detailed_form(parts_in_detail)) {
            return detailed_grid(*form, parts_in_detail);
        }
    }
    return tiles_grid(tile, parts);
}

std::vector<Meaning_Of_Glyph> glyph_meanings(bool fresh) {
    const auto meaning = [fresh](Cell cell, const std::string &word, const std::string &explanation) {
        return Meaning_Of_Glyph{glyph_of(cell, fresh), word, explanation, style_of(cell, fresh)};
    };
    return {meaning(Cell::up, fresh ? "up" : "was up", "up"),
            meaning(Cell::down, fresh ? "down" : "was down", "down"),
            meaning(Cell::mixed, "part", "some adapters of the node on this network are up"),
            meaning(Cell::unknown, "unknown", "not reported yet"),
            meaning(Cell::none, "none", "no adapter on this network")};
}

} // namespace hbctl
