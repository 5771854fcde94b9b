// SPDX-License-Identifier: Apache-2.0
// Reads and parses files on a thread that does not serve clients, because reading a large file is slow.
#pragma once

#include <functional>
#include <memory>

namespace asio {
class io_context;
}

namespace wispd {

class File_Loader {
  public:
    using Completion = std::function<void()>;

    // Completions run in `context`, which must outlive the loader.
    explicit File_Loader(asio::io_context &context);
    File_Loader(const File_Loader &) = delete;
    File_Loader &operator=(const File_Loader &) = delete;
    // Waits until the current file is read. Files still in the queue are not read.
    ~File_Loader();

    // Runs `work` on the loader's thread after all earlier work, then runs the returned completion in the
    // context. The work must not throw.
    void run(std::function<Completion()> work);

  private:
    class Impl;
    std::unique_ptr<Impl> impl_;
};

} // namespace wispd
