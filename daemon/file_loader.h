// Reads and parses files apart from the thread that serves clients: a large one takes long.
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

    // Completions run in `context`, which outlives this.
    explicit File_Loader(asio::io_context &context);
    File_Loader(const File_Loader &) = delete;
    File_Loader &operator=(const File_Loader &) = delete;
    // Waits for the file that is being read; those that wait are not read.
    ~File_Loader();

    // Runs the work on the loader's thread, one after another, and what it returns in the context. The work must not
    // throw.
    void run(std::function<Completion()> work);

  private:
    class Impl;
    std::unique_ptr<Impl> impl_;
};

} // namespace wispd
