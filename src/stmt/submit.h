// Sending statements. All exchanges run inside a RunningCall.
#pragma once

#include <cstdint>
#include <cstring>
#include <utility>

#include "base/text.h"
#include "conn/conn.h"
#include "stmt/param_set.h"

namespace tarn {

// A command text that contains names of any length.
class CommandText {
  public:
    template <class... Names> explicit CommandText(const char* form, const Names*... names) noexcept {
        const size_t size = std::strlen(form) + (std::strlen(names) + ... + 0);
        if (fits(size)) keep(format_text(size, form, names...));
    }
    // With a number of rows before one name.
    CommandText(const char* form, int32_t rows, const char* name) noexcept {
        constexpr size_t longest_number = 11;
        const size_t size = std::strlen(form) + longest_number + std::strlen(name);
        if (fits(size)) keep(format_text(size, form, rows, name));
    }

    // TRN_OK; TRN_ERR_ARGUMENT when the text does not fit a command frame; TRN_ERR_MEMORY.
    int32_t status() const noexcept { return status_; }
    const char* get() const noexcept { return text_.get(); }

  private:
    static bool fits(size_t size) noexcept { return size < INT32_MAX; }
    void keep(Owned<char> text) noexcept {
        text_ = std::move(text);
        status_ = text_ ? TRN_OK : TRN_ERR_MEMORY;
    }

    Owned<char> text_;
    int32_t status_ = TRN_ERR_ARGUMENT;
};

// Sends a statement with the parameters of a set, if there is one, as one flushed command. TRN_OK;
// TRN_ERR_ARGUMENT, with nothing sent, when the set does not fit its fields on the wire; TRN_ERR_NETWORK when
// the rest of an earlier reply could not be skipped, which prints the line of a broken stream with the step,
// if any. A failed send is noticed when the reply cannot be read.
int32_t submit(Conn& conn, const char* sql, const ParamSet* params = nullptr,
               const char* step = nullptr) noexcept;

} // namespace tarn
