// SPDX-License-Identifier: Apache-2.0
// Reads files that users name, on a thread that does not serve clients. Log lines that a file causes are
// charged to the user that named the file.
#pragma once

#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>

#include "cluster/description/command_result.h"
#include "daemon/file_loader.h"
#include "daemon/publisher/client_log.h"

namespace wispd {

// Returns the reason why the file could not be read or used.
Failure failure_of(const std::string &path, const std::exception &error);

class Charged_Loader {
  public:
    // `context` and `log` must outlive the loader.
    Charged_Loader(asio::io_context &context, Client_Log &log) : loader_(context), log_(log) {}

    // Reads the file on another thread and passes its content to `use` on the thread of the context. Always
    // calls `finished`.
    template <typename Read, typename Use>
    void load(const std::string &path, Read read, Use use, const Finished &finished) {
        loader_.run([this, path, read, use, finished, user = log_.charged()]() -> File_Loader::Completion {
            try {
                auto content = std::make_shared<decltype(read(path))>(read(path));
                return [this, path, use, finished, content, user] {
                    const std::unique_ptr<Log_Charge> charge = charge_to(log_, user);
                    std::optional<Failure> failure;
                    try {
                        use(std::move(*content));
                    } catch (const std::runtime_error &error) {
                        failure = failure_of(path, error);
                    }
                    finished(failure);
                };
            } catch (const std::exception &error) {
                return [this, finished, user, failure = failure_of(path, error)] {
                    const std::unique_ptr<Log_Charge> charge = charge_to(log_, user);
                    finished(failure);
                };
            }
        });
    }

  private:
    File_Loader loader_;
    Client_Log &log_;
};

} // namespace wispd
