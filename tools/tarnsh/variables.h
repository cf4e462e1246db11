// Variables, and their substitution in statements and commands.
#pragma once

#include <map>
#include <string>
#include <string_view>

namespace tarnsh {

using Variables = std::map<std::string, std::string, std::less<>>;

// Letters, digits and underscores, not beginning with a digit.
bool is_variable_name(std::string_view name);

// The text with :name, :'name' and :"name" replaced: by the value as it is, as a quoted text, as a quoted
// name. Names without a variable, and everything in quotes and comments, stay.
std::string substituted(std::string_view text, const Variables& variables);

} // namespace tarnsh
