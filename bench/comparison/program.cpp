// SPDX-License-Identifier: Apache-2.0
#include "bench/comparison/program.h"

#include <cstdio>
#include <fstream>
#include <iostream>
#include <map>

#include <CLI/CLI.hpp>

#include "bench/comparison/interruption.h"
#include "bench/comparison/measurement.h"
#include "bench/comparison/report.h"

namespace comparison {

namespace {

constexpr int USAGE = 2;
constexpr Bounds QUICK_BOUNDS{5, 40, 2, 0.25};

struct Options {
    int runs = 1;
    bool is_quick = false;
    bool list = false;
    bool markdown = false;
    std::string only;
    std::string growth_file;
    Bounds bounds;
};

void add_options(CLI::App &app, Options &options, bool has_growth) {
    app.add_option("--runs", options.runs, "Measure all rows this many times; one miss in five is permitted")
        ->check(CLI::Range(1, 100))
        ->capture_default_str();
    app.add_option("--only", options.only, "Only the rows whose text contains this")->type_name("TEXT");
    app.add_option("--seconds", options.bounds.seconds, "Spend at most this time on a row")
        ->check(CLI::PositiveNumber)
        ->capture_default_str();
    app.add_flag("--quick", options.is_quick,
                 "Only rows that need little; fail only if a ratio is worse than half its target");
    app.add_flag("--list", options.list, "Print the rows and measure nothing");
    app.add_flag("--markdown", options.markdown, "Print the result as the table of docs/benchmarks.md");
    if (has_growth) {
        app.add_option("--growth", options.growth_file,
                       "Measure how costs grow instead, and write them to this file for the plot")
            ->type_name("FILE");
    }
}

std::vector<Row> selected(const std::vector<Row> &rows, const Options &options) {
    std::vector<Row> some;
    for (const Row &row : rows) {
        const bool is_named = (row.work + ", " + row.beside).find(options.only) != std::string::npos;
        if (is_named && (row.is_quick || !options.is_quick)) {
            some.push_back(options.is_quick ? with_half_target(row) : row);
        }
    }
    return some;
}

// Each row's figures, one for each run.
using Results = std::vector<std::vector<Figure>>;

// The rows take turns in each run, so that a disturbance of some minutes spoils one figure of each.
Results measure_all(const std::vector<Row> &rows, const Options &options, std::FILE *progress) {
    Results results(rows.size());
    for (int run = 1; run <= options.runs; ++run) {
        if (options.runs > 1) {
            std::fprintf(progress, "run %d of %d\n", run, options.runs);
        }
        for (std::size_t i = 0; i < rows.size(); ++i) {
            const Figure figure = measure(rows[i], options.bounds);
            std::fprintf(progress, "  %s\n", line_of(rows[i], figure).c_str());
            std::fflush(progress);
            results[i].push_back(figure);
        }
    }
    return results;
}

int conclude(const std::vector<Row> &rows, const Results &results, const Options &options) {
    std::vector<Verdict> verdicts;
    std::map<Verdict, int> counts;
    for (std::size_t i = 0; i < rows.size(); ++i) {
        verdicts.push_back(judge(rows[i], results[i]));
        ++counts[verdicts.back()];
    }
    if (options.markdown) {
        std::fputs(markdown_table(rows, results).c_str(), stdout);
    } else {
        std::printf("%d met, %d missed, %d not measured, %d for information\n", counts[Verdict::met],
                    counts[Verdict::missed], counts[Verdict::not_measured], counts[Verdict::information]);
    }
    return exit_status(verdicts);
}

int measure_growth(const std::vector<Growth> &lines, const Options &options) {
    std::vector<Row> rows;
    for (const Growth &line : lines) {
        for (const Row &row : rows_of(line)) {
            rows.push_back(row);
        }
    }
    rows = selected(rows, options);
    const Results results = measure_all(rows, options, stdout);
    std::ofstream file(options.growth_file, std::ios::trunc);
    file << "# SPDX-License-Identifier: Apache-2.0\n# The work, how many times the smallest, and its cost in "
            "seconds\n";
    for (const Growth &line : lines) {
        std::vector<Figure> figures;
        for (const Row &wanted : rows_of(line)) {
            for (std::size_t i = 0; i < rows.size(); ++i) {
                if (rows[i].work == wanted.work) {
                    figures.push_back(results[i].back());
                }
            }
        }
        if (figures.size() == GROWTH_SIZES.size() - 1) {
            write_growth(file, line, figures);
        }
    }
    if (!file.flush()) {
        std::cerr << options.growth_file << ": cannot be written\n";
        return 1;
    }
    return conclude(rows, results, options);
}

} // namespace

int run(const Program &program, int argc, char **argv) {
    Options options;
    CLI::App app(program.purpose +
                     " Both sides of each row are measured alternately, until the error of the median ratio "
                     "is under 5 %. Exits with 1 when a row is missed or not measured.",
                 program.name);
    add_options(app, options, !program.growth.empty());
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError &error) {
        return app.exit(error) == 0 ? 0 : USAGE;
    }
    if (options.is_quick) {
        options.bounds = QUICK_BOUNDS;
    }
    note_interruptions();
    if (!options.growth_file.empty()) {
        return measure_growth(program.growth, options);
    }
    const std::vector<Row> rows = selected(program.rows, options);
    if (options.list) {
        for (const Row &row : rows) {
            std::printf("%s\n", heading_of(row).c_str());
        }
        return rows.empty() ? 1 : 0;
    }
    // The table is for a file, so the lines of progress must not be in it.
    return conclude(rows, measure_all(rows, options, options.markdown ? stderr : stdout), options);
}

} // namespace comparison
