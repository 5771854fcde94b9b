// SPDX-License-Identifier: Apache-2.0
// Loading the largest configuration, beside two of the standard library's maps and beside a copy of its bytes.
#include <cstring>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "bench/comparison/clocks.h"
#include "bench/rows.h"
#include "bench/sample_cluster.h"
#include "lib/hb_communication/configuration_load.h"
#include "lib/hb_global_data/node_table.h"

namespace {

using namespace comparison;

struct Address_Hash {
    std::size_t operator()(const Hb_IP_address6 &address) const {
        return std::hash<std::string_view>()({reinterpret_cast<const char *>(&address), sizeof address});
    }
};

struct Address_Equal {
    bool operator()(const Hb_IP_address6 &a, const Hb_IP_address6 &b) const {
        return std::memcmp(&a, &b, sizeof a) == 0;
    }
};

// Checks the record, loads it and builds the node table. Each load also frees the previous one.
double load(const std::vector<char> &record) {
    return seconds_per_call([&] {
        const auto view = hb_view_snapshot(record);
        if (!view || !hb_load_snapshot(*view)) {
            throw std::runtime_error("the snapshot was not loaded");
        }
        hb_init_global_node_tbl();
    });
}

double copy_message() {
    const std::vector<char> &record = sample_configuration_record();
    std::vector<char> copy(record.size());
    return seconds_per_call([&] {
        std::memcpy(copy.data(), record.data(), record.size());
        keep(copy.data());
    });
}

double build_two_maps() {
    const char *adapters =
        sample_configuration_record().data() + HB_REPLY_HEADER_SIZE + sizeof(Hb_Snapshot_Header);
    return seconds_per_call([adapters] {
        const std::unique_ptr<Hb_Adapter_Entry[]> entries(new Hb_Adapter_Entry[SAMPLE_ADAPTERS]);
        std::memcpy(entries.get(), adapters, SAMPLE_ADAPTERS * sizeof(Hb_Adapter_Entry));
        std::unordered_map<Hb_Adapter_Number, Hb_Adapter_Entry *> by_number;
        std::unordered_map<Hb_IP_address6, Hb_Adapter_Entry *, Address_Hash, Address_Equal> by_address;
        by_number.reserve(SAMPLE_ADAPTERS);
        by_address.reserve(SAMPLE_ADAPTERS);
        for (int i = 0; i < SAMPLE_ADAPTERS; ++i) {
            by_number.emplace(entries[i].Hb_adapter_num, &entries[i]);
            by_address.emplace(entries[i].Hb_ip_address, &entries[i]);
        }
        keep(&by_number);
        keep(&by_address);
    });
}

Row load_row(const char *beside, const char *why, double (*peer)(), std::optional<double> target) {
    Row row;
    row.work = "loading 98,352 adapters";
    row.beside = beside;
    row.why = why;
    row.target = target;
    row.is_quick = target == std::nullopt; // half the target is too near to what the hash tables permit
    row.prepare = [peer] { return Sides{[] { return load(sample_configuration_record()); }, peer}; };
    return row;
}

} // namespace

std::vector<Row> load_rows() {
    return {load_row("two reserved `std::unordered_map`",
                     "the plain way to find adapters by number and by address", build_two_maps, 2.5),
            load_row("a copy of the message", "each byte is touched once", copy_message, {})};
}

std::vector<Growth> load_growth() {
    return {{"load", "1,536 adapters", Cost::processor_time, [](int size) {
                 const auto record = std::make_shared<std::vector<char>>(configuration_record_of(32 * size));
                 return [record] { return load(*record); };
             }}};
}
