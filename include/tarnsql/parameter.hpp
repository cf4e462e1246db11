// C++ values as parameters: the type each is sent as, and how it is bound.
//
//   bool                           BOOLEAN             std::string, std::string_view, texts     VARCHAR
//   signed char, 16, 32, 64 bits   TINYINT to BIGINT   bytes_view and what converts to it       BINARY
//   unsigned integers              the next wider one  tarnsql::date, std::chrono::sys_days     DATE
//   float, double                  FLOAT, DOUBLE       other time points of the system's clock  DATETIME
//   time_of_day, zoned_time        TIME, with zone     durations; of months and years           the INTERVALs
//   zoned_moment                   DATETIME with zone  large_object                             CLOB, BLOB
//   std::optional, nullptr         as its value; null
//
// Empty texts and empty bytes are nulls to the server: the protocol has one length for both.
#pragma once

#include <chrono>
#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <string_view>

#include "bytes.hpp"
#include "session.hpp"
#include "time.hpp"

namespace tarnsql {

class large_object;

/// A parameter with its name, made by named(). Holds references, so use it within the same full expression.
template <class T> struct named_value {
    const char* name; ///< as in the statement, without its prefix
    const T& value;   ///< what to bind
};

/// A value for a named parameter: conn.query("... WHERE people > :least", named("least", 1000)). The name is
/// given without its prefix (":"). Name all parameters of a statement or none.
template <class T> named_value<T> named(const char* name, const T& value) {
    return {name, value};
}

namespace detail {

template <class T> inline constexpr bool never = false;

// How a T is sent. "fixed" types have a type code and a number laid out as the library expects; "run" types
// have text or bytes. The primary template has neither: T cannot be bound.
template <class T, class = void> struct encoder {
    static_assert(never<T>, "no parameter can be made of a value of this type");
};

template <class Number, int32_t code> struct fixed_encoder {
    static constexpr int32_t type = code;
    using number = Number;
};

template <int32_t code> struct run_encoder {
    static constexpr int32_t type = code;
    using number = void;
};

template <size_t size>
inline constexpr int32_t integer_type = size == 1   ? TRN_TYPE_TINYINT
                                        : size == 2 ? TRN_TYPE_SMALLINT
                                        : size == 4 ? TRN_TYPE_INTEGER
                                                    : TRN_TYPE_BIGINT;

template <class T>
inline constexpr bool is_number =
    std::is_integral_v<T> && !std::is_same_v<T, bool> && !std::is_same_v<T, char> &&
    !std::is_same_v<T, wchar_t> && !std::is_same_v<T, char16_t> && !std::is_same_v<T, char32_t>;

template <size_t size>
using signed_of = std::conditional_t<
    size == 1, int8_t,
    std::conditional_t<size == 2, int16_t, std::conditional_t<size == 4, int32_t, int64_t>>>;

// The signed type that holds all values of T; for the widest unsigned type, those that fit.
template <class T>
using carrier = signed_of<std::is_signed_v<T> ? sizeof(T)
                          : sizeof(T) < 8     ? 2 * sizeof(T)
                                              : 8>;

template <class T>
struct encoder<T, std::enable_if_t<is_number<T>>>
    : fixed_encoder<carrier<T>, integer_type<sizeof(carrier<T>)>> {
    static carrier<T> encode(T value) {
        if constexpr (std::is_unsigned_v<T> && sizeof(T) == 8)
            if (value > static_cast<T>(INT64_MAX)) out_of_range("an integer above those of a BIGINT");
        return static_cast<carrier<T>>(value);
    }
};

template <> struct encoder<bool> : fixed_encoder<int8_t, TRN_TYPE_BOOLEAN> {
    static int8_t encode(bool value) noexcept { return value; }
};

template <> struct encoder<float> : fixed_encoder<float, TRN_TYPE_FLOAT> {
    static float encode(float value) noexcept { return value; }
};

template <> struct encoder<double> : fixed_encoder<double, TRN_TYPE_DOUBLE> {
    static double encode(double value) noexcept { return value; }
};

// A time point that counts whole days is a DATE, any other a DATETIME.
template <class Duration>
struct encoder<std::chrono::time_point<std::chrono::system_clock, Duration>,
               std::enable_if_t<!std::is_same_v<typename Duration::period, days::period>>>
    : fixed_encoder<int64_t, TRN_TYPE_DATETIME_RAW> {
    static int64_t encode(std::chrono::time_point<std::chrono::system_clock, Duration> value) {
        return converted<std::chrono::milliseconds>(value.time_since_epoch()).count();
    }
};

template <class Duration>
struct encoder<std::chrono::time_point<std::chrono::system_clock, Duration>,
               std::enable_if_t<std::is_same_v<typename Duration::period, days::period>>>
    : run_encoder<TRN_TYPE_TEXT> {
    static short_text encode(std::chrono::time_point<std::chrono::system_clock, Duration> value) {
        return text_of_date(value.time_since_epoch().count());
    }
};

template <class Rep, class Period>
struct encoder<std::chrono::duration<Rep, Period>> : run_encoder<TRN_TYPE_TEXT> {
    static short_text encode(std::chrono::duration<Rep, Period> value) {
        if constexpr (counts_months<Period>)
            return text_of_year_to_month(
                converted<std::chrono::duration<int64_t, months::period>>(value).count());
        else
            return text_of_day_to_second(converted<std::chrono::microseconds>(value));
    }
};

template <class T>
struct encoder<T, std::enable_if_t<std::is_same_v<T, time_of_day> || std::is_same_v<T, zoned_time> ||
                                   std::is_same_v<T, zoned_moment>>> : run_encoder<TRN_TYPE_TEXT> {
    static short_text encode(const T& value) { return text_of(value); }
};

// Texts. A null pointer is a null.
template <class T>
struct encoder<T, std::enable_if_t<std::is_convertible_v<const T&, std::string_view>>>
    : run_encoder<TRN_TYPE_TEXT> {
    static std::string_view encode(const T& value) {
        if constexpr (std::is_pointer_v<T>) {
            if (!value) return {};
        }
        return value;
    }
};

#if __cplusplus >= 202002L
template <> struct encoder<std::chrono::year_month_day> : run_encoder<TRN_TYPE_TEXT> {
    static short_text encode(std::chrono::year_month_day value) {
        if (!value.ok()) out_of_range("no such date");
        return text_of_date(std::chrono::sys_days(value).time_since_epoch().count());
    }
};
#endif

template <> struct encoder<char> : run_encoder<TRN_TYPE_TEXT> {
    static std::string_view encode(const char& value) noexcept { return {&value, 1}; }
};

template <class T>
struct encoder<T, std::enable_if_t<std::is_convertible_v<const T&, bytes_view> &&
                                   !std::is_convertible_v<const T&, std::string_view>>>
    : run_encoder<TRN_TYPE_BYTES> {
    static bytes_view encode(const T& value) noexcept { return value; }
};

template <class T> inline constexpr bool is_fixed = !std::is_void_v<typename encoder<T>::number>;

// Where a value is bound: on a connection or a parameter set, by name if there is one, else by position.
struct place {
    TRN_HANDLE* target;
    int32_t position;
    const char* name;

    int32_t bind(int32_t direction, int32_t type, void* value, int32_t size, int32_t* length) const noexcept {
        return name ? TRN_BindParamByName(target, name, direction, type, value, size, nullptr, length)
                    : TRN_BindParamByPos(target, position, direction, type, value, size, length);
    }
};

// The library copies the value; only its interface lacks the const.
inline int32_t bind_input(const place& at, int32_t type, const void* value, size_t size) {
    if (size > INT32_MAX) out_of_range("a value of 2 GiB or more: use a large object");
    return at.bind(TRN_DIRECTION_IN, type, const_cast<void*>(value), static_cast<int32_t>(size), nullptr);
}

inline int32_t bind_null(const place& at) noexcept {
    return at.bind(TRN_DIRECTION_IN, 0, nullptr, 0, nullptr);
}

template <class T> inline constexpr bool is_optional = false;
template <class T> inline constexpr bool is_optional<std::optional<T>> = true;

template <class T> int32_t bind_value(const place& at, const T& value) {
    if constexpr (std::is_same_v<T, std::nullptr_t> || std::is_same_v<T, std::nullopt_t>) {
        return bind_null(at);
    } else if constexpr (is_optional<T>) {
        return value ? bind_value(at, *value) : bind_null(at);
    } else if constexpr (std::is_same_v<T, large_object>) {
        return bind_lob(at, value); // in large_object.hpp
    } else {
        const auto encoded = encoder<T>::encode(value);
        if constexpr (is_fixed<T>)
            return bind_input(at, encoder<T>::type, &encoded, sizeof encoded);
        else
            return bind_input(at, encoder<T>::type, encoded.data(), encoded.size());
    }
}

// Binds for one execution on a connection. An exception drops the bindings, or else the next execution would
// send them.
class binding {
  public:
    explicit binding(session& of) noexcept : session_(of) {}
    ~binding() {
        if (unfinished_) TRN_ResetParams(&session_.handle);
    }
    binding(const binding&) = delete;
    binding& operator=(const binding&) = delete;

    template <class... Args> void add_all(const Args&... values) {
        if constexpr (sizeof...(Args) > 0) {
            unfinished_ = true;
            (add(values), ...);
            unfinished_ = false;
        }
    }

  private:
    template <class T> void add(const T& value) {
        check(session_, bind_value(place{&session_.handle, ++position_, nullptr}, value));
    }
    template <class T> void add(const named_value<T>& value) {
        check(session_, bind_value(place{&session_.handle, 0, value.name}, value.value));
    }

    session& session_;
    int32_t position_ = 0;
    bool unfinished_ = false;
};

template <class... Args> void bind_all(session& of, const Args&... values) {
    binding(of).add_all(values...);
}

} // namespace detail
} // namespace tarnsql
