// What Tab offers: keywords, names, commands, their settings, and files.
#pragma once

#include "editor.h"
#include "shell.h"

#include <string>

namespace tarnsh {

// For the text before the cursor.
Completion complete(Shell& shell, const std::string& text);

} // namespace tarnsh
