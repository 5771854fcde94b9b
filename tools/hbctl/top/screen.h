// SPDX-License-Identifier: Apache-2.0
// The terminal: shows frames and reads keys. Nothing else uses ncurses.
#pragma once

#include <optional>

#include "tools/hbctl/top/frame.h"
#include "tools/hbctl/top/render_top.h"
#include "tools/hbctl/top/top_view.h"

namespace hbctl {

class Screen {
  public:
    // Without Unicode, frames are shown in ASCII. Throws std::runtime_error if the terminal cannot show them.
    explicit Screen(bool has_unicode);
    // Restores the terminal.
    ~Screen();
    Screen(const Screen &) = delete;
    Screen &operator=(const Screen &) = delete;

    Frame_Size size() const;
    void draw(const Frame &frame) const;
    // Returns the next key that was pressed; nothing if there is none, or if it has no meaning.
    // `more` is false when there is none.
    std::optional<Key_Press> next_key(bool &more) const;

    // After the terminal's size has changed.
    void resize() const;
    // Gives the terminal to the shell, and gets it back.
    void leave() const;
    void come_back() const;

  private:
    bool has_unicode_;
    bool has_colours_ = false;
    void *terminal_ = nullptr; // ncurses' own
};

} // namespace hbctl
