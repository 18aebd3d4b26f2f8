#include "foundation/Json.h"

#include "foundation/Common.h"

#include <cstdio>

namespace bx {

std::string JsonEscape(std::string_view text) {
    std::string out;
    out.reserve(text.size());
    std::size_t pos = 0;
    while (pos < text.size()) {
        unsigned char c = static_cast<unsigned char>(text[pos]);
        if (c >= 0x80) {
            std::size_t length = Utf8SequenceLength(text, pos);
            if (length == 0) {
                out += "\\ufffd";
                ++pos;
            } else {
                out.append(text.substr(pos, length));
                pos += length;
            }
            continue;
        }
        switch (c) {
        case '"':
            out += "\\\"";
            break;
        case '\\':
            out += "\\\\";
            break;
        case '\b':
            out += "\\b";
            break;
        case '\f':
            out += "\\f";
            break;
        case '\n':
            out += "\\n";
            break;
        case '\r':
            out += "\\r";
            break;
        case '\t':
            out += "\\t";
            break;
        default:
            if (c < 0x20 || c == 0x7F) {
                char buffer[8];
                std::snprintf(buffer, sizeof buffer, "\\u%04x", c);
                out += buffer;
            } else {
                out += static_cast<char>(c);
            }
        }
        ++pos;
    }
    return out;
}

std::string JsonQuote(std::string_view text) {
    return "\"" + JsonEscape(text) + "\"";
}

} // namespace bx
