// The backslash commands.
#pragma once

#include "shell.h"

#include <string>
#include <string_view>
#include <vector>

namespace tarnsh {

// Runs a command. Throws Failure, also for an unknown command or wrong arguments.
void run_command(Shell& shell, const Piece& piece);
bool command_needs_server(const Piece& piece);

// The names of all commands, without the backslash.
std::vector<std::string> command_names();

// What a command is called with.
struct Call {
    std::string_view arguments;
    std::string_view before; // the unfinished statement in front of it
};

// The commands; false for wrong arguments. By subject: commands_session.cpp,
bool connect(Shell& shell, const Call& call);
bool connection_info(Shell& shell, const Call& call);
bool set_timing(Shell& shell, const Call& call);
bool watch(Shell& shell, const Call& call);
bool run_shell_command(Shell& shell, const Call& call);
bool change_folder(Shell& shell, const Call& call);
bool set_variable(Shell& shell, const Call& call);
bool unset_variable(Shell& shell, const Call& call);
// commands_statement.cpp,
bool edit_statement(Shell& shell, const Call& call);
bool go(Shell& shell, const Call& call);
bool go_vertically(Shell& shell, const Call& call);
bool show_statement(Shell& shell, const Call& call);
bool drop_statement(Shell& shell, const Call& call);
bool include(Shell& shell, const Call& call);
bool include_relative(Shell& shell, const Call& call);
// commands_output.cpp
bool redirect(Shell& shell, const Call& call);
bool tee(Shell& shell, const Call& call);
bool echo(Shell& shell, const Call& call);
bool set_format(Shell& shell, const Call& call);
bool set_expanded(Shell& shell, const Call& call);
bool set_print(Shell& shell, const Call& call);
std::vector<std::string> print_setting_names();
// and commands_catalog.cpp.
bool describe_table(Shell& shell, const Call& call);
bool list_tables(Shell& shell, const Call& call);
bool list_views(Shell& shell, const Call& call);
bool list_indexes(Shell& shell, const Call& call);
bool list_databases(Shell& shell, const Call& call);

} // namespace tarnsh
