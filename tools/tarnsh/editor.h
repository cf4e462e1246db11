// Interactive input: lines that are edited together until they are complete, with history and completion.
// Draws on the terminal only, never on standard output.
#pragma once

#include "edit_buffer.h"
#include "history.h"
#include "keys.h"
#include "screen.h"

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

namespace tarnsh {

enum class Line {
    read,
    interrupted,
    end,
};

// What could replace the text between the position and the cursor.
struct Completion {
    std::size_t place = 0;
    std::vector<std::string> candidates{};
};

class Editor {
  public:
    // Gets the text before the cursor.
    std::function<Completion(const std::string&)> complete = nullptr;
    // Whether the text can be taken; otherwise Enter begins a further line.
    std::function<bool(const std::string&)> is_ready = nullptr;
    bool coloured = false, hinting = false;
    History history{};

    Line read(const std::string& first_prompt, const std::string& next_prompt, std::string& text);
    // The text that the next read() starts with.
    void prefill(std::string text) { prefilled_ = std::move(text); }

  private:
    enum class Step {
        more,
        done,
        interrupted,
        end,
    };

    Line read_plainly(const std::string& prompt, std::string& text);
    Step read_press(KeyPress& press);
    Step apply(const KeyPress& press);
    void edit(Key key);
    Step enter();
    void to_history(bool back);
    void complete_word(bool again);
    void list(const std::vector<std::string>& candidates);
    Step search(KeyPress& press);
    std::string hint() const;
    void draw();
    void pause();

    EditBuffer buffer_{};
    Screen screen_{};
    KeyReader keys_{};
    std::string first_prompt_{}, next_prompt_{}, draft_{}, prefilled_{};
    std::size_t entry_ = 0; // of the history; behind the last one: the draft
    bool after_tab_ = false;
};

} // namespace tarnsh
