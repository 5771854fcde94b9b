// The output about a migration from the daemon to the cluster service, and why a migration is not possible.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tools/hbctl/render_json.h"
#include "tools/hbctl/render_text.h"

using namespace hbctl;
using testing::ElementsAre;

namespace {

Migration_Report report(Obstacle obstacle, std::optional<int> error) {
    return {1, 5, {obstacle, error}};
}

} // namespace

TEST(HbctlMigrationReport, PossibleWhereAllAgrees) {
    EXPECT_THAT(migration_text(report(Obstacle::none, std::nullopt)),
                ElementsAre("cluster service  answers", "local node       agrees: 1",
                            "nodes            agree: the service knows all of the daemon's 5 nodes",
                            "migration        possible; nothing was changed"));
    EXPECT_THAT(
        migration_json(report(Obstacle::none, std::nullopt)),
        ElementsAre(R"({"format":1,"possible":true,"service":true,"local_node":"agrees","nodes":"agrees",)"
                    R"("error":null,"reason":null})"));
}

TEST(HbctlMigrationReport, WithoutAServiceNothingIsCompared) {
    EXPECT_THAT(
        migration_text(report(Obstacle::service, 63)),
        ElementsAre("cluster service  the cluster service did not answer (none is installed) (error 63)",
                    "local node       not compared", "nodes            not compared",
                    "migration        not possible; nothing was changed"));
    EXPECT_THAT(
        migration_json(report(Obstacle::service, 63)),
        ElementsAre(R"({"format":1,"possible":false,"service":false,"local_node":"not-compared",)"
                    R"("nodes":"not-compared","error":63,)"
                    R"x("reason":"the cluster service did not answer (none is installed) (error 63)"})x"));
}

TEST(HbctlMigrationReport, AnotherLocalNodeHasNoNumber) {
    EXPECT_THAT(
        migration_text(report(Obstacle::local_node, std::nullopt)),
        ElementsAre(
            "cluster service  answers",
            "local node       differs: the cluster service and the daemon give this node different numbers",
            "nodes            not compared", "migration        not possible; nothing was changed"));
    EXPECT_THAT(
        migration_json(report(Obstacle::local_node, std::nullopt)),
        ElementsAre(R"({"format":1,"possible":false,"service":true,"local_node":"differs",)"
                    R"("nodes":"not-compared","error":null,)"
                    R"("reason":"the cluster service and the daemon give this node different numbers"})"));
}

TEST(HbctlMigrationReport, UnknownNodesDiffer) {
    EXPECT_THAT(
        migration_text(report(Obstacle::nodes, 75)),
        ElementsAre("cluster service  answers", "local node       agrees: 1",
                    "nodes            differ: a node that the daemon reported is unknown to the cluster "
                    "service (error 75)",
                    "migration        not possible; nothing was changed"));
}

TEST(HbctlMigrationReport, HandlersThatCannotBeMadeAreToldAsTheServices) {
    EXPECT_EQ("cluster service  the cluster-event handlers could not be created (error 74)",
              migration_text(report(Obstacle::handlers, 74)).front());
}

TEST(HbctlMigrationReport, EachStepOfAMoveIsALine) {
    const Wall_Time time(std::chrono::milliseconds(1500));
    EXPECT_EQ(
        R"({"format":1,"time":"1970-01-01T00:00:01.500Z","event":"migration","step":"committed","error":null,)"
        R"("reason":null})",
        migration_step_json(time, "committed", {}));
    EXPECT_EQ(
        R"({"format":1,"time":"1970-01-01T00:00:01.500Z","event":"migration","step":"refused","error":75,)"
        R"x("reason":"a node that the daemon reported is unknown to the cluster service (error 75)"})x",
        migration_step_json(time, "refused", {Obstacle::nodes, 75}));
}
