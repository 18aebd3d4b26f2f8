#pragma once
// A small JSON reader for the test data the simulator tools read (single-step CPU tests). It
// builds a plain value tree. Malformed input raises JsonError with the line and column of the
// fault; nesting is limited so that hostile input cannot exhaust the stack.

#include <cstddef>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace bx::sim {

class JsonError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

class JsonValue {
public:
    enum class Kind { Null, Bool, Number, String, Array, Object };

    Kind GetKind() const { return kind_; }
    bool IsNull() const { return kind_ == Kind::Null; }
    bool IsBool() const { return kind_ == Kind::Bool; }
    bool IsNumber() const { return kind_ == Kind::Number; }
    bool IsString() const { return kind_ == Kind::String; }
    bool IsArray() const { return kind_ == Kind::Array; }
    bool IsObject() const { return kind_ == Kind::Object; }

    bool AsBool() const { return bool_; }
    double AsNumber() const { return number_; }
    const std::string& AsString() const { return text_; }
    // Array elements; empty for any other kind.
    const std::vector<JsonValue>& Items() const { return items_; }
    // Object members in document order; empty for any other kind.
    const std::vector<std::pair<std::string, JsonValue>>& Members() const { return members_; }
    // The member named key (the first one, if repeated), or nullptr.
    const JsonValue* Find(std::string_view key) const;

    static JsonValue MakeNull() { return JsonValue(Kind::Null); }
    static JsonValue MakeBool(bool value);
    static JsonValue MakeNumber(double value);
    static JsonValue MakeString(std::string value);
    static JsonValue MakeArray(std::vector<JsonValue> items);
    static JsonValue MakeObject(std::vector<std::pair<std::string, JsonValue>> members);

private:
    explicit JsonValue(Kind kind) : kind_(kind) {}

    Kind kind_ = Kind::Null;
    bool bool_ = false;
    double number_ = 0;
    std::string text_;
    std::vector<JsonValue> items_;
    std::vector<std::pair<std::string, JsonValue>> members_;
};

// Parses one JSON document (surrounding white space allowed). Throws JsonError.
JsonValue ParseJson(std::string_view text);

} // namespace bx::sim
