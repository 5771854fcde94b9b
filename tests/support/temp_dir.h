// A directory of a test's own, removed with everything in it. Its path is as short as the root allows, since
// a socket's path has to fit in 107 bytes.
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

    // Where all of them are made: what TMPDIR names, or /tmp.
    static std::string root();

    const std::string &path() const { return path_; }
    std::string file(const std::string &name) const { return path_ + "/" + name; }

  private:
    std::string path_;
};

} // namespace hb_test

#endif
