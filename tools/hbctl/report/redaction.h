// SPDX-License-Identifier: Apache-2.0
// Removes keys from texts that leave the machine.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

namespace hbctl {

// Keys that were found, to be removed wherever they occur. Short texts are ignored: they would occur everywhere.
class Secrets {
  public:
    // A key's bytes, or its text in hexadecimal or base64.
    void add(const std::string &key);
    // Adds each word of the text that looks like a key in hexadecimal or base64.
    void add_words_like_keys(const std::string &text);
    // Returns the text without the keys: raw, in hexadecimal of either case, in base64 of either alphabet.
    std::string removed_from(const std::string &text) const;

  private:
    void add_forms(const std::string &bytes);

    // Returns the size of the longest form that begins there; 0: none does.
    std::size_t longest_at(const std::string &text, std::size_t at) const;

    std::unordered_set<std::string> known_;
    std::unordered_map<std::uint64_t, std::vector<std::string>> forms_; // by their first bytes
};

// Returns a configuration file of wispd with the values of the keys that wispd knows, and with no other value. Comments
// are removed as well: an administrator may have kept a key there. Adds what was removed to the secrets.
std::string configuration_without_keys(const std::string &toml, Secrets &secrets);

// Returns a text with "name: value" or "name = value" lines, such as a configuration of Corosync or the list of its map,
// without comments and without the values of names that contain "key", "secret",
// "password" or "passphrase".
std::string settings_without_keys(const std::string &text, Secrets &secrets);

// The value of a key of the configuration file, if it is a text on one line; empty otherwise.
std::string configured_text(const std::string &toml, const std::string &key);

} // namespace hbctl
