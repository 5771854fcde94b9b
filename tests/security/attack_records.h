// SPDX-License-Identifier: Apache-2.0
// The records that a client sends to wispd, made without the library, which would not send invalid ones.
#pragma once

#include <cstdint>
#include <string>

namespace hb_test {

// Returns a connected stream socket that stays open until the program ends; -1 with the reason in errno.
int connect_to(const std::string &path);
// Returns false if the other side does not accept it.
bool send_all(int socket, const std::string &bytes);
// Reads this many bytes. Returns false at the end of the stream.
bool read_all(int socket, char *into, std::size_t count);

std::string request_record(int32_t kind, const std::string &body = {});
// Subscribes to all nodes: deaths, joins and reports of present members.
std::string subscription_record(const std::string &name);
// For a network of the local node: enable (207), disable (208).
std::string adapter_record(int32_t kind, int16_t network);

// Requests the configuration and reads up to the answer. Returns false if the connection ends before.
bool answers(int socket);

} // namespace hb_test
