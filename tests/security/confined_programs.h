// The programs of this build, with a wispd that puts the restrictions of its unit on itself.
#ifndef HB_TEST_SECURITY_CONFINED_PROGRAMS_H
#define HB_TEST_SECURITY_CONFINED_PROGRAMS_H

#include <string>
#include <vector>

#include "tests/support/temp_dir.h"
#include "tests/system/setup.h"

namespace hb_test {

// Why the restrictions cannot be put on here; empty when they can.
std::string why_not_confined();
std::string confined_path();

class Confined_Programs {
  public:
    // wispd may write in these directories.
    explicit Confined_Programs(const std::vector<std::string> &writable);
    Programs programs() const { return {programs_of_this_build().abi, directory_.path()}; }

  private:
    TempDir directory_;
};

} // namespace hb_test

#endif
