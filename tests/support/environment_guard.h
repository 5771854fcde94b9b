// Sets environment variables for the duration of a scope.
#ifndef HB_TEST_ENVIRONMENT_GUARD_H
#define HB_TEST_ENVIRONMENT_GUARD_H

#include <optional>
#include <string>

namespace hb_test {

// Sets the variable, or removes it if no value is given. The destructor restores the old value.
class EnvironmentGuard {
  public:
    EnvironmentGuard(const std::string &name, const std::optional<std::string> &value);
    EnvironmentGuard(const EnvironmentGuard &) = delete;
    EnvironmentGuard &operator=(const EnvironmentGuard &) = delete;
    ~EnvironmentGuard();

  private:
    std::string name_;
    std::optional<std::string> before_;
};

} // namespace hb_test

#endif
