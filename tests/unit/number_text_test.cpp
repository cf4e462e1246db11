// The library writes and reads numbers without the process's locale. What it writes has to be what printf writes in the "C"
// locale, which this program is in, and what it reads what atoi and atof read.
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <random>

#include <gtest/gtest.h>

#include "base/text.h"
#include "result/working_text.h"

using namespace tarn;

template <class... Arguments> static std::string printed(const char* format, Arguments... arguments) {
    char buffer[512];
    std::snprintf(buffer, sizeof buffer, format, arguments...);
    return std::string(buffer).substr(0, 63);
}

template <class Add> static std::string written(Add add) {
    WorkingText text;
    add(text);
    return std::string(text.text());
}

// The rule for doubles as it is defined: by formatting.
static std::string defined_double_text(double value) {
    char whole[512];
    std::snprintf(whole, sizeof whole, "%.0f", value);
    const size_t digits = std::string_view(whole).size() - (whole[0] == '-');
    return digits >= 1 && digits <= 15 ? printed("%.*f", static_cast<int>(16 - digits), value)
                                       : printed("%f", value);
}

// The sign of a NaN has no meaning, and runtimes differ on whether they print it.
static double without_nan_sign(double value) {
    return std::isnan(value) ? std::fabs(value) : value;
}

static void expect_same_texts(double any_value) {
    const double value = without_nan_sign(any_value);
    ASSERT_EQ(written([&](WorkingText& t) { t.add_fixed(value, 6); }), printed("%f", value));
    ASSERT_EQ(written([&](WorkingText& t) { t.add_general(value, 16); }), printed("%.16g", value));
    ASSERT_EQ(written([&](WorkingText& t) { t.add_double(value); }), defined_double_text(value));
}

TEST(number_text, doubles_are_written_as_printf_writes_them) {
    constexpr double infinity = std::numeric_limits<double>::infinity();
    constexpr double nan = std::numeric_limits<double>::quiet_NaN();
    // clang-format off
    const double specials[] = {
        0.0, 0.5, 1.5, 2.5, 9.5, 99.5, 0.1, 1e-5, 5e-324, 2.2250738585072014e-308, 1.7976931348623157e308, infinity, nan, 3.5,
        12345.678, 1e15, 1e16, 999999999999999.5, 999999999999999.4, 99999999999999.5, 123456789012345.67, 9007199254740993.0,
    };
    // clang-format on
    for (const double special : specials) {
        expect_same_texts(special);
        expect_same_texts(-special);
    }
    for (int exponent = -30; exponent <= 30; ++exponent)
        for (const double near : {std::pow(10, exponent), std::nextafter(std::pow(10, exponent), 0.0),
                                  std::pow(10, exponent) - 0.5, 5 * std::pow(10, exponent)})
            expect_same_texts(near);
    std::mt19937_64 random(20240229);
    for (int i = 0; i < 100000; ++i) {
        const uint64_t bits = random();
        double any;
        std::memcpy(&any, &bits, sizeof any);
        expect_same_texts(any);
        // Most of the values above are huge or tiny: as many again of the size that applications store.
        expect_same_texts(static_cast<double>(static_cast<int64_t>(random())) /
                          std::pow(10.0, static_cast<double>(random() % 20)));
    }
}

TEST(number_text, integers_are_written_as_printf_writes_them) {
    std::mt19937_64 random(99);
    for (int i = 0; i < 20000; ++i) {
        const int64_t value = static_cast<int64_t>(random()) >> (random() % 64);
        ASSERT_EQ(written([&](WorkingText& t) { t.add_integer(value); }),
                  printed("%lld", static_cast<long long>(value)));
        ASSERT_EQ(written([&](WorkingText& t) { t.add_signed(value); }),
                  printed("%+lld", static_cast<long long>(value)));
        for (const int width : {2, 4})
            ASSERT_EQ(written([&](WorkingText& t) { t.add_padded(value, width); }),
                      printed(width == 2 ? "%02lld" : "%04lld", static_cast<long long>(value)));
    }
    EXPECT_EQ(written([](WorkingText& t) { t.add_padded(INT64_MIN, 4); }), "-9223372036854775808");
}

TEST(number_text, leading_numbers_are_read_as_the_runtime_reads_them) {
    for (const char* text :
         {"", " ", "12", " \t\n-12x", "+7", "+-7", "-+7", "--7", "0x10", "2147483648", "-2147483649",
          "99999999999", "9999999999999999999999", "-9999999999999999999999", "1e5", ".5", "\v3"})
        EXPECT_EQ(leading_int32(text), static_cast<int32_t>(std::strtoll(text, nullptr, 10))) << text;
    for (const char* text :
         {"", "x", "1.5", "-1.5e3", " +2.25z", "1e400", "-1e400", "1e-400", "-1e-400", ".5", "5.", "1e",
          "123456789012345678901234567890.123", "4.9e-324", "1.7976931348623159e308", "+-1"})
        EXPECT_EQ(leading_double(text), std::strtod(text, nullptr)) << text;
    EXPECT_EQ(leading_double("0." + std::string(400, '0') + "1"), 0.0);
    EXPECT_EQ(leading_double(std::string(400, '9')), std::numeric_limits<double>::infinity());
}
