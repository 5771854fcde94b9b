// SPDX-License-Identifier: Apache-2.0
// Prints JSON of hbctl that a daemon seldom causes, one "SCHEMA LINE" each, for json_test.
#include <iostream>

#include "hb_client.h"
#include "tools/hbctl/render_json.h"

namespace {

using namespace hbctl;

void print(const char *schema, const std::vector<std::string> &lines) {
    for (const std::string &line : lines) {
        std::cout << schema << " " << line << "\n";
    }
}

Event_Record event_of(int kind) {
    Event_Record event;
    event.kind = kind;
    event.sequence = 4294967295U;
    event.subscription = "s";
    return event;
}

void print_events() {
    Event_Record split = event_of(HB_EVENT_SITE_SPLIT);
    split.member_kind = Member_Kind::sites;
    split.sites = Site_Pair{{1, 2, {}}, {2, 5, {}}};
    Event_Record merge = event_of(HB_EVENT_SITE_MERGE);
    merge.member_kind = Member_Kind::sites;
    merge.sites = Site_Pair{{1, 2, 3U}, {2, 5, 4U}};
    Event_Record stranger = event_of(HB_EVENT_DEATH);
    stranger.member_kind = Member_Kind::adapters;
    stranger.adapters = {{8, 1, true, -1, -1, "", "", ""}};
    Event_Record from_service = event_of(HB_EVENT_NEW_GROUP);
    from_service.member_kind = Member_Kind::adapters;
    from_service.stable = false;
    Event_Record failure = event_of(HB_EVENT_FFDC);
    failure.ffdc_id = "X";
    for (const Event_Record &event : {split, merge, stranger, from_service, failure, event_of(1 << 20)}) {
        print("event", {event_json(event)});
    }
}

void print_migrations() {
    Migration_Report report;
    report.local_node = 1;
    print("migration", migration_json(report));
    report.preparation.obstacle = Obstacle::nodes;
    report.preparation.error = 65;
    print("migration", migration_json(report));
    print("notice",
          {migration_step_json({}, "prepared", {}), migration_step_json({}, "refused", report.preparation)});
}

} // namespace

int main() {
    print_events();
    print_migrations();
    print("status", status_json({"/s", 1, {}, std::nullopt}));
    print("adapter", adapters_json([] {
              Picture picture;
              picture.adapters = {{3, 1, -1, "10.2.0.1", "", Liveness::unknown}};
              picture.index();
              return picture;
          }()));
    print("site", sites_json([] {
              Picture picture;
              picture.sites = {0, 7};
              return picture;
          }()));
    print("keys", keys_json({1, {}, {}, 1, {{"current"}, {"previous", true, 99, 1, 16}, {"cache 1"}}}));
    print("adapter-state", adapter_states_json({{96, 0}}));
    print("request", {control_json({}, Request_Result::unconfirmed)});
    print("wait", {wait_json({Wait_Subject::daemon, 0, false}), wait_json({Wait_Subject::nodes, 1, true})});
}
