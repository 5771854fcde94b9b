// SPDX-License-Identifier: Apache-2.0
#include "bench/comparison/measurement.h"

#include <chrono>
#include <exception>
#include <stdexcept>
#include <vector>

#include "bench/comparison/interruption.h"
#include "bench/comparison/samples.h"

namespace comparison {

namespace {

struct Samples {
    std::vector<double> subject;
    std::vector<double> peer;
    std::vector<double> ratio;
};

void end_if_interrupted() {
    if (is_interrupted()) {
        throw std::runtime_error("it was interrupted");
    }
}

void measure_round(const Sides &sides, Ratio ratio, bool begin_with_peer, Samples &samples) {
    double peer = begin_with_peer ? sides.peer() : 0;
    const double subject = sides.subject();
    if (!begin_with_peer) {
        peer = sides.peer();
    }
    samples.subject.push_back(subject);
    samples.peer.push_back(peer);
    samples.ratio.push_back(ratio_of(ratio, subject, peer));
}

} // namespace

Figure measure(const Row &row, const Bounds &bounds, const std::function<double()> &seconds_since_start) {
    Samples samples;
    Figure figure;
    try {
        end_if_interrupted();
        const Sides sides = row.prepare();
        Samples warming;
        measure_round(sides, row.ratio, false, warming);
        const double begin = seconds_since_start();
        for (int round = 0; round < bounds.most_rounds; ++round) {
            const bool is_late = seconds_since_start() - begin >= bounds.seconds;
            const bool is_certain = round >= bounds.least_rounds && spread(samples.ratio) < bounds.spread;
            if (round > 0 && (is_late || is_certain)) {
                break;
            }
            end_if_interrupted();
            measure_round(sides, row.ratio, round % 2 == 1, samples);
        }
    } catch (const std::exception &trouble) {
        figure.fault = trouble.what();
        return figure;
    }
    figure.rounds = static_cast<int>(samples.ratio.size());
    figure.ratio = median(samples.ratio);
    figure.spread = spread(samples.ratio);
    figure.is_certain = figure.spread < bounds.spread;
    figure.subject = median(samples.subject);
    figure.peer = median(samples.peer);
    return figure;
}

Figure measure(const Row &row, const Bounds &bounds) {
    return measure(row, bounds, [] {
        const auto now = std::chrono::steady_clock::now().time_since_epoch();
        return std::chrono::duration<double>(now).count();
    });
}

} // namespace comparison
