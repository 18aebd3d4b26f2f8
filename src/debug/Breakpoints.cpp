#include "debug/Breakpoints.h"

#include "foundation/Common.h"

#include <charconv>
#include <vector>

namespace bx {

namespace {
constexpr char kSeparator = '\0';

bool ToInt32(const std::string& text, int32_t& value) {
    const char* first = text.data();
    const char* last = first + text.size();
    auto [end, ec] = std::from_chars(first, last, value);
    return ec == std::errc() && end == last && first != last;
}
} // namespace

std::string Breakpoint::AsString() const {
    std::string text = std::to_string(Bank);
    for (int32_t value : {Start, Length, Flags}) {
        text += kSeparator;
        text += std::to_string(value);
    }
    return text;
}

bool Breakpoint::FromString(const std::string& text) {
    auto parts = SplitText(text, kSeparator);
    if (parts.size() < 4)
        return false;
    int32_t values[4];
    for (int i = 0; i < 4; ++i)
        if (!ToInt32(parts[static_cast<std::size_t>(i)], values[i]))
            return false;
    Bank = values[0];
    Start = values[1];
    Length = values[2];
    Flags = values[3];
    return true;
}

std::shared_ptr<Breakpoint> Breakpoints::Add(int32_t bank, int32_t start, int32_t length,
                                             int32_t flags) {
    auto record = std::make_shared<Breakpoint>(Breakpoint{bank, start, length, flags});
    return TryAdd(record->AsString(), record) ? record : nullptr;
}

void Breakpoints::Remove(int32_t bank, int32_t start, int32_t length, int32_t flags) {
    KeyedCollection::Remove(Breakpoint{bank, start, length, flags}.AsString());
}

std::shared_ptr<Breakpoint> Breakpoints::Item(int32_t bank, int32_t start, int32_t length,
                                              int32_t flags) const {
    return KeyedCollection::Item(Breakpoint{bank, start, length, flags}.AsString());
}

} // namespace bx
