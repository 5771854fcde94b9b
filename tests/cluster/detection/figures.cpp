// SPDX-License-Identifier: Apache-2.0
#include "tests/cluster/detection/figures.h"

#include <algorithm>
#include <iomanip>
#include <sstream>

namespace hb_test {
namespace {

double median(const std::vector<double> &sorted) {
    const std::size_t middle = sorted.size() / 2;
    return sorted.size() % 2 == 1 ? sorted[middle] : (sorted[middle - 1] + sorted[middle]) / 2;
}

std::string spread(std::vector<double> values, int decimals, const std::string &unit) {
    if (values.empty()) {
        return "-";
    }
    std::sort(values.begin(), values.end());
    std::ostringstream text;
    text << std::fixed << std::setprecision(decimals) << median(values) << " (" << values.front() << " to "
         << values.back() << ')' << unit;
    return text.str();
}

std::string line(const std::vector<std::string> &cells) {
    std::string text = "|";
    for (const std::string &cell : cells) {
        text += " " + cell + " |";
    }
    return text + "\n";
}

} // namespace

std::string in_seconds(std::vector<double> times) {
    return spread(std::move(times), 2, "");
}

std::string in_milliseconds(std::vector<double> times) {
    for (double &time : times) {
        time *= 1000;
    }
    return spread(std::move(times), 1, " ms");
}

std::string markdown(const std::vector<std::vector<std::string>> &rows) {
    std::string table;
    for (const std::vector<std::string> &row : rows) {
        table += line(row);
        if (&row == &rows.front()) {
            table += "|";
            for (std::size_t column = 0; column < row.size(); ++column) {
                table += "---|";
            }
            table += "\n";
        }
    }
    return table;
}

} // namespace hb_test
