#pragma once
// Breakpoint records as the appliance keeps them, so that execute breakpoints survive a power
// cycle and the file. The flags are the emulator's breakpoint kinds.

#include "foundation/KeyedCollection.h"

#include <cstdint>
#include <memory>
#include <string>

namespace bx {

namespace break_kind {
inline constexpr int32_t kExecute = 1;
inline constexpr int32_t kRead = 2;
inline constexpr int32_t kWrite = 4;
} // namespace break_kind

struct Breakpoint {
    int32_t Bank = 0;
    int32_t Start = 0;
    int32_t Length = 0;
    int32_t Flags = 0;

    // The four fields in decimal, each pair separated by a NUL character: the record's key.
    std::string AsString() const;
    // Sets the four fields from AsString's form; false when a part is missing or no number.
    bool FromString(const std::string& text);
};

class Breakpoints : public KeyedCollection<Breakpoint> {
public:
    // The new record; a record that exists already changes nothing and gives nullptr.
    std::shared_ptr<Breakpoint> Add(int32_t bank, int32_t start, int32_t length, int32_t flags);
    void Remove(int32_t bank, int32_t start, int32_t length, int32_t flags);
    std::shared_ptr<Breakpoint> Item(int32_t bank, int32_t start, int32_t length,
                                     int32_t flags) const;
};

} // namespace bx
