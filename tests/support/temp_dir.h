// A directory of the test, removed with everything in it. Its path is as short as the root allows, since a
// socket's path must fit in 107 bytes.
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

    // The parent of all of them: TMPDIR, or /tmp.
    static std::string root();

    const std::string &path() const { return path_; }
    std::string file(const std::string &name) const { return path_ + "/" + name; }

  private:
    std::string path_;
};

} // namespace hb_test

#endif
