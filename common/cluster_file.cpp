// SPDX-License-Identifier: Apache-2.0
#include "common/cluster_file.h"

#include <charconv>
#include <cstdint>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <nlohmann/json.hpp>

namespace common {

namespace {

using Json = nlohmann::json;

constexpr int FORMAT = 1;
// Room for the longest names of all nodes, with every byte escaped.
constexpr std::size_t FILE_LONGEST = std::size_t{4} << 20;
constexpr int DEPTH_MOST = 2; // of the object of nodes
constexpr std::int64_t LATEST_START = std::int64_t{1} << 33;

class Opened_File {
  public:
    // Does not follow a link, and does not wait for the writer of a pipe.
    explicit Opened_File(const std::string &path)
        : file_(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY)) {}
    Opened_File(const Opened_File &) = delete;
    Opened_File &operator=(const Opened_File &) = delete;
    ~Opened_File() {
        if (file_ >= 0) {
            close(file_);
        }
    }

    int get() const { return file_; }

  private:
    int file_;
};

bool is_trusted(const struct stat &file, const std::string &socket_path) {
    if (file.st_uid == 0 || file.st_uid == geteuid()) {
        return true;
    }
    struct stat socket {};
    return lstat(socket_path.c_str(), &socket) == 0 && S_ISSOCK(socket.st_mode) && socket.st_uid == file.st_uid;
}

std::optional<std::string> read_bounded(int file) {
    std::string text;
    char buffer[65536];
    while (text.size() <= FILE_LONGEST) {
        const ssize_t count = read(file, buffer, sizeof buffer);
        if (count == 0) {
            return text;
        }
        if (count < 0) {
            return std::nullopt;
        }
        text.append(buffer, static_cast<std::size_t>(count));
    }
    return std::nullopt;
}

bool is_name(const std::string &name) {
    return !name.empty() && name.size() <= CLUSTER_FILE_NAME_LONGEST;
}

std::optional<std::string> text_of(const Json &object, const char *key) {
    const auto found = object.find(key);
    if (found == object.end() || !found->is_string()) {
        return std::nullopt;
    }
    auto text = found->get<std::string>();
    return text.size() <= CLUSTER_FILE_NAME_LONGEST ? std::optional(std::move(text)) : std::nullopt;
}

std::optional<int> node_number(const std::string &digits) {
    int number = 0;
    const char *const end = digits.data() + digits.size();
    const auto [stop, error] = std::from_chars(digits.data(), end, number);
    const bool is_whole = error == std::errc{} && stop == end;
    return is_whole && number >= 0 && number < CLUSTER_FILE_NODES_MOST ? std::optional(number) : std::nullopt;
}

std::optional<std::map<int, std::string>> nodes_of(const Json &object) {
    const auto found = object.find("nodes");
    if (found == object.end() || !found->is_object()) {
        return std::nullopt;
    }
    std::map<int, std::string> nodes;
    for (const auto &[digits, name] : found->items()) {
        const std::optional<int> number = node_number(digits);
        if (!number || !name.is_string() || !is_name(name.get<std::string>()) ||
            !nodes.emplace(*number, name.get<std::string>()).second) {
            return std::nullopt;
        }
    }
    return nodes;
}

std::uint64_t count_of(const Json &object, const char *key) {
    const auto found = object.find(key);
    return found != object.end() && found->is_number_unsigned() ? found->get<std::uint64_t>() : 0;
}

// Later versions added this: without it there is nothing to report.
std::map<int, Held_Deaths> held_deaths_of(const Json &object) {
    std::map<int, Held_Deaths> all;
    const auto found = object.find("held_deaths");
    if (found != object.end() && found->is_object()) {
        for (const auto &[digits, counts] : found->items()) {
            if (const std::optional<int> number = node_number(digits); number && counts.is_object()) {
                all[*number] = {count_of(counts, "held"), count_of(counts, "withdrawn")};
            }
        }
    }
    return all;
}

std::optional<std::chrono::system_clock::time_point> start_of(const Json &object) {
    const auto found = object.find("started");
    if (found == object.end() || !found->is_number_integer()) {
        return std::nullopt;
    }
    const auto seconds = found->get<std::int64_t>();
    if (seconds < 0 || seconds > LATEST_START) {
        return std::nullopt;
    }
    return std::chrono::system_clock::time_point(std::chrono::seconds(seconds));
}

// Deeply nested values would need much memory for nothing.
Json parse_flat(std::string_view text) {
    const auto is_shallow = [](int depth, Json::parse_event_t, const Json &) { return depth <= DEPTH_MOST; };
    return Json::parse(text, is_shallow, false);
}

std::string quoted(const std::string &text) {
    return Json(text).dump(-1, ' ', false, Json::error_handler_t::replace);
}

// The replacement of an invalid byte is longer than the byte.
bool is_short(const std::string &quoted_text) {
    return Json::parse(quoted_text).get_ref<const std::string &>().size() <= CLUSTER_FILE_NAME_LONGEST;
}

std::string quoted_or_empty(const std::string &text) {
    std::string written = quoted(text);
    return is_short(written) ? written : quoted("");
}

std::string held_deaths_text(const std::map<int, Held_Deaths> &all) {
    std::string text = " \"held_deaths\": {";
    const char *separator = "\n";
    for (const auto &[number, deaths] : all) {
        text += separator +
                ("  \"" + std::to_string(number) + "\": {\"held\": " + std::to_string(deaths.held)) +
                ", \"withdrawn\": " + std::to_string(deaths.withdrawn) + "}";
        separator = ",\n";
    }
    return text + "\n },\n";
}

} // namespace

std::string cluster_file_path(const std::string &socket_path) {
    return socket_path + ".cluster";
}

std::string cluster_file_text(const Cluster_File &content) {
    const auto seconds = std::chrono::floor<std::chrono::seconds>(content.started.time_since_epoch());
    std::string text = "{\n";
    text += " \"format\": " + std::to_string(FORMAT) + ",\n";
    text += " \"cluster\": " + quoted_or_empty(content.cluster) + ",\n";
    text += " \"version\": " + quoted_or_empty(content.version) + ",\n";
    text += " \"started\": " + std::to_string(seconds.count()) + ",\n";
    text += " \"engine\": " + quoted_or_empty(content.engine) + ",\n";
    if (!content.engine_name.empty()) {
        text += " \"engine_name\": " + quoted_or_empty(content.engine_name) + ",\n";
    }
    if (content.rejected_members != 0) {
        text += " \"rejected_members\": " + std::to_string(content.rejected_members) + ",\n";
    }
    if (!content.held_deaths.empty()) {
        text += held_deaths_text(content.held_deaths);
    }
    text += " \"nodes\": {";
    const char *separator = "\n";
    for (const auto &[number, name] : content.nodes) {
        if (const std::string written = quoted(name); !name.empty() && is_short(written)) {
            text += separator + ("  \"" + std::to_string(number) + "\": ") + written;
            separator = ",\n";
        }
    }
    return text + "\n }\n}\n";
}

std::optional<Cluster_File> parse_cluster_file(std::string_view text) {
    const Json object = text.size() <= FILE_LONGEST ? parse_flat(text) : Json(Json::value_t::discarded);
    if (!object.is_object() || !object.contains("format") || object["format"] != FORMAT) {
        return std::nullopt;
    }
    const auto cluster = text_of(object, "cluster");
    const auto version = text_of(object, "version");
    const auto engine = text_of(object, "engine");
    const auto started = start_of(object);
    auto nodes = nodes_of(object);
    if (!cluster || !version || !engine || !started || !nodes) {
        return std::nullopt;
    }
    Cluster_File content{*cluster, *version, *started, *engine, std::move(*nodes)};
    content.engine_name = text_of(object, "engine_name").value_or("");
    content.held_deaths = held_deaths_of(object);
    content.rejected_members = count_of(object, "rejected_members");
    return content;
}

std::optional<Cluster_File> read_cluster_file(const std::string &socket_path) {
    const Opened_File file(cluster_file_path(socket_path));
    struct stat status {};
    if (file.get() < 0 || fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode) ||
        !is_trusted(status, socket_path)) {
        return std::nullopt;
    }
    const std::optional<std::string> text = read_bounded(file.get());
    return text ? parse_cluster_file(*text) : std::nullopt;
}

} // namespace common
