// SPDX-License-Identifier: Apache-2.0
// The daemon's end of a connection, in this process. Its bytes lie ready in the socket before the clock starts,
// so a measurement contains no scheduling.
#pragma once

#include <string>
#include <vector>

#include "tests/support/temp_dir.h"
#include "tests/support/unique_fd.h"

// Selects the members: all adapters of the first nodes, as when nodes die, or one adapter of each node, as when
// a network fails. The second touches a page of the table for each member.
enum class Members { Of_Whole_Nodes, Of_One_Network };

// Makes an adapter death or join (Hb_Client_Reply) with this many members: a whole record with its length
// prefix.
std::vector<char> adapter_record(int kind, int count, Members members);

class Listener {
  public:
    Listener();

    std::string path() const { return directory_.file("s"); }
    // The connection from the client.
    int accept_one() const;

  private:
    const hb_test::Temp_Dir directory_;
    const hb_test::Unique_Fd fd_;
};

// A plain client's connection, with the library's buffer sizes.
int connect_plainly(const std::string &path);

// Writes the record to the connection. Returns false when the socket cannot hold it.
bool feed(int connection, const std::vector<char> &record);
