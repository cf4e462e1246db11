// The library writes and reads numbers without the process's locale. What it writes has to be what printf
// writes in the "C" locale, which this program is in, and what it reads what atoi and atof read.
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
}

TEST(number_text, whole_numbers_outside_32_bits_give_the_nearest_end) {
    // clang-format off
    const std::pair<std::string, int32_t> cases[] = {
        {"3000000000", INT32_MAX}, {"2147483647", INT32_MAX}, {"2147483648.9", INT32_MAX},
        {"-2147483648", INT32_MIN}, {"-2147483649", INT32_MIN}, {" +9999999999999999999999x", INT32_MAX},
        {"-1" + std::string(400, '0'), INT32_MIN}, {"4294967296", INT32_MAX}, {"-42.75", -42}, {"1e9", 1},
        {"x", 0},
    };
    // clang-format on
    for (const auto& [text, value] : cases)
        EXPECT_EQ(nearest_int32(text), value) << text;
}

// What is too large and what too small shows only when the exponent is added to the place of the first digit.
TEST(number_text, doubles_out_of_range_are_infinite_or_zero_as_the_runtime_has_it) {
    const std::string ones(400, '1'), zeros(400, '0'), huge = "9999999999999999999999";
    // clang-format off
    const std::string texts[] = {
        ones, ones + "e-5", ones + "e-92", ones + "e-91", ones.substr(0, 320) + "e-300", ones + "e-724",
        ones + "e-800", ones + "." + ones + "e-90", ones + "E+5", zeros + "1", zeros + "1e309",
        zeros + "." + zeros + "1", "0." + zeros + "1e400", "0." + zeros + "1e720", "0." + zeros + "1e710",
        "." + zeros + ones + "e+709", "0." + zeros + "1e-1", "1" + zeros + "e-" + huge,
        "0." + zeros + "1e" + huge, "1e-" + huge, "1e+" + huge, "0e" + huge,
        zeros + "." + zeros + "e" + huge, "1" + zeros + "e-400", "0." + zeros + "1e401", "1e308", "9.9e308",
        "1e-323", "1e-324", "2.4703282292062327e-324", "2.4703282292062328e-324", "1.7976931348623158e308",
        "2.2250738585072011e-308",
    };
    // clang-format on
    for (const std::string& text : texts)
        for (const std::string& signed_text : {text, "-" + text, " +" + text + "x"}) {
            const double expected = std::strtod(signed_text.c_str(), nullptr);
            EXPECT_EQ(leading_double(signed_text), expected) << signed_text;
            EXPECT_EQ(std::signbit(leading_double(signed_text)), std::signbit(expected)) << signed_text;
        }
    std::mt19937 random(7);
    for (int i = 0; i < 20000; ++i) {
        const auto digits = [&](size_t most) { return ones.substr(0, random() % most); };
        const std::string text = zeros.substr(0, random() % 2 * (random() % 400)) + digits(400) + "." +
                                 zeros.substr(0, random() % 2 * (random() % 400)) + digits(400) + "e" +
                                 std::to_string(static_cast<int>(random() % 2000) - 1000);
        ASSERT_EQ(leading_double(text), std::strtod(text.c_str(), nullptr)) << text;
    }
}
