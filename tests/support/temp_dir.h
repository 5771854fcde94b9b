// A directory of a test's own, removed with everything in it.
#ifndef HB_TEST_TEMP_DIR_H
#define HB_TEST_TEMP_DIR_H

#include <string>

namespace hb_test {

class TempDir {
  public:
    TempDir();
    TempDir(const TempDir &) = delete;
    TempDir &operator=(const TempDir &) = delete;
    ~TempDir();

    const std::string &path() const { return path_; }
    std::string file(const std::string &name) const { return path_ + "/" + name; }

  private:
    std::string path_;
};

} // namespace hb_test

#endif
