// SPDX-License-Identifier: Apache-2.0
#include "exporter/text_file.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>
#include <utility>

#include "exporter/log.h"
#include "exporter/render.h"

namespace exporter {
namespace {

[[noreturn]] void fail(const std::string &path, int reason) {
    throw std::system_error(reason, std::generic_category(), "cannot write " + path);
}

class Descriptor {
  public:
    explicit Descriptor(int number) : number_(number) {}
    ~Descriptor() { close(number_); }
    Descriptor(const Descriptor &) = delete;
    Descriptor &operator=(const Descriptor &) = delete;
    int get() const { return number_; }

  private:
    const int number_;
};

void write_all(int descriptor, const std::string &text, const std::string &path) {
    std::size_t written = 0;
    while (written < text.size()) {
        const ssize_t count = ::write(descriptor, text.data() + written, text.size() - written);
        if (count < 0 && errno != EINTR) {
            fail(path, errno);
        }
        written += count < 0 ? 0 : static_cast<std::size_t>(count);
    }
}

} // namespace

void write_whole_file(const std::string &path, const std::string &text) {
    constexpr mode_t everyone_reads = 0644;
    const std::string draft = path + ".tmp"; // collectors read only files that end in .prom
    unlink(draft.c_str());
    {
        const int number =
            open(draft.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, everyone_reads);
        if (number < 0) {
            fail(draft, errno);
        }
        const Descriptor file(number);
        fchmod(file.get(), everyone_reads); // whatever the umask is
        write_all(file.get(), text, draft);
    }
    if (std::rename(draft.c_str(), path.c_str()) != 0) {
        fail(path, errno);
    }
}

Text_File::Text_File(std::string path, std::shared_ptr<const Snapshot_Board> board,
                     std::chrono::milliseconds stale, std::chrono::milliseconds interval)
    : path_(std::move(path)), board_(std::move(board)), stale_(stale), interval_(interval) {
    write();
}

void Text_File::run() {
    const auto differs_now = [this](const Snapshot &snapshot) {
        return differs_from_written(snapshot, std::chrono::steady_clock::now());
    };
    for (;;) {
        const std::shared_ptr<const Snapshot> snapshot = board_->wait_for(differs_now, next_time());
        // Otherwise the contact was renewed in the meantime.
        if (differs_now(*snapshot) || std::chrono::steady_clock::now() >= written_ + interval_) {
            const std::lock_guard<std::timed_mutex> lock(writing_);
            write_again();
        }
    }
}

bool Text_File::differs_from_written(const Snapshot &snapshot, Steady_Time now) const {
    return snapshot.changes != written_changes_ || is_up(snapshot, now, stale_) != written_up_;
}

void Text_File::remove() {
    constexpr std::chrono::milliseconds patience{500};
    if (writing_.try_lock_for(patience)) {
        unlink(path_.c_str());
    }
}

void Text_File::write_again() {
    try {
        write();
        failed_ = false;
    } catch (const std::system_error &failure) {
        if (!failed_) {
            log_line(std::string(failure.what()) + "; trying again");
        }
        failed_ = true;
    }
}

// What is written counts as written also when writing fails: the next try comes after an interval or a change.
void Text_File::write() {
    const std::shared_ptr<const Snapshot> snapshot = board_->latest();
    written_ = std::chrono::steady_clock::now();
    written_changes_ = snapshot->changes;
    written_up_ = is_up(*snapshot, written_, stale_);
    write_whole_file(path_, render_metrics(*snapshot, written_, stale_, Format::prometheus_text));
}

// The end of the interval, or the moment when the contact of the latest snapshot becomes too old.
Steady_Time Text_File::next_time() const {
    const Steady_Time interval_end = written_ + interval_;
    const std::shared_ptr<const Snapshot> snapshot = board_->latest();
    if (!written_up_ || !snapshot->last_contact) {
        return interval_end;
    }
    return std::min(interval_end, *snapshot->last_contact + stale_ + std::chrono::milliseconds(1));
}

} // namespace exporter
