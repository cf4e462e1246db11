#include "ext/check_string.h"

#include <algorithm>
#include <charconv>
#include <initializer_list>
#include <string_view>

#include "base/text.h"
#include "conn/conn_string.h"
#include "conn/messages.h"

namespace tarn {

namespace {

struct Verdict {
    StringFault fault = StringFault::none;
    std::string_view what; // the key or segment
    const char* why = "";
};

} // namespace

static bool is_one_of(std::string_view value, std::initializer_list<std::string_view> words) noexcept {
    return std::any_of(words.begin(), words.end(),
                       [&](std::string_view word) { return equal_ignoring_case(value, word); });
}

static bool is_number(std::string_view value, int64_t least, int64_t most) noexcept {
    int64_t number;
    const char* end = value.data() + value.size();
    const auto [stop, error] = std::from_chars(value.data(), end, number);
    return error == std::errc() && stop == end && number >= least && number <= most;
}

static bool is_address(std::string_view value) noexcept {
    char text[32];
    copy_to_field(text, sizeof text, value);
    return value.size() < sizeof text && platform::parse_address(text) != platform::no_address;
}

// The login text puts every value but the database's between quotes.
static const char* fault_of_text(const Key& key, std::string_view value) noexcept {
    if (value.size() >= key.size) return message::value_too_long;
    if (value.find('\'') != std::string_view::npos) return message::value_with_quote;
    if (key.offset == offsetof(Settings, server))
        return is_address(value) ? nullptr : message::value_no_address;
    if (key.offset == offsetof(Settings, database) &&
        value.find_first_of(" \t\r\n") != std::string_view::npos)
        return message::value_with_blank;
    return nullptr;
}

// What is wrong with a value; null if nothing is.
static const char* fault_of_value(const Key& key, std::string_view value) noexcept {
    switch (key.setting) {
    case Setting::text: return fault_of_text(key, value);
    case Setting::number: return is_number(value, INT32_MIN, INT32_MAX) ? nullptr : message::value_no_number;
    case Setting::port: return is_number(value, 1, UINT16_MAX) ? nullptr : message::value_no_port;
    case Setting::on_flag:
        return is_one_of(value, {"on", "yes", "true", "off", "no", "false"}) ? nullptr
                                                                             : message::value_no_switch;
    case Setting::off_flag:
        return is_one_of(value, {"on", "true", "off", "false"}) ? nullptr : message::value_no_on_off;
    case Setting::always_one:
    case Setting::not_kept: return nullptr;
    }
    return nullptr;
}

static const char* fault_of_list(std::string_view segment) noexcept {
    if (!equal_ignoring_case(segment.substr(0, 4), "ips=")) return message::segment_with_list;
    constexpr int most = 100;
    segment.remove_prefix(4);
    int addresses = 0;
    for (size_t comma = 0; comma != std::string_view::npos; segment.remove_prefix(comma + 1)) {
        comma = segment.find(',');
        if (!is_address(segment.substr(0, comma))) return message::value_no_address;
        if (++addresses > most) return message::list_too_long;
        if (comma == std::string_view::npos) break;
    }
    return nullptr;
}

static Verdict check_segment(std::string_view segment) noexcept {
    if (without_blanks(segment).empty()) return {};
    if (holds_address_list(segment)) {
        const char* why = fault_of_list(segment);
        return {why ? StringFault::refused : StringFault::none, "IPS", why};
    }
    const size_t equals = segment.find('=');
    if (equals == std::string_view::npos)
        return {StringFault::refused, without_blanks(segment), message::segment_no_setting};
    const std::string_view name = without_blanks(segment.substr(0, equals));
    if (segment.size() >= segment_limit) return {StringFault::refused, name, message::segment_too_long};
    const Key* key = find_key(name);
    if (!key) return {StringFault::unknown_key, name, message::key_unknown};
    const char* why = fault_of_value(*key, without_blanks(segment.substr(equals + 1)));
    return {why ? StringFault::refused : StringFault::none, name, why};
}

static Verdict check(const char* text) noexcept {
    Segments segments(text);
    if (!segments.several()) return {StringFault::refused, "", message::string_of_one_segment};
    Verdict worst;
    for (std::string_view segment; segments.next(segment);) {
        const Verdict verdict = check_segment(segment);
        if (verdict.fault > worst.fault) worst = verdict;
    }
    return worst;
}

StringFault check_conn_string(const char* text, Owned<char>& words) noexcept {
    constexpr size_t longest_name = 60; // a value is never shown: it may be a password
    const Verdict verdict = check(text);
    if (verdict.fault == StringFault::none) return verdict.fault;
    const int shown = static_cast<int>(std::min(verdict.what.size(), longest_name));
    words = format_text(200, message::string_fault, shown, verdict.what.data(), verdict.why);
    return verdict.fault;
}

} // namespace tarn
