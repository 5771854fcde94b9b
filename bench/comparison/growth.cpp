// SPDX-License-Identifier: Apache-2.0
#include "bench/comparison/growth.h"

#include <ostream>

namespace comparison {

std::vector<Row> rows_of(const Growth &growth) {
    std::vector<Row> rows;
    for (std::size_t step = 1; step < GROWTH_SIZES.size(); ++step) {
        const int small = GROWTH_SIZES[step - 1];
        const int large = GROWTH_SIZES[step];
        Row row;
        row.work = growth.line + ", " + std::to_string(large) + " times " + growth.unit;
        row.beside = std::to_string(small) + " times";
        row.why = "four times the work";
        row.ratio = Ratio::cost;
        row.cost = growth.cost;
        row.target = GROWTH_LIMIT;
        row.prepare = [prepare = growth.prepare, small, large] {
            return Sides{prepare(large), prepare(small)};
        };
        rows.push_back(row);
    }
    return rows;
}

void write_growth(std::ostream &out, const Growth &growth, const std::vector<Figure> &figures) {
    double cost = figures.at(0).peer;
    for (std::size_t i = 0; i < GROWTH_SIZES.size(); ++i) {
        cost *= i == 0 ? 1 : figures.at(i - 1).ratio;
        out << growth.line << ' ' << GROWTH_SIZES[i] << ' ' << cost << '\n';
    }
}

} // namespace comparison
