// The lines that the library prints: they tell errors from warnings, which share a status.
#pragma once

#include "session.h"

#include <string>

namespace tarnsh {

// What the library printed during one call.
struct Printed {
    std::string error;
    bool warned = false;
    bool lost = false;
    std::string network; // the step at which the link broke
};

// Passes warnings and notices on.
Printed take_printed(Session& session);

// The error text of the connection, without the code of this library's own texts.
std::string error_text(Session& session);

} // namespace tarnsh
