// The editor's lines on the terminal: only what has changed is drawn again.
#pragma once

#include "highlight.h"

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace tarnsh {

struct EditView {
    std::string_view first_prompt, next_prompt;
    std::string_view text;
    std::size_t cursor = 0;
    std::string_view hint{}; // shown behind the text
    bool coloured = false;
};

class Screen {
  public:
    void draw(const EditView& view);
    // Leaves the text as it is, with the cursor on the line below.
    void finish();
    // Forgets what is on the terminal: the next drawing begins on the cursor's line.
    void forget();

  private:
    struct Place {
        std::size_t row = 0, column = 0;
    };
    struct Layout {
        std::vector<std::string> rows;
        Place cursor, end;
    };

    static Layout lay_out(const EditView& view, std::size_t columns);
    void show_part(Layout& layout, std::size_t height);
    void redraw(const Layout& layout, std::size_t from, std::string& out);
    void move_to(Place place, std::string& out);

    std::vector<std::string> rows_;
    Place at_, end_;
    std::size_t top_ = 0; // the first row that is shown of a text that is too long
};

} // namespace tarnsh
