// SPDX-License-Identifier: Apache-2.0
#include "tools/hbctl/top/render_top.h"

#include <algorithm>
#include <utility>

#include "tools/hbctl/plain_text.h"
#include "tools/hbctl/top/help_text.h"
#include "tools/hbctl/top/node_grid.h"
#include "tools/hbctl/top/node_list.h"
#include "tools/hbctl/top/text_columns.h"

namespace hbctl {
namespace {

// From this width on, the state of the daemon and the counts share a line.
constexpr std::size_t ONE_STATUS_LINE = 72;
// With fewer rows, nothing stands over the columns of the grid.
constexpr std::size_t ROWS_FOR_HEADS = 12;
constexpr std::size_t MOST_EVENT_ROWS_BESIDE_A_FULL_GRID = 8;
constexpr std::size_t KIND_COLUMNS = 14;
constexpr std::size_t WIDEST_ENTRY = 140; // columns, with the failure identifier

std::string clock_of(Wall_Time time) {
    return clock_text(time).substr(0, 8); // without milliseconds
}

std::string two_units(std::int64_t large, const char *large_unit, std::int64_t small, const char *small_unit) {
    return std::to_string(large) + " " + large_unit + " " + std::to_string(small) + " " + small_unit;
}

// "3 d 4 h", "5 min 2 s"
std::string length_text(Wall_Time begin, Wall_Time end) {
    const std::int64_t seconds =
        std::max<std::int64_t>(0, std::chrono::duration_cast<std::chrono::seconds>(end - begin).count());
    if (seconds >= 86'400) {
        return two_units(seconds / 86'400, "d", seconds % 86'400 / 3600, "h");
    }
    if (seconds >= 3600) {
        return two_units(seconds / 3600, "h", seconds % 3600 / 60, "min");
    }
    return seconds >= 60 ? two_units(seconds / 60, "min", seconds % 60, "s") : std::to_string(seconds) + " s";
}

bool is_fresh(const Top_Model &model, const Moment &now) {
    return model.contact(now) == Contact::connected;
}

// ---- The first lines ----

std::string local_node_text(const Top_Model &model) {
    const int local = model.picture().local_node;
    if (local < 0) {
        return "";
    }
    const std::string name = model.name_of(local);
    return "node " + std::to_string(local) + (name.empty() ? "" : " " + name);
}

// wispd follows an engine, or the file alone.
bool has_engine(const Daemon_Facts &facts) {
    return !facts.engine.empty() && facts.engine != "none";
}

Text_Line title_line(const Top_Model &model, std::size_t width, const Moment &now) {
    const Daemon_Facts &facts = model.facts();
    Text_Line line(width);
    line.add(" ", Style::title);
    line.add(facts.cluster.empty() ? "hbctl top" : facts.cluster, Style::title);
    const std::string local = local_node_text(model);
    line.add(local.empty() ? "" : " · " + local, Style::title);
    // What fits, from the right: the clock first.
    std::string right = clock_of(now.wall) + " ";
    std::vector<std::string> more;
    const bool fresh = is_fresh(model, now);
    if (fresh && !facts.version.empty()) {
        more.push_back("wispd " + facts.version +
                       (facts.started ? ", up " + length_text(*facts.started, now.wall) : ""));
    }
    if (fresh && has_engine(facts)) {
        more.push_back("engine " + facts.engine);
    }
    for (const std::string &text : more) {
        const std::string longer = text + " · " + right;
        right = width_of(longer) + 2 <= line.left() ? longer : right;
    }
    line.add_at_right(right, Style::title, 1);
    line.move_to(width, Style::title);
    return line;
}

struct Badge {
    std::string text;
    Style style;
};

Badge badge_of(const Top_Model &model, const Moment &now) {
    switch (model.contact(now)) {
    case Contact::connected:
        return {" ● connected ", Style::good_badge};
    case Contact::silent:
        return {" ✗ no answer since " + clock_of(model.since()) + " ", Style::bad_badge};
    case Contact::disconnected:
        return {" ✗ reconnecting since " + clock_of(model.since()) + " ", Style::warning_badge};
    case Contact::connecting:
        break;
    }
    return {" ○ connecting ", Style::warning_badge};
}

// One of the counts, for instance "nodes 4 of 5 up".
struct Figure {
    std::string name;
    std::string short_name;
    std::size_t up = 0;
    std::size_t all = 0;
    bool known = true;
};

std::vector<Figure> figures_of(const Top_Summary &summary) {
    const Counts &counts = summary.counts;
    return {{"nodes", "n", counts.nodes_up, counts.nodes, counts.nodes_known},
            {"adapters", "a", counts.adapters_up, counts.adapters, counts.adapters_known},
            {"networks", "net", summary.networks_up, summary.networks.size(), counts.adapters_known}};
}

enum class Wording { full, middle, brief };

std::string value_of(const Figure &figure, Wording wording) {
    const std::string up = figure.known ? std::to_string(figure.up) : "?";
    return wording == Wording::full ? up + " of " + std::to_string(figure.all) + " up"
                                    : up + "/" + std::to_string(figure.all);
}

std::string name_of(const Figure &figure, Wording wording) {
    return (wording == Wording::brief ? figure.short_name : figure.name) + " ";
}

void add_figures(const std::vector<Figure> &figures, bool fresh, Text_Line &line) {
    const auto gap = [](Wording wording) -> std::size_t { return wording == Wording::full ? 3 : 2; };
    const auto columns = [&](Wording wording) {
        std::size_t sum = gap(wording) * (figures.size() - 1);
        for (const Figure &figure : figures) {
            sum += name_of(figure, wording).size() + value_of(figure, wording).size();
        }
        return sum;
    };
    const Wording wording = columns(Wording::full) <= line.left()     ? Wording::full
                            : columns(Wording::middle) <= line.left() ? Wording::middle
                                                                      : Wording::brief;
    std::string between;
    for (const Figure &figure : figures) {
        const bool all_up = figure.known && figure.up == figure.all;
        const Style style = !fresh          ? Style::stale
                            : !figure.known ? Style::mixed
                            : all_up        ? Style::up
                                            : Style::down;
        line.add(between).add(name_of(figure, wording), Style::faint).add(value_of(figure, wording), style);
        between = std::string(gap(wording), ' ');
    }
}

std::vector<Text_Line> status_lines(const Top_Model &model, const Top_Summary &summary, std::size_t width,
                                    const Moment &now) {
    std::vector<Text_Line> lines{Text_Line(width)};
    const Badge badge = badge_of(model, now);
    lines.front().add(badge.text, badge.style);
    const Daemon_Facts &facts = model.facts();
    if (is_fresh(model, now) && has_engine(facts) && facts.engine != "connected") {
        lines.front().add(" ").add(" ✗ engine " + facts.engine + " ", Style::bad_badge);
    }
    if (width < ONE_STATUS_LINE) {
        lines.emplace_back(width);
    }
    lines.back().add(width < ONE_STATUS_LINE ? " " : "   ");
    add_figures(figures_of(summary), is_fresh(model, now), lines.back());
    return lines;
}

// ---- Rules and texts ----

// Of a rule beside its two texts.
constexpr std::size_t RULE_COLUMNS = 7;

Text_Line rule_line(const std::string &label, const std::string &right, std::size_t width) {
    Text_Line line(width);
    line.add("─ ", Style::rule).add(label, Style::heading).add(" ", Style::rule);
    const bool fits = !right.empty() && width_of(right) + 4 <= line.left();
    const std::size_t dashes = line.left() - (fits ? width_of(right) + 4 : 0);
    std::string rule;
    for (std::size_t i = 0; i < dashes; ++i) {
        rule += "─";
    }
    line.add(rule, Style::rule);
    if (fits) {
        line.add(" ").add(right, Style::heading).add(" ──", Style::rule);
    }
    return line;
}

std::string part_text(std::size_t first, std::size_t last, std::size_t all, bool is_brief) {
    return std::to_string(first) + "-" + std::to_string(last) + (is_brief ? "/" : " of ") + std::to_string(all);
}

// Which of the chosen nodes are on the screen, if not all, and how many of all nodes were chosen.
std::string position_text(const Node_Grid &grid, std::size_t chosen, std::size_t all, bool is_brief) {
    const Scroll_Range &range = grid.range;
    std::string text;
    if (range.shown < range.rows) {
        text = part_text(range.first * grid.columns + 1,
                         std::min(chosen, (range.first + range.shown) * grid.columns), chosen, is_brief);
    } else if (chosen < all) {
        text = std::to_string(chosen) + (is_brief ? "/" : " of ") + std::to_string(all);
    }
    if (range.networks_shown < range.networks) {
        text += text.empty() ? "" : ", ";
        text += is_brief ? "net " : "networks ";
        text += part_text(range.first_network + 1, range.first_network + range.networks_shown, range.networks,
                          is_brief);
    }
    return text;
}

std::string choice_text(const Top_View &view) {
    std::string text;
    const auto add = [&text](const std::string &part) { text += (text.empty() ? "" : " · ") + part; };
    if (view.filter != Filter::all) {
        add(filter_name(view.filter) + " only");
    }
    if (!view.search.empty()) {
        add("search " + view.search);
    }
    if (view.sort != Sort::number) {
        add("by " + sort_name(view.sort));
    }
    return text;
}

Text_Line grid_rule(const Top_View &view, const Node_Grid &grid, std::size_t chosen, std::size_t all,
                    std::size_t width) {
    const std::string choice = choice_text(view);
    const std::string label = choice.empty() ? "nodes" : "nodes: " + choice;
    const std::string position = position_text(grid, chosen, all, false);
    const bool fits = width_of(label) + width_of(position) + RULE_COLUMNS <= width;
    return rule_line(label, fits ? position : position_text(grid, chosen, all, true), width);
}

Text_Line note_line(const std::string &text, Style style, std::size_t width) {
    Text_Line line(width);
    line.add("  ").add(text, style);
    return line;
}

// What stands in place of a grid without nodes.
Text_Line empty_grid_line(const Top_Model &model, const Top_View &view, bool fresh, std::size_t width) {
    if (!model.was_connected()) {
        return note_line(model.obstacle().empty() ? "connecting to wispd at " + model.socket()
                                                  : model.obstacle(),
                         Style::plain, width);
    }
    if (!view.search.empty()) {
        return note_line("no node has this number or name (Esc shows all)", Style::mixed, width);
    }
    if (view.filter == Filter::problems) {
        return note_line(fresh ? "no node or adapter is down" : "no node or adapter was down",
                         fresh ? Style::up : Style::stale, width);
    }
    return note_line("no nodes", Style::faint, width);
}

// ---- Events ----

Style style_of(Tone tone) {
    return tone == Tone::bad ? Style::bad : tone == Tone::good ? Style::good : Style::plain;
}

// Of another day than today, the date as well. It needs the columns of the milliseconds.
std::string entry_time(Wall_Time time, Wall_Time now, std::size_t width) {
    if (date_text(time) != date_text(now)) {
        return date_text(time) + " " + clock_of(time);
    }
    return width < ONE_STATUS_LINE ? clock_of(time) : clock_text(time);
}

// The entry, and its failure identifier in a line of its own where the first has no room for it.
std::vector<Text_Line> entry_lines(const Top_Entry &entry, const Moment &now, std::size_t width) {
    std::vector<Text_Line> lines{Text_Line(width)};
    Text_Line &line = lines.front();
    line.add(" " + entry_time(entry.time, now.wall, width), Style::faint);
    line.add(" ").add(width < ONE_STATUS_LINE ? entry.kind : fitted(entry.kind, KIND_COLUMNS),
                      style_of(entry.tone));
    line.add(" ");
    const std::size_t who = line.used();
    line.add(entry.who);
    const std::size_t id = width_of(entry.ffdc_id);
    const bool id_fits = id > 0 && line.left() > id;
    const std::size_t taken = id_fits ? id + 2 : 0;
    if (!entry.detail.empty() && line.left() >= width_of(entry.detail) + 2 + taken) {
        line.add("  ").add(entry.detail, Style::faint);
    }
    if (id_fits) {
        // On a very wide screen, the right edge is far from the rest.
        line.move_to(std::max(line.used() + 1, std::min(width, WIDEST_ENTRY) - std::min(width, id)));
        line.add(entry.ffdc_id, Style::mixed);
    } else if (id > 0) {
        lines.emplace_back(width);
        lines.back().move_to(std::min(who, width - std::min(width, id))).add(entry.ffdc_id, Style::mixed);
    }
    return lines;
}

std::vector<Text_Line> event_lines(const Top_Model &model, const Moment &now, std::size_t width,
                                   std::size_t rows) {
    std::vector<Text_Line> lines;
    for (const Top_Entry &entry : model.entries()) {
        for (const Text_Line &line : entry_lines(entry, now, width)) {
            if (lines.size() < rows) {
                lines.push_back(line);
            }
        }
        if (lines.size() >= rows) {
            break;
        }
    }
    return lines;
}

// ---- The last line ----

void add_key(const std::string &key, const std::string &meaning, Text_Line &line) {
    if (width_of(key) + width_of(meaning) + 3 <= line.left()) {
        line.add(line.used() == 0 ? " " : "  ").add(key, Style::key).add(" " + meaning, Style::faint);
    }
}

Text_Line meanings_line(bool fresh, std::size_t width) {
    Text_Line line(width);
    for (const Meaning_Of_Glyph &meaning : glyph_meanings(fresh)) {
        if (width_of(meaning.glyph + meaning.meaning) + 3 < line.left()) {
            line.add("  ").add(meaning.glyph, meaning.style).add(" " + meaning.meaning, Style::faint);
        }
    }
    return line;
}

Text_Line key_line(const Top_View &view, const Scroll_Range &range, bool fresh, std::size_t width) {
    Text_Line line(width);
    if (view.typing) {
        line.add(" /", Style::key).add(view.search, Style::strong).add("_", Style::key);
        line.add("   Enter keeps it, Esc ends it", Style::faint);
        return line;
    }
    add_key("q", "quit", line);
    add_key("h", "help", line);
    add_key("f", view.filter == Filter::all ? "filter" : "filter: " + filter_name(view.filter), line);
    add_key("/", "search", line);
    add_key("s", "sort: " + sort_name(view.sort), line);
    if (range.networks_shown < range.networks) {
        add_key("←→", "networks", line);
    }
    const Text_Line meanings = meanings_line(fresh, line.left());
    line.move_to(width - meanings.used() - 1);
    for (const Span &span : meanings.spans()) {
        line.add(span.text, span.style);
    }
    return line;
}

// ---- The whole ----

void append(std::vector<Text_Line> more, std::vector<Text_Line> &lines) {
    std::move(more.begin(), more.end(), std::back_inserter(lines));
}

// The first lines, and what the parts below them need.
struct Frame_Parts {
    const Top_Model &model;
    const Top_View &view;
    Top_Summary summary;
    std::vector<const Node_Row *> nodes;
    bool fresh;
    std::size_t width;
    Frame frame;

    Frame_Parts(const Top_Model &the_model, const Top_View &the_view, std::size_t columns, const Moment &now)
        : model(the_model), view(the_view), summary(summarize(model.picture())),
          nodes(chosen_nodes(model, view)), fresh(is_fresh(model, now)), width(columns) {
        frame.lines.push_back(title_line(model, width, now));
        append(status_lines(model, summary, width, now), frame.lines);
    }

    Node_Grid grid(std::size_t height, bool heads) const {
        return grid_of(model, summary, nodes,
                       {width, height, view.scroll, view.first_network, fresh, heads && !nodes.empty()});
    }

    void add_grid(Node_Grid grid) {
        frame.lines.push_back(grid_rule(view, grid, nodes.size(), model.picture().nodes.size(), width));
        append(std::move(grid.heads), frame.lines);
        append(std::move(grid.rows), frame.lines);
        if (nodes.empty()) {
            frame.lines.push_back(empty_grid_line(model, view, fresh, width));
        }
        frame.range = grid.range;
    }
};

void add_help(const Top_View &view, std::size_t rows, std::size_t width, Frame &frame) {
    const std::vector<Text_Line> help = help_lines(width);
    const std::size_t shown = std::min(rows, help.size());
    const std::size_t first = std::min(view.scroll, help.size() - shown);
    frame.range.rows = help.size();
    frame.range.shown = shown;
    frame.range.first = first;
    frame.lines.push_back(rule_line("help", shown < help.size() ? "↑↓ scroll" : "", width));
    for (std::size_t row = first; row < first + shown; ++row) {
        frame.lines.push_back(help[row]);
    }
}

// The grid gets what it needs, and the events the rest. If it needs more than there is, the events get a part of it.
void add_grid_and_events(std::size_t rows, std::size_t height, const Moment &now, Frame_Parts &parts) {
    const bool heads = height >= ROWS_FOR_HEADS;
    const std::size_t least = std::clamp<std::size_t>(rows / 4, 1, MOST_EVENT_ROWS_BESIDE_A_FULL_GRID);
    Node_Grid grid = parts.grid(rows > least ? rows - least : 1, heads);
    const std::size_t used = std::max<std::size_t>(1, grid.heads.size() + grid.rows.size());
    parts.add_grid(std::move(grid));
    parts.frame.lines.push_back(rule_line("events", "", parts.width));
    append(event_lines(parts.model, now, parts.width, rows > used ? rows - used : 0), parts.frame.lines);
}

} // namespace

Frame screen_frame(const Top_Model &model, const Top_View &view, const Frame_Size &size, const Moment &now) {
    Frame_Parts parts(model, view, size.columns, now);
    std::vector<Text_Line> &lines = parts.frame.lines;
    const std::size_t fixed = lines.size() + 3; // two rules and the keys
    const std::size_t rows = size.rows > fixed ? size.rows - fixed : 1;
    if (view.help) {
        add_help(view, rows + 1, size.columns, parts.frame);
    } else {
        add_grid_and_events(rows, size.rows, now, parts);
    }
    const std::size_t above_keys = size.rows > 0 ? size.rows - 1 : 0;
    lines.resize(above_keys, Text_Line(size.columns));
    if (size.rows > 0) {
        lines.push_back(key_line(view, parts.frame.range, parts.fresh, size.columns));
    }
    return std::move(parts.frame);
}

Frame plain_frame(const Top_Model &model, const Frame_Size &size, const Moment &now) {
    const Top_View view;
    Frame_Parts parts(model, view, size.columns, now);
    const std::size_t fixed = parts.frame.lines.size() + 2; // a rule and the meanings
    const std::size_t height = size.rows == 0 ? 0 : size.rows > fixed ? size.rows - fixed : 1;
    parts.add_grid(parts.grid(height, size.rows == 0 || size.rows >= ROWS_FOR_HEADS));
    parts.frame.lines.push_back(meanings_line(parts.fresh, size.columns));
    return std::move(parts.frame);
}

} // namespace hbctl
