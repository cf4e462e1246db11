#include "conn/login_text.h"

#include <charconv>
#include <cstring>
#include <string_view>

namespace tarn {

namespace {

// A text in a fixed area; a piece that does not fit marks it as overflowed.
class ClauseText {
  public:
    ClauseText(char* area, size_t limit) noexcept : area_(area), limit_(limit) { *area_ = 0; }

    void add(std::string_view piece) noexcept {
        if (piece.size() > limit_ - length_) {
            overflown_ = true;
            return;
        }
        std::memcpy(area_ + length_, piece.data(), piece.size());
        length_ += piece.size();
        area_[length_] = 0;
    }
    void add_number(int32_t number) noexcept {
        char digits[16];
        const auto end = std::to_chars(digits, digits + sizeof digits, number).ptr;
        add({digits, static_cast<size_t>(end - digits)});
    }
    void add_quoted(std::string_view opening, const char* value) noexcept {
        add(opening);
        add(value);
        add("'");
    }
    bool overflown() const noexcept { return overflown_; }

  private:
    char* area_;
    size_t limit_;
    size_t length_ = 0;
    bool overflown_ = false;
};

} // namespace

// The texts of the two channels differ, and servers expect both forms: the encrypted one has its character
// set and isolation clauses even when empty, omits a lock time-out below 0, and writes the large-object
// clause without blanks.
bool build_login_text(const Conn& conn, char* area, size_t limit) noexcept {
    const Settings& settings = conn.settings;
    const bool encrypted = settings.use_ssl != 0;
    ClauseText text(area, limit);
    text.add("login database = ");
    text.add(settings.database);
    text.add_quoted(" user='", settings.user);
    text.add_quoted(" password='", settings.password);
    if (encrypted || settings.char_set[0]) text.add_quoted(" char_set = '", settings.char_set);
    if (encrypted || settings.iso_level[0]) text.add_quoted(" iso_level = '", settings.iso_level);
    if (settings.current_schema[0]) text.add_quoted(" current_schema = '", settings.current_schema);
    if (settings.keyword_filter[0]) text.add_quoted(" keyword_filter='", settings.keyword_filter);
    if (encrypted ? settings.lock_timeout > 0 : settings.lock_timeout != 0) {
        text.add(" lock_timeout = ");
        text.add_number(settings.lock_timeout);
    }
    text.add(settings.auto_commit_off == 1 ? " auto_commit = 'off'" : " auto_commit = 'on'");
    if (settings.cursor_id_off != 1) text.add(" return_cursor_id  = 'on'");
    if (settings.lob_descriptor != 0) text.add(encrypted ? " lob_ret=descriptor" : " lob_ret  =descriptor");
    text.add_quoted(" version = '", conn.protocol_version);
    return !text.overflown();
}

} // namespace tarn
