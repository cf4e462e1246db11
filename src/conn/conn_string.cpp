#include "conn/conn_string.h"

#include <cstddef>
#include <cstring>
#include <initializer_list>
#include <string_view>

#include "base/text.h"

namespace tarn {

#define TARN_TEXT(field) Setting::text, offsetof(Settings, field), sizeof(Settings::field)
#define TARN_FIELD(setting, field) Setting::setting, offsetof(Settings, field), sizeof(Settings::field)

static constexpr Key keys[] = {
    {"DB", TARN_TEXT(database)},
    {"DataBase", TARN_TEXT(database)},
    {"USER", TARN_TEXT(user)},
    {"UID", TARN_TEXT(user)},
    {"USER ID", TARN_TEXT(user)},
    {"USERID", TARN_TEXT(user)},
    {"PWD", TARN_TEXT(password)},
    {"PASSWORD", TARN_TEXT(password)},
    {"PORT", TARN_FIELD(port, port)},
    {"SERVER", TARN_TEXT(server)},
    {"IP", TARN_TEXT(server)},
    {"AUTO_COMMIT", TARN_FIELD(off_flag, auto_commit_off)},
    {"auto commit", TARN_FIELD(off_flag, auto_commit_off)},
    {"autocommit", TARN_FIELD(off_flag, auto_commit_off)},
    {"use_ssl", TARN_FIELD(on_flag, use_ssl)},
    {"ssl", TARN_FIELD(on_flag, use_ssl)},
    {"USESSL", TARN_FIELD(on_flag, use_ssl)},
    {"USE SSL", TARN_FIELD(on_flag, use_ssl)},
    {"CHAR_SET", TARN_TEXT(char_set)},
    {"CHARACTER_SET", TARN_TEXT(char_set)},
    {"CHARSET", TARN_TEXT(char_set)},
    {"CHARACTER SET", TARN_TEXT(char_set)},
    {"CURRENT_SCHEMA", TARN_TEXT(current_schema)},
    {"KEYWORD_FILTER", TARN_TEXT(keyword_filter)},
    {"TIME_ZONE", Setting::not_kept, 0, 0},
    {"time zone", Setting::not_kept, 0, 0},
    {"timezone", Setting::not_kept, 0, 0},
    {"ISO_LEVEL", TARN_TEXT(iso_level)},
    {"ISO LEVEL", TARN_TEXT(iso_level)},
    {"ISOLEVEL", TARN_TEXT(iso_level)},
    {"RETURN_ROWID", Setting::not_kept, 0, 0}, // the login has no clause for it
    {"RETURN ROWID", Setting::not_kept, 0, 0},
    {"RETURN ROW_ID", Setting::not_kept, 0, 0},
    {"RETURN_ROW_ID", Setting::not_kept, 0, 0},
    {"LOB_RET", TARN_FIELD(always_one, lob_descriptor)},
    {"LOB RET", TARN_FIELD(always_one, lob_descriptor)},
    {"LOBRET", TARN_FIELD(always_one, lob_descriptor)},
    {"LOCKTIMEOUT", TARN_FIELD(number, lock_timeout)},
    {"LOCK TIMEOUT", TARN_FIELD(number, lock_timeout)},
    {"LOCK_TIMEOUT", TARN_FIELD(number, lock_timeout)},
    {"RETURN_CURSOR_ID", TARN_FIELD(off_flag, cursor_id_off)},
    {"RETURN CURSOR_ID", TARN_FIELD(off_flag, cursor_id_off)},
    {"RETURN_CURSORID", TARN_FIELD(off_flag, cursor_id_off)},
    {"USE_SRVCURSOR", TARN_FIELD(off_flag, srv_cursor_off)},
};

#undef TARN_TEXT
#undef TARN_FIELD

static bool is_one_of(std::string_view value, std::initializer_list<std::string_view> words) noexcept {
    for (std::string_view word : words)
        if (equal_ignoring_case(value, word)) return true;
    return false;
}

static void store_setting(Settings& settings, const Key& key, std::string_view value) noexcept {
    char* field = reinterpret_cast<char*>(&settings) + key.offset;
    const auto store_number = [field](int32_t number) { std::memcpy(field, &number, sizeof number); };
    switch (key.setting) {
    case Setting::text: copy_to_field(field, key.size, value); break;
    case Setting::number: store_number(leading_int32(value)); break;
    case Setting::port: settings.port = static_cast<uint16_t>(leading_int32(value)); break;
    case Setting::on_flag: store_number(is_one_of(value, {"on", "yes", "true"})); break;
    case Setting::off_flag: store_number(is_one_of(value, {"off", "false"})); break;
    case Setting::always_one: store_number(1); break;
    case Setting::not_kept: break;
    }
}

std::string_view without_blanks(std::string_view text) noexcept {
    while (!text.empty() && text.front() == ' ')
        text.remove_prefix(1);
    while (!text.empty() && text.back() == ' ')
        text.remove_suffix(1);
    return text;
}

const Key* find_key(std::string_view name) noexcept {
    for (const Key& key : keys)
        if (equal_ignoring_case(name, key.name)) return &key;
    return nullptr;
}

static void parse_setting(Settings& settings, std::string_view segment) noexcept {
    const size_t equals = segment.find('=');
    if (equals == std::string_view::npos) return;
    if (const Key* key = find_key(without_blanks(segment.substr(0, equals))))
        store_setting(settings, *key, without_blanks(segment.substr(equals + 1)));
}

bool Segments::next(std::string_view& segment) noexcept {
    if (left_.empty()) return false;
    const size_t end = left_.find(separator_);
    segment = left_.substr(0, end);
    left_.remove_prefix(end == std::string_view::npos ? left_.size() : end + 1);
    return true;
}

bool holds_address_list(std::string_view segment) noexcept {
    return segment.find("IPS=") != std::string_view::npos || segment.find("ips=") != std::string_view::npos;
}

// The last list of a string counts.
static bool keep_address_list(Conn& conn, std::string_view text) noexcept {
    OwnedAddressList list = parse_address_list(text);
    if (!list) return false;
    release_address_list(conn.ips_attrs);
    conn.ips_attrs = list.release();
    return true;
}

bool parse_conn_string(const char* text, Conn& conn) noexcept {
    const std::string_view whole(text);
    if (whole.size() < 5) return false;
    Segments segments(whole);
    if (!segments.several()) return false;

    std::string_view segment;
    std::string_view work; // the last segment that fitted; a longer one repeats it
    while (segments.next(segment)) {
        if (holds_address_list(segment)) {
            // The list begins after the segment's fourth byte, wherever "IPS=" is in it.
            if (!keep_address_list(conn, segment.substr(4))) return false;
            continue;
        }
        if (segment.size() < segment_limit) work = segment;
        parse_setting(conn.settings, work);
    }
    return true;
}

} // namespace tarn
