// Texts of files and command lines inside of messages, which are one line each.
#pragma once

#include <string>
#include <string_view>

namespace zel::text {

/// What no terminal and no line of a log should be given.
inline bool is_control(char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7f; }

/// The first 200 bytes of `text` for a message, control bytes shown as "?".
std::string quoted(std::string_view text);

/// "bad row format (row N): " and the line quoted.
std::string bad_row_message(unsigned long row, std::string_view line);

/// @return `message` with every control byte, newlines included, shown as "?"; one of more than
/// 10,000 bytes with " ... " for all but its first and last 200.
std::string one_line(std::string_view message);

}  // namespace zel::text
