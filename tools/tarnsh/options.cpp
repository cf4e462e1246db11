#include "options.h"

#include "failure.h"
#include "tarnsql_ext.h"
#include "variables.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <algorithm>
#include <cstdio>

namespace tarnsh {

namespace {

constexpr const char* footer =
    "Without -c and -f statements come from standard input. Rows go to standard output, all else to standard "
    "error.\n"
    "What the command line does not say of the connection comes from the service and the variables "
    "TARNSH_SERVER, "
    "TARNSH_PORT, TARNSH_DB and TARNSH_USER;\n"
    "the password from the connection string, --password-file, the service, TARNSH_PASSWORD or a prompt.\n"
    "Exit codes: 0 all well, 1 the shell's own failure, 2 no connection, 3 a statement failed.";

struct Texts {
    std::string format = format_names[0], delimiter, quote;
    std::vector<std::string> variables;
    bool no_header = false;
};

void define_connection(CLI::App& app, ConnectionOptions& options) {
    app.add_option("connection", options.text, "\"server=...;port=...;db=...;user=...\", or in parts:");
    app.add_option("--server", options.server, "name or IPv4 address")->type_name("NAME");
    app.add_option("--port", options.port, "TCP port")->check(CLI::Range(1, 65535))->type_name("NUMBER");
    app.add_option("--db", options.database, "database")->type_name("NAME");
    app.add_option("--user", options.user, "user")->type_name("NAME");
    app.add_option("--service", options.service, "section of ~/.tarnsh_service that names the rest")
        ->type_name("NAME");
    app.add_option("--password-file", options.password_file,
                   "file with the password; only its owner may read it")
        ->type_name("FILE");
    app.add_option("--connect-timeout", options.timeout_seconds,
                   "longest wait for the server; 30 when not given, 0 for any")
        ->check(CLI::Range(0, 86400))
        ->type_name("SECONDS");
}

void define(CLI::App& app, Options& options, Texts& texts) {
    app.name("tarnsh");
    app.footer(footer);
    app.set_version_flag("--version", fmt::format("tarnsh " TRN_VERSION " (libtarnsql {})", TRNX_Version()));
    define_connection(app, options.connection);
    app.add_option("-c", options.commands, "statements to run")->type_name("SQL");
    app.add_option("-f", options.script, "script to run; - is standard input")->type_name("FILE");
    app.add_option("-o", options.output, "file for the rows, or \"|COMMAND\"")->type_name("FILE");
    app.add_option("--log", options.log, "file that statements and rows are added to")->type_name("FILE");
    app.add_option("-v", texts.variables, "sets a variable")
        ->type_name("NAME=VALUE")
        ->allow_extra_args(false);
    app.add_option("--format", texts.format, "format of rows; table when not given")
        ->check(CLI::IsMember(format_names))
        ->type_name("FORMAT");
    app.add_option("--null", options.print.null_text, "text for a null")->type_name("TEXT");
    app.add_option("--delimiter", texts.delimiter, "character between the values of CSV")
        ->type_name("CHARACTER");
    app.add_option("--quote", texts.quote, "character around the values of CSV")->type_name("CHARACTER");
    app.add_flag("--no-header", texts.no_header, "no column names; \\copy FROM expects none");
    app.add_flag("-q,--quiet", options.quiet, "warnings and errors only");
    app.add_flag("-e,--echo", options.echo, "print every statement before it runs");
    app.add_flag("--timing", options.timing, "print the time of every statement");
    app.add_flag("-1,--single-transaction", options.single_transaction,
                 "all in one transaction, which a failure rolls back");
    app.add_flag("--continue-on-error", options.continue_on_error, "go on after a statement that fails");
    app.add_flag("--no-rc", options.no_rc, "do not read ~/.tarnshrc");
    app.add_flag("--no-pager", options.no_pager, "never start a pager");
}

void take_mark(const char* option, const std::string& text, char& mark) {
    if (text.empty()) return;
    const bool tab = text == "\\t";
    if (text.size() != 1 && !tab) throw CLI::ValidationError(option, "is one character");
    mark = tab ? '\t' : text[0];
}

void take_texts(const Texts& texts, Options& options) {
    options.print.format = *format_of(texts.format);
    options.print.header = !texts.no_header;
    take_mark("--delimiter", texts.delimiter, options.print.csv.delimiter);
    take_mark("--quote", texts.quote, options.print.csv.quote);
    for (const std::string& text : texts.variables) {
        const std::size_t equals = std::min(text.find('='), text.size());
        if (equals == text.size() || !is_variable_name(text.substr(0, equals)))
            throw CLI::ValidationError("-v", "needs NAME=VALUE");
        options.variables.emplace_back(text.substr(0, equals), text.substr(equals + 1));
    }
    if (options.single_transaction && options.continue_on_error)
        throw CLI::ValidationError("--single-transaction", "cannot go on after an error");
    const bool reads_script = options.commands || !options.script.empty();
    if (options.single_transaction && !reads_script)
        throw CLI::ValidationError("--single-transaction", "needs -c or -f");
}

} // namespace

std::optional<int> read_options(std::vector<std::string> arguments, Options& options) {
    CLI::App app("tarnsh, the SQL shell of TARNDBMS");
    Texts texts;
    define(app, options, texts);
    const auto refuse = [](const std::string& reason) {
        fmt::print(stderr, "tarnsh: {}; see tarnsh --help\n", reason);
        return exit_shell;
    };
    try {
        arguments.erase(arguments.begin());
        std::ranges::reverse(arguments); // as the parser takes a list
        app.parse(arguments);
        take_texts(texts, options);
    } catch (const CLI::ParseError& error) {
        return error.get_exit_code() == 0 ? app.exit(error) : refuse(error.what());
    }
    if (!options.connection.text.empty() && options.connection.has_parts())
        return refuse("a connection string cannot be combined with --server, --port, --db and --user");
    return std::nullopt;
}

} // namespace tarnsh
