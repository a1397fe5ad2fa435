// Text of unknown origin, made fit for a terminal or a log.
#pragma once

#include <string>
#include <string_view>

namespace kgen {

/// A text in which nothing moves a terminal's cursor or ends a line: control characters (C0, DEL, C1) and
/// bytes that are not UTF-8 become escapes, "\n", "\r", "\t", else "\x1b" for a byte and "\u0085" for a C1
/// character; but the characters in pKept stay. Backslashes stay as they are, so the text is for people and
/// cannot be turned back. Any thread.
std::string escapeControls(std::string_view pText, std::string_view pKept = {});

/// A JSON document with DEL and the C1 control characters as escapes too: JSON itself asks for those of C0
/// only. Any thread.
std::string escapeJsonControls(std::string_view pJson);

} // namespace kgen
