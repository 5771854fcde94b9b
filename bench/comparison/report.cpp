// SPDX-License-Identifier: Apache-2.0
#include "bench/comparison/report.h"

#include <array>
#include <cmath>
#include <cstdio>

namespace comparison {

namespace {

std::string number(double value) {
    std::array<char, 32> text{};
    if (std::abs(value) < 100) {
        std::snprintf(text.data(), text.size(), "%.3g", value);
    } else {
        std::snprintf(text.data(), text.size(), "%.0f", value);
    }
    return text.data();
}

std::string amount(double value, Cost cost) {
    struct Unit {
        double size;
        const char *name;
    };
    static constexpr std::array<Unit, 3> bytes{{{1e6, "MB"}, {1e3, "kB"}, {1, "B"}}};
    static constexpr std::array<Unit, 4> seconds{{{1, "s"}, {1e-3, "ms"}, {1e-6, "µs"}, {1e-9, "ns"}}};
    const auto in_units = [value](const auto &units) {
        for (const Unit &unit : units) {
            if (value >= unit.size) {
                return number(value / unit.size) + " " + unit.name;
            }
        }
        return number(value / units.back().size) + " " + units.back().name;
    };
    return cost == Cost::bytes ? in_units(bytes) : in_units(seconds);
}

const char *name_of(Ratio ratio) {
    return ratio == Ratio::rate ? "rate of" : "cost of";
}

const char *name_of(Cost cost) {
    switch (cost) {
    case Cost::processor_time:
        return "processor time";
    case Cost::wall_time:
        return "wall time";
    default:
        return "bytes";
    }
}

const char *name_of(Verdict verdict) {
    switch (verdict) {
    case Verdict::met:
        return "met";
    case Verdict::missed:
        return "MISSED";
    case Verdict::not_measured:
        return "NOT MEASURED";
    default:
        return "for information";
    }
}

std::string target_of(const Row &row) {
    if (!row.target) {
        return "for information";
    }
    return (row.ratio == Ratio::rate ? "at least " : "at most ") + number(*row.target);
}

std::string cell_of(const Figure &figure) {
    if (!figure.fault.empty()) {
        return "–";
    }
    return number(figure.ratio) + (figure.is_certain ? "" : " ± " + number(figure.spread * 100) + " %");
}

} // namespace

std::string heading_of(const Row &row) {
    return row.work + ", " + name_of(row.ratio) + " " + row.beside + ": " + target_of(row);
}

std::string line_of(const Row &row, const Figure &figure) {
    std::string line = heading_of(row) + "\n      ";
    if (!figure.fault.empty()) {
        return line + "NOT MEASURED: " + figure.fault;
    }
    line += number(figure.ratio) + " ± " + number(figure.spread * 100) + " %, " +
            std::to_string(figure.rounds) + " rounds, " + amount(figure.subject, row.cost) + " and " +
            amount(figure.peer, row.cost) + " of " + name_of(row.cost);
    if (!figure.is_certain) {
        line += "; the wanted spread was not reached";
    }
    const Verdict verdict = judge(row, figure);
    return verdict == Verdict::information ? line : line + ": " + name_of(verdict);
}

std::string markdown_table(const std::vector<Row> &rows, const std::vector<std::vector<Figure>> &results) {
    const std::size_t runs = results.empty() ? 0 : results.front().size();
    std::string head = "| work | beside | why that is the limit | measured | target |";
    std::string rule = "|---|---|---|---|---|";
    for (std::size_t run = 1; run <= runs; ++run) {
        head += " run " + std::to_string(run) + " |";
        rule += "---|";
    }
    std::string table = head + " verdict |\n" + rule + "---|\n";
    for (std::size_t i = 0; i < rows.size(); ++i) {
        const Row &row = rows[i];
        table += "| " + row.work + " | " + row.beside + " | " + row.why + " | " +
                 (row.ratio == Ratio::rate ? "rate, " : "cost, ") + name_of(row.cost) + " | " + target_of(row) +
                 " |";
        for (const Figure &figure : results[i]) {
            table += " " + cell_of(figure) + " |";
        }
        table += std::string(" ") + name_of(judge(row, results[i])) + " |\n";
    }
    return table;
}

} // namespace comparison
