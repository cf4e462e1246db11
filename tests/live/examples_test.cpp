// The example programs, as a user runs them.
#include "live_server.h"

#include <algorithm>
#include <fstream>
#include <iterator>

class live_examples : public testing::Test {
  protected:
    // What a program prints; its path is empty where the examples are not built.
    std::string run(const std::string& program, std::vector<std::string> arguments = {}) {
        arguments.insert(arguments.begin(), {program, server_.connection_string()});
        Program example(arguments);
        const std::string output = example.rest();
        EXPECT_EQ(example.wait().value_or(-1), 0) << output << example.errors();
        return output;
    }
    void SetUp() override {
        if (!*QUICKSTART_PROGRAM) GTEST_SKIP() << "the examples are not built (TARNSQL_BUILD_EXAMPLES)";
    }
    LiveServer server_;
};

TEST_F(live_examples, quickstart_loads_the_character_table_and_reads_all_of_it_back) {
    std::ifstream table(CHARACTER_TABLE);
    const auto count = std::count(std::istreambuf_iterator<char>(table), {}, '\n');
    ASSERT_GT(count, 0) << CHARACTER_TABLE << " is missing (package unicode-data)";
    const std::string lines = std::to_string(count), output = run(QUICKSTART_PROGRAM, {CHARACTER_TABLE});
    for (const std::string& expected :
         {"\nevery row read back equals its line of the file\n"s,
          "the table holds " + lines + " characters\n",
          "as the application sees it: code EC0100, message: common error\nno such table: no_such_table\n"s})
        EXPECT_NE(output.find(expected), std::string::npos) << expected << "is not in:\n" << output;
    const std::string last = output.substr(output.rfind('\n', output.size() - 2) + 1);
    const size_t sent = last.find(" sent in "), read = last.find(" read back in ");
    EXPECT_TRUE(last.starts_with(lines + " rows and ") && sent < read && read < last.size() &&
                last.ends_with("rows/s)\n"))
        << last;
}

TEST_F(live_examples, cursor_report_tells_the_same_from_a_cursor_and_from_the_whole_result) {
    const std::string output = run(CURSOR_REPORT_PROGRAM, {"50000"});
    EXPECT_NE(output.find("\nwest         12500 "), std::string::npos) << output;
    EXPECT_EQ(run(CURSOR_REPORT_PROGRAM, {"50000", "whole"}), output);
}

TEST_F(live_examples, towns_prints_its_report) {
    const std::string output = run(TOWNS_PROGRAM);
    EXPECT_NE(output.find("100000 visits by 4 towns\n"), std::string::npos) << output;
}
