// The built-in procedures and functions, for trying calls: together they have arguments of every direction,
// outputs of many types, rows, a cursor, texts and a failure.
#pragma once

#include "procedure_call.h"

#include <string>

namespace tarnlite {

// By its name in upper case. Throws SqlError when there is none.
const Procedure& find_procedure(const std::string& name);

} // namespace tarnlite
