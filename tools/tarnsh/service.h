// The service file, ~/.tarnsh_service or where TARNSH_SERVICE_FILE says: sections with the settings of a
// connection each,
//
//     [sales]
//     server = db.example.org
//     user = ada
//
#pragma once

#include <string>
#include <utility>
#include <vector>

namespace tarnsh {

// The keys and values of a section. Fails with exit_shell when there is no such file or section, when a line
// is none of these, and when others than its owner can read a file with a password in that section.
std::vector<std::pair<std::string, std::string>> read_service(const std::string& section);

} // namespace tarnsh
