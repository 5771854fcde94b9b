// SPDX-License-Identifier: Apache-2.0
#include "tests/cluster/demo/screen.h"

#include <algorithm>
#include <cstdio>

namespace hb_demo {
namespace {

constexpr std::size_t SCREEN = 100;
constexpr std::size_t TIME = 10;
constexpr std::size_t COLUMN = 30;
constexpr std::size_t FAULT = 42;
constexpr std::size_t TOLD = 22;
constexpr std::size_t DELAY = 12;

std::string padded(const std::string &text, std::size_t width) {
    return text.size() < width ? text + std::string(width - text.size(), ' ') : text;
}

std::string flush_right(const std::string &text, std::size_t width) {
    return text.size() < width ? std::string(width - text.size(), ' ') + text : text;
}

std::string trimmed(std::string line) {
    line.erase(line.find_last_not_of(' ') + 1);
    return line;
}

std::string seconds(std::chrono::milliseconds length, int decimals) {
    char text[40];
    std::snprintf(text, sizeof text, "%.*f", decimals, static_cast<double>(length.count()) / 1000.0);
    return text;
}

std::string host_name(int host) {
    return "host" + std::to_string(host);
}

} // namespace

void Screen::say(const std::string &text) {
    out_ << text << std::endl;
}

void Screen::rule(const std::string &text) {
    const std::string start = "== " + text + " ";
    out_ << '\n' << start << std::string(SCREEN - std::min(SCREEN, start.size()), '=') << '\n';
}

void Screen::headline(const std::string &text, const std::string &explanation, Time begun) {
    flush();
    begun_ = begun;
    rule(text);
    if (!explanation.empty()) {
        out_ << explanation << "\n\n";
    }
    std::string titles = padded("   after", TIME);
    for (int host = 1; host <= hosts_; ++host) {
        titles += padded(host_name(host), COLUMN);
    }
    out_ << trimmed(titles) << std::endl;
}

void Screen::show(int host, const Client_Event &event) {
    waiting_.emplace(event.time, std::pair(host, event));
}

void Screen::row(const std::string &time, const Cells &cells) {
    std::size_t height = 0;
    for (const auto &[host, lines] : cells) {
        height = std::max(height, lines.size());
    }
    for (std::size_t line = 0; line < height; ++line) {
        std::string text = padded(line == 0 ? time : "", TIME);
        for (int host = 1; host <= hosts_; ++host) {
            const auto cell = cells.find(host);
            const bool filled = cell != cells.end() && line < cell->second.size();
            text += padded(filled ? cell->second[line] : "", COLUMN);
        }
        out_ << trimmed(text) << '\n';
    }
}

Screen::Hundredths Screen::since_begun(Time time) const {
    return std::chrono::floor<Hundredths>(time - begun_);
}

void Screen::flush(Time before) {
    const Hundredths end = since_begun(before);
    while (!waiting_.empty() && since_begun(waiting_.begin()->first) < end) {
        const Hundredths moment = since_begun(waiting_.begin()->first);
        Cells cells;
        while (!waiting_.empty() && since_begun(waiting_.begin()->first) == moment) {
            const auto &[host, event] = waiting_.begin()->second;
            const std::vector<std::string> lines = lines_of(event);
            cells[host].insert(cells[host].end(), lines.begin(), lines.end());
            waiting_.erase(waiting_.begin());
        }
        row(flush_right(seconds(moment, 2), TIME - 4) + " s", cells);
    }
    out_ << std::flush;
}

void Screen::flush() {
    if (!waiting_.empty()) {
        flush(waiting_.rbegin()->first + Hundredths(1));
    }
}

void Screen::table(const std::string &headline, const std::vector<Delays> &rows) {
    flush();
    rule(headline);
    std::string titles = std::string(FAULT + TOLD, ' ');
    for (int host = 1; host <= hosts_; ++host) {
        titles += flush_right(host_name(host), DELAY);
    }
    out_ << titles << '\n';
    for (const Delays &delays : rows) {
        std::string text = padded(delays.fault, FAULT) + padded(delays.told, TOLD);
        for (const auto &delay : delays.by_host) {
            text += flush_right(delay ? seconds(*delay, 3) + " s" : "-", DELAY);
        }
        out_ << text << '\n';
    }
    out_ << std::flush;
}

} // namespace hb_demo
