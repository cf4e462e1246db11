// Small texts of the ground floor.
#include <gtest/gtest.h>

#include "base/text.h"

using namespace tarn;

TEST(text, comparison_folds_ascii_letters_only) {
    EXPECT_TRUE(equal_ignoring_case("Use_SSL", "uSE_ssl"));
    EXPECT_FALSE(equal_ignoring_case("a", "ab"));
    EXPECT_FALSE(equal_ignoring_case("[", "{"));
    EXPECT_FALSE(equal_ignoring_case("\xC4", "\xE4"));
}

TEST(text, fields_and_formats_are_cut_and_terminated) {
    char field[4] = {'x', 'x', 'x', 'x'};
    copy_to_field(field, sizeof field, "abcdef");
    EXPECT_STREQ(field, "abc");
    copy_to_field(field, sizeof field, "");
    EXPECT_STREQ(field, "");
    EXPECT_STREQ(format_text(8, "%s-%d", "abcdefgh", 5).get(), "abcdefg");
}
