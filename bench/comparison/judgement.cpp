// SPDX-License-Identifier: Apache-2.0
#include "bench/comparison/judgement.h"

#include <algorithm>
#include <cmath>

namespace comparison {

namespace {

double judged_ratio(const Row &row, const Figure &figure) {
    if (figure.is_certain || (row.forgives_noise && !std::isfinite(figure.spread))) {
        return figure.ratio;
    }
    const bool is_upper_end = (row.ratio == Ratio::cost) != row.forgives_noise;
    return figure.ratio * (is_upper_end ? 1 + figure.spread : 1 - figure.spread);
}

} // namespace

double ratio_of(Ratio ratio, double subject, double peer) {
    return ratio == Ratio::rate ? peer / subject : subject / peer;
}

Verdict judge(const Row &row, const Figure &figure) {
    if (!figure.fault.empty() || figure.rounds == 0 || !std::isfinite(figure.ratio)) {
        return Verdict::not_measured;
    }
    if (!row.target) {
        return Verdict::information;
    }
    const double ratio = judged_ratio(row, figure);
    const bool is_met = row.ratio == Ratio::rate ? ratio >= *row.target : ratio <= *row.target;
    return is_met ? Verdict::met : Verdict::missed;
}

Verdict judge(const Row &row, const std::vector<Figure> &runs) {
    std::vector<Verdict> verdicts;
    for (const Figure &figure : runs) {
        verdicts.push_back(judge(row, figure));
    }
    const auto count = [&](Verdict wanted) { return std::count(verdicts.begin(), verdicts.end(), wanted); };
    if (runs.empty() || count(Verdict::not_measured) > 0) {
        return Verdict::not_measured;
    }
    if (!row.target) {
        return Verdict::information;
    }
    const auto permitted = static_cast<std::ptrdiff_t>(runs.size() / 5);
    return count(Verdict::missed) <= permitted ? Verdict::met : Verdict::missed;
}

Row with_half_target(const Row &row) {
    Row eased = row;
    if (eased.target) {
        *eased.target *= eased.ratio == Ratio::rate ? 0.5 : 2.0;
    }
    eased.forgives_noise = true;
    return eased;
}

int exit_status(const std::vector<Verdict> &rows) {
    const bool is_good = std::all_of(rows.begin(), rows.end(), [](Verdict verdict) {
        return verdict == Verdict::met || verdict == Verdict::information;
    });
    return is_good && !rows.empty() ? 0 : 1;
}

} // namespace comparison
