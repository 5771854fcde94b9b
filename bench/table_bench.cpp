// SPDX-License-Identifier: Apache-2.0
// The comparison of configuration tables in cluster-event mode, beside a nested scan that finds the same
// differences. Also the making of an event, beside clearing its list once.
#include <cstring>
#include <memory>
#include <stdexcept>
#include <string>

#include "bench/comparison/clocks.h"
#include "bench/rows.h"
#include "lib/hb_global_data/table_swap.h"
#include "lib/mox/adapter_index.h"
#include "lib/mox/event_construction.h"
#include "lib/mox/table_comparison.h"

namespace {

using namespace comparison;

// A table of the given number of adapters, 48 on each node, all up.
class Sample_Table {
  public:
    explicit Sample_Table(int adapters) {
        hb_make_table_lists(table_, adapters);
        table_.Hb_adapters_per_node = HB_NETWORK_SLOTS;
        table_.Hb_num_adapters = adapters;
        for (int i = 0; i < adapters; ++i) {
            Hb_Adapter_Entry &entry = table_.Hb_global_adapter_list[i];
            entry = {};
            const std::string name = "eth" + std::to_string(i % HB_NETWORK_SLOTS);
            name.copy(entry.Hb_adapter_type, sizeof entry.Hb_adapter_type - 1);
            std::memcpy(&entry.Hb_ip_address, &i, sizeof i);
            entry.Hb_adapter_num = static_cast<Hb_Adapter_Number>(i);
            entry.Hb_state = Hb_Entity_Up;
        }
    }
    Sample_Table(const Sample_Table &) = delete;
    Sample_Table &operator=(const Sample_Table &) = delete;
    ~Sample_Table() { empty_global_config_table(&table_); }

    const Hb_Configuration_Internal &get() const { return table_; }

  private:
    Hb_Configuration_Internal table_{};
};

// Two tables with the same adapters: the longest search, because nothing differs.
class Identical_Tables {
  public:
    explicit Identical_Tables(int adapters) : one_(adapters), other_(adapters) {}

    // Compares in both directions, as after each event that changes the configuration.
    double compare() const {
        return seconds_per_call([this] {
            MOX_Event *gone = nullptr;
            MOX_Event *come = nullptr;
            MOX_missing_adapters(one_.get(), other_.get(), HB_EVENT_DEATH, &gone);
            MOX_missing_adapters(other_.get(), one_.get(), HB_EVENT_JOIN, &come);
            if (gone != nullptr || come != nullptr) {
                throw std::runtime_error("identical tables differ");
            }
        });
    }

    double scan() const {
        return seconds_per_call([this] {
            if (missing_by_scan(one_.get(), other_.get()) + missing_by_scan(other_.get(), one_.get()) != 0) {
                throw std::runtime_error("identical tables differ");
            }
        });
    }

  private:
    static bool is_same(const Hb_Configuration_Internal &one, const Hb_Adapter_Entry &a,
                        const Hb_Configuration_Internal &other, const Hb_Adapter_Entry &b) {
        return MOX_node_of(one, a) == MOX_node_of(other, b) &&
               std::strncmp(a.Hb_adapter_type, b.Hb_adapter_type, HB_ADAPTER_TYPE_SIZE) == 0 &&
               std::memcmp(&a.Hb_ip_address, &b.Hb_ip_address, sizeof a.Hb_ip_address) == 0;
    }

    static int missing_by_scan(const Hb_Configuration_Internal &one, const Hb_Configuration_Internal &other) {
        int missing = 0;
        for (int i = 0; i < one.Hb_num_adapters; ++i) {
            const Hb_Adapter_Entry &a = one.Hb_global_adapter_list[i];
            int j = 0;
            while (j < other.Hb_num_adapters && !is_same(one, a, other, other.Hb_global_adapter_list[j])) {
                ++j;
            }
            missing += j == other.Hb_num_adapters ? 1 : 0;
        }
        return missing;
    }

    const Sample_Table one_;
    const Sample_Table other_;
};

double make_adapter_event() {
    return seconds_per_call([] {
        MOX_Event *event = nullptr;
        MOX_construct_an_adapter_event(&event, HB_EVENT_DEATH, 97);
        keep(event);
        delete event;
    });
}

// Allocates memory of the same size and clears it once.
double clear_event_once() {
    return seconds_per_call([] {
        const std::unique_ptr<char[]> bytes(new char[sizeof(MOX_Event)]);
        std::memset(bytes.get(), 0xFF, sizeof(MOX_Event));
        keep(bytes.get());
    });
}

Row comparison_row() {
    Row row;
    row.work = "comparing two tables of 98,352 adapters";
    row.beside = "two of 24,588";
    row.why = "a quarter of the work; nothing may grow faster than the table";
    row.ratio = Ratio::cost;
    row.target = 4.5;
    row.is_quick = true;
    row.prepare = [] {
        return Sides{
            [tables = std::make_shared<Identical_Tables>(HB_ADAPTER_SLOTS)] { return tables->compare(); },
            [tables = std::make_shared<Identical_Tables>(HB_ADAPTER_SLOTS / 4)] { return tables->compare(); }};
    };
    return row;
}

Row scan_row() {
    Row row;
    row.work = "comparing two tables of 6,147 adapters";
    row.beside = "a nested scan";
    row.why = "the plain way to find the same differences";
    row.target = 20;
    row.is_quick = true;
    row.prepare = [] {
        const auto tables = std::make_shared<Identical_Tables>(6147);
        return Sides{[tables] { return tables->compare(); }, [tables] { return tables->scan(); }};
    };
    return row;
}

Row longest_row() {
    Row row;
    row.work = "comparing two tables of 98,352 adapters, the whole time";
    row.beside = "100 ms";
    row.why = "an event of the largest cluster waits for it";
    row.ratio = Ratio::cost;
    row.target = 1;
    row.is_quick = true;
    row.prepare = [] {
        return Sides{
            [tables = std::make_shared<Identical_Tables>(HB_ADAPTER_SLOTS)] { return tables->compare(); },
            [] { return 0.1; }};
    };
    return row;
}

Row event_making_row() {
    Row row;
    row.work = "making an event of one adapter";
    row.beside = "clearing its memory once";
    row.why = "the list of 98,352 entries is marked once";
    row.target = 0.7;
    row.is_quick = true;
    row.prepare = [] { return Sides{make_adapter_event, clear_event_once}; };
    return row;
}

} // namespace

std::vector<Row> table_rows() {
    return {comparison_row(), scan_row(), longest_row(), event_making_row()};
}

std::vector<Growth> table_growth() {
    return {{"compare", "1,536 adapters", Cost::processor_time, [](int size) {
                 return
                     [tables = std::make_shared<Identical_Tables>(1536 * size)] { return tables->compare(); };
             }}};
}
