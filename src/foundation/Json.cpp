#include "foundation/Json.h"

#include <cstdio>

namespace bx {

namespace {

// The length of the valid UTF-8 sequence starting at pos, or 0 when there is none. Overlong
// forms, surrogates and values above U+10FFFF are not valid.
std::size_t Utf8SequenceLength(std::string_view text, std::size_t pos) {
    auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
    unsigned char lead = byte(pos);
    std::size_t length;
    unsigned char low = 0x80, high = 0xBF; // allowed range of the second byte
    if (lead >= 0xC2 && lead <= 0xDF) {
        length = 2;
    } else if (lead >= 0xE0 && lead <= 0xEF) {
        length = 3;
        if (lead == 0xE0)
            low = 0xA0; // no overlong three-byte forms
        if (lead == 0xED)
            high = 0x9F; // no surrogates
    } else if (lead >= 0xF0 && lead <= 0xF4) {
        length = 4;
        if (lead == 0xF0)
            low = 0x90; // no overlong four-byte forms
        if (lead == 0xF4)
            high = 0x8F; // nothing above U+10FFFF
    } else {
        return 0;
    }
    if (pos + length > text.size())
        return 0;
    if (byte(pos + 1) < low || byte(pos + 1) > high)
        return 0;
    for (std::size_t i = 2; i < length; ++i)
        if (byte(pos + i) < 0x80 || byte(pos + i) > 0xBF)
            return 0;
    return length;
}

} // namespace

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
