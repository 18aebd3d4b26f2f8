#include "sim/Json.h"

#include <charconv>
#include <system_error>

namespace bx::sim {

const JsonValue* JsonValue::Find(std::string_view key) const {
    for (const auto& member : members_)
        if (member.first == key)
            return &member.second;
    return nullptr;
}

JsonValue JsonValue::MakeBool(bool value) {
    JsonValue v(Kind::Bool);
    v.bool_ = value;
    return v;
}
JsonValue JsonValue::MakeNumber(double value) {
    JsonValue v(Kind::Number);
    v.number_ = value;
    return v;
}
JsonValue JsonValue::MakeString(std::string value) {
    JsonValue v(Kind::String);
    v.text_ = std::move(value);
    return v;
}
JsonValue JsonValue::MakeArray(std::vector<JsonValue> items) {
    JsonValue v(Kind::Array);
    v.items_ = std::move(items);
    return v;
}
JsonValue JsonValue::MakeObject(std::vector<std::pair<std::string, JsonValue>> members) {
    JsonValue v(Kind::Object);
    v.members_ = std::move(members);
    return v;
}

namespace {

constexpr int kMaxDepth = 200;

class Parser {
public:
    explicit Parser(std::string_view text) : text_(text) {}

    JsonValue Document() {
        SkipSpace();
        JsonValue value = Value(0);
        SkipSpace();
        if (pos_ != text_.size())
            Fail("unexpected text after the document");
        return value;
    }

private:
    [[noreturn]] void Fail(const std::string& what) const {
        std::size_t line = 1, column = 1;
        for (std::size_t i = 0; i < pos_ && i < text_.size(); ++i) {
            if (text_[i] == '\n') {
                ++line;
                column = 1;
            } else {
                ++column;
            }
        }
        throw JsonError("JSON error at line " + std::to_string(line) + ", column " +
                        std::to_string(column) + ": " + what);
    }

    bool AtEnd() const { return pos_ >= text_.size(); }
    char Peek() const { return AtEnd() ? '\0' : text_[pos_]; }

    void SkipSpace() {
        while (!AtEnd()) {
            char c = text_[pos_];
            if (c != ' ' && c != '\t' && c != '\n' && c != '\r')
                break;
            ++pos_;
        }
    }

    void Expect(char c) {
        if (Peek() != c || AtEnd())
            Fail(std::string("expected '") + c + "'");
        ++pos_;
    }

    void Literal(std::string_view word) {
        if (text_.substr(pos_, word.size()) != word)
            Fail("invalid literal");
        pos_ += word.size();
    }

    JsonValue Value(int depth) {
        if (depth > kMaxDepth)
            Fail("nesting too deep");
        if (AtEnd())
            Fail("unexpected end of input");
        switch (Peek()) {
        case '{':
            return Object(depth);
        case '[':
            return Array(depth);
        case '"':
            return JsonValue::MakeString(String());
        case 't':
            Literal("true");
            return JsonValue::MakeBool(true);
        case 'f':
            Literal("false");
            return JsonValue::MakeBool(false);
        case 'n':
            Literal("null");
            return JsonValue::MakeNull();
        default:
            return Number();
        }
    }

    JsonValue Object(int depth) {
        Expect('{');
        std::vector<std::pair<std::string, JsonValue>> members;
        SkipSpace();
        if (Peek() == '}') {
            ++pos_;
            return JsonValue::MakeObject(std::move(members));
        }
        for (;;) {
            SkipSpace();
            if (Peek() != '"')
                Fail("expected a member name");
            std::string key = String();
            SkipSpace();
            Expect(':');
            SkipSpace();
            JsonValue value = Value(depth + 1);
            members.emplace_back(std::move(key), std::move(value));
            SkipSpace();
            if (Peek() == ',') {
                ++pos_;
                continue;
            }
            Expect('}');
            return JsonValue::MakeObject(std::move(members));
        }
    }

    JsonValue Array(int depth) {
        Expect('[');
        std::vector<JsonValue> items;
        SkipSpace();
        if (Peek() == ']') {
            ++pos_;
            return JsonValue::MakeArray(std::move(items));
        }
        for (;;) {
            SkipSpace();
            items.push_back(Value(depth + 1));
            SkipSpace();
            if (Peek() == ',') {
                ++pos_;
                continue;
            }
            Expect(']');
            return JsonValue::MakeArray(std::move(items));
        }
    }

    unsigned Hex4() {
        if (pos_ + 4 > text_.size())
            Fail("truncated \\u escape");
        unsigned value = 0;
        for (int i = 0; i < 4; ++i) {
            char c = text_[pos_++];
            value <<= 4;
            if (c >= '0' && c <= '9')
                value |= static_cast<unsigned>(c - '0');
            else if (c >= 'a' && c <= 'f')
                value |= static_cast<unsigned>(c - 'a' + 10);
            else if (c >= 'A' && c <= 'F')
                value |= static_cast<unsigned>(c - 'A' + 10);
            else
                Fail("invalid \\u escape");
        }
        return value;
    }

    static void AppendUtf8(std::string& out, unsigned cp) {
        if (cp < 0x80) {
            out += static_cast<char>(cp);
        } else if (cp < 0x800) {
            out += static_cast<char>(0xC0 | (cp >> 6));
            out += static_cast<char>(0x80 | (cp & 0x3F));
        } else if (cp < 0x10000) {
            out += static_cast<char>(0xE0 | (cp >> 12));
            out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
            out += static_cast<char>(0x80 | (cp & 0x3F));
        } else {
            out += static_cast<char>(0xF0 | (cp >> 18));
            out += static_cast<char>(0x80 | ((cp >> 12) & 0x3F));
            out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
            out += static_cast<char>(0x80 | (cp & 0x3F));
        }
    }

    std::string String() {
        Expect('"');
        std::string out;
        for (;;) {
            if (AtEnd())
                Fail("unterminated string");
            char c = text_[pos_++];
            if (c == '"')
                return out;
            if (static_cast<unsigned char>(c) < 0x20)
                Fail("control character in string");
            if (c != '\\') {
                out += c;
                continue;
            }
            if (AtEnd())
                Fail("unterminated string");
            char e = text_[pos_++];
            switch (e) {
            case '"':
                out += '"';
                break;
            case '\\':
                out += '\\';
                break;
            case '/':
                out += '/';
                break;
            case 'b':
                out += '\b';
                break;
            case 'f':
                out += '\f';
                break;
            case 'n':
                out += '\n';
                break;
            case 'r':
                out += '\r';
                break;
            case 't':
                out += '\t';
                break;
            case 'u': {
                unsigned cp = Hex4();
                if (cp >= 0xD800 && cp < 0xDC00) {
                    if (text_.substr(pos_, 2) != "\\u")
                        Fail("unpaired surrogate");
                    pos_ += 2;
                    unsigned low = Hex4();
                    if (low < 0xDC00 || low >= 0xE000)
                        Fail("unpaired surrogate");
                    cp = 0x10000 + ((cp - 0xD800) << 10) + (low - 0xDC00);
                } else if (cp >= 0xDC00 && cp < 0xE000) {
                    Fail("unpaired surrogate");
                }
                AppendUtf8(out, cp);
                break;
            }
            default:
                --pos_;
                Fail("invalid escape");
            }
        }
    }

    static bool IsDigit(char c) { return c >= '0' && c <= '9'; }

    JsonValue Number() {
        const std::size_t start = pos_;
        if (Peek() == '-')
            ++pos_;
        if (Peek() == '0') {
            ++pos_;
        } else if (IsDigit(Peek()) && !AtEnd()) {
            while (!AtEnd() && IsDigit(Peek()))
                ++pos_;
        } else {
            Fail("unexpected character");
        }
        if (Peek() == '.' && !AtEnd()) {
            ++pos_;
            if (AtEnd() || !IsDigit(Peek()))
                Fail("digit expected after the decimal point");
            while (!AtEnd() && IsDigit(Peek()))
                ++pos_;
        }
        if (!AtEnd() && (Peek() == 'e' || Peek() == 'E')) {
            ++pos_;
            if (!AtEnd() && (Peek() == '+' || Peek() == '-'))
                ++pos_;
            if (AtEnd() || !IsDigit(Peek()))
                Fail("digit expected in the exponent");
            while (!AtEnd() && IsDigit(Peek()))
                ++pos_;
        }
        // from_chars, unlike strtod, ignores the locale's decimal separator.
        double value = 0;
        const char* first = text_.data() + start;
        const char* last = text_.data() + pos_;
        auto [end, error] = std::from_chars(first, last, value);
        if (error == std::errc::result_out_of_range)
            Fail("number out of range");
        if (error != std::errc() || end != last)
            Fail("invalid number");
        return JsonValue::MakeNumber(value);
    }

    std::string_view text_;
    std::size_t pos_ = 0;
};

} // namespace

JsonValue ParseJson(std::string_view text) {
    return Parser(text).Document();
}

} // namespace bx::sim
