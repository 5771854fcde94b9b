// SPDX-License-Identifier: Apache-2.0
// hb_bench: the library and wispd, beside plain ways to do the same.
#include "bench/comparison/program.h"
#include "bench/rows.h"

namespace {

template <typename Item, typename... Parts> std::vector<Item> joined(const Parts &...parts) {
    std::vector<Item> all;
    (all.insert(all.end(), parts.begin(), parts.end()), ...);
    return all;
}

} // namespace

int main(int argc, char **argv) {
    using namespace comparison;
    const Program program{
        "hb_bench", "Compares the library and wispd with plain ways to do the same, in one run on one machine.",
        joined<Row>(event_rows(), query_rows(), load_rows(), table_rows(), opening_rows(), memory_rows(),
                    fan_out_rows(), mass_death_rows()),
        joined<Growth>(opening_growth(), load_growth(), table_growth(), event_growth(), query_growth(),
                       fan_out_growth(), mass_death_growth())};
    return run(program, argc, argv);
}
