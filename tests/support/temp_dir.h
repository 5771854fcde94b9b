// SPDX-License-Identifier: Apache-2.0
// A directory of the test, removed with everything in it. Its path is as short as the root allows, since a
// socket's path must fit in 107 bytes.
#pragma once

#include <string>

namespace hb_test {

class Temp_Dir {
  public:
    Temp_Dir();
    Temp_Dir(const Temp_Dir &) = delete;
    Temp_Dir &operator=(const Temp_Dir &) = delete;
    ~Temp_Dir();

    // The parent of all of them: TMPDIR, or /tmp.
    static std::string root();

    const std::string &path() const { return path_; }
    std::string file(const std::string &name) const { return path_ + "/" + name; }

  private:
    std::string path_;
};

} // namespace hb_test
