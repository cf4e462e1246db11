// The quickstart example, as a user runs it.
#include "live_server.h"

#include <algorithm>
#include <fstream>
#include <iterator>
#include <regex>
#include <sys/wait.h>

static std::string content_of(const std::filesystem::path& file) {
    std::ifstream stream(file);
    return {std::istreambuf_iterator<char>(stream), {}};
}

TEST(live_quickstart, loads_the_character_table_and_reads_all_of_it_back) {
    if (!*QUICKSTART_PROGRAM) GTEST_SKIP() << "the examples are not built (TARNSQL_BUILD_EXAMPLES)";
    const std::string table = content_of(CHARACTER_TABLE);
    ASSERT_FALSE(table.empty()) << CHARACTER_TABLE << " is missing (package unicode-data)";
    const std::string lines = std::to_string(std::count(table.begin(), table.end(), '\n'));

    LiveServer server;
    const TemporaryFolder folder;
    ChildProcess quickstart({QUICKSTART_PROGRAM, server.connection_string(), CHARACTER_TABLE},
                            folder / "output");
    const std::optional<int> status = quickstart.wait();
    const std::string output = content_of(folder / "output");
    ASSERT_TRUE(status && WIFEXITED(*status) && WEXITSTATUS(*status) == 0) << output;

    for (const std::string& expected : {std::string("\nevery row read back equals its line of the file\n"),
                                        "the table holds " + lines + " characters\n",
                                        std::string("as the application sees it: code EC0100, message: "
                                                    "common error\nno such table: no_such_table\n")})
        EXPECT_NE(output.find(expected), std::string::npos) << expected << "is not in:\n" << output;
    const std::regex closing_line(
        "\n" + lines + " rows and [0-9.]+ MB of [a-z]+ sent in [^\n]* read back in [^\n]*rows/s\\)\n$");
    EXPECT_TRUE(std::regex_search(output, closing_line)) << output;
}
