#pragma once
// Writing JSON text: the escaping of a string value. Reading JSON is not needed by the core.

#include <string>
#include <string_view>

namespace bx {

// The text as the inside of a JSON string (no quotes added): '"' and '\' escaped, control
// characters (below U+0020, and DEL) as \n, \t, ... or \u00XX. Valid UTF-8 passes through
// unchanged; a byte that doesn't belong to a valid UTF-8 sequence becomes \ufffd, so the result
// is always valid JSON in valid UTF-8.
std::string JsonEscape(std::string_view text);
// JsonEscape in double quotes: a complete JSON string value.
std::string JsonQuote(std::string_view text);

} // namespace bx
