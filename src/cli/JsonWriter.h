#pragma once
// The command line's JSON output: an indented writer for one document.

#include "foundation/Json.h"

#include <charconv>
#include <ostream>
#include <string>

namespace bx::cli {

// A small writer of indented JSON: members and array items are written one per line, and the
// writer puts the commas in.
class JsonWriter {
public:
    explicit JsonWriter(std::ostream& out) : out_(out) {}

    void BeginObject(const char* name = nullptr) { Open(name, '{'); }
    void EndObject() { Close('}'); }
    void BeginArray(const char* name = nullptr) { Open(name, '['); }
    void EndArray() { Close(']'); }

    void String(const char* name, const std::string& value) { Raw(name, JsonQuote(value)); }
    void Number(const char* name, long long value) { Raw(name, std::to_string(value)); }
    void Bool(const char* name, bool value) { Raw(name, value ? "true" : "false"); }
    // A single-precision real in its shortest exact decimal form.
    void Real(const char* name, float value) {
        char buffer[32];
        auto result = std::to_chars(buffer, buffer + sizeof buffer, value);
        Raw(name, std::string(buffer, result.ptr));
    }
    void Null(const char* name) { Raw(name, "null"); }

private:
    void Item(const char* name) {
        if (!first_)
            out_ << ",";
        if (depth_ > 0)
            out_ << "\n" << std::string(static_cast<std::size_t>(depth_) * 2, ' ');
        first_ = false;
        if (name != nullptr)
            out_ << JsonQuote(name) << ": ";
    }
    void Raw(const char* name, const std::string& text) {
        Item(name);
        out_ << text;
    }
    void Open(const char* name, char bracket) {
        Item(name);
        out_ << bracket;
        ++depth_;
        first_ = true;
    }
    void Close(char bracket) {
        --depth_;
        if (!first_)
            out_ << "\n" << std::string(static_cast<std::size_t>(depth_) * 2, ' ');
        out_ << bracket;
        first_ = false;
        if (depth_ == 0)
            out_ << "\n";
    }

    std::ostream& out_;
    int depth_ = 0;
    bool first_ = true;
};

} // namespace bx::cli
