// SPDX-License-Identifier: Apache-2.0
#include "tests/unit/infra/include_graph.h"

#include <algorithm>
#include <regex>

#include "tests/unit/infra/source_tree.h"

std::string module_of(const std::string &path) {
    const auto dot = path.rfind('.');
    const auto slash = path.rfind('/');
    const bool has_ending = dot != std::string::npos && (slash == std::string::npos || dot > slash);
    return has_ending ? path.substr(0, dot) : path;
}

std::vector<std::string> quoted_includes(const std::string &source) {
    static const std::regex include(R"(^\s*#\s*include\s*"([^"]+)\")");
    std::vector<std::string> names;
    for (const std::string &line : lines_of(source)) {
        std::smatch match;
        if (std::regex_search(line, match, include)) {
            names.push_back(match[1]);
        }
    }
    return names;
}

void add_file(Include_Graph &graph, const std::string &path, const std::string &source) {
    std::set<std::string> &edges = graph[module_of(path)];
    for (const std::string &name : quoted_includes(source)) {
        edges.insert(module_of(name));
    }
}

namespace {

struct Walk {
    const Include_Graph &graph;
    std::set<std::string> done;
    std::vector<std::string> path;
    std::vector<std::string> loop;

    void visit(const std::string &module) {
        const auto on_path = std::find(path.begin(), path.end(), module);
        if (on_path != path.end()) {
            loop.assign(on_path, path.end());
            loop.push_back(module);
            return;
        }
        const auto edges = graph.find(module);
        if (edges == graph.end() || done.contains(module)) {
            return;
        }
        path.push_back(module);
        for (const std::string &next : edges->second) {
            if (next != module && loop.empty()) {
                visit(next);
            }
        }
        path.pop_back();
        done.insert(module);
    }
};

} // namespace

std::vector<std::string> find_loop(const Include_Graph &graph) {
    Walk walk{graph, {}, {}, {}};
    for (const auto &[module, edges] : graph) {
        if (walk.loop.empty()) {
            walk.visit(module);
        }
    }
    return walk.loop;
}
