// Texts between UTF-8 and what Windows takes.
#pragma once

#include <string>
#include <string_view>

namespace tarnsh {

std::wstring wide_text(const std::string& text);
std::string narrow_text(std::wstring_view wide);

} // namespace tarnsh
