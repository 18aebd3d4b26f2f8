#pragma once
// A Watch names one inspected item: a register, a memory location, an SFR bit field. The
// register tree, the user's watch list and the "Bank" SFR that run control reads are all
// Watch objects. This file holds the record and its collection; reading and writing values
// through the emulator is added with the emulator interface.

#include "foundation/KeyedCollection.h"

#include <cstdint>
#include <memory>
#include <string>

namespace bx {

namespace watch_display {
inline constexpr int32_t kBin = 0x10000;
inline constexpr int32_t kHex = 0x20000;
inline constexpr int32_t kDec = 0x40000;
inline constexpr int32_t kStr = 0x80000;
inline constexpr int32_t kSizeMask = 0xFF; // size in bytes: 1, 2 or 4
} // namespace watch_display

namespace watch_access {
inline constexpr int32_t kRead = 1;
inline constexpr int32_t kWrite = 2;
} // namespace watch_access

class Watches;

class Watch {
public:
    Watch();
    ~Watch();

    std::string Title;
    std::string Description;
    std::string Location; // "R:<register>" or "bank:address"
    int32_t Mask = -1;
    std::string Category; // "SFR", "Symbol", "UserWatches", ...
    bool Expanded = false;
    bool LittleEndian = true;
    bool Disabled = false;
    bool Invalid = false;
    int32_t AccessFlags = watch_access::kRead | watch_access::kWrite;
    int32_t DisplayFlags = 0;
    // Set while the file writer has written this watch during one save.
    bool Saved = false;

    // The items listed under this one, created empty at first use.
    bx::Watches& Children();
    bool HasChildren() const;

    bool IsReadable() const { return (AccessFlags & watch_access::kRead) != 0; }
    bool IsWritable() const { return (AccessFlags & watch_access::kWrite) != 0; }

private:
    std::unique_ptr<bx::Watches> children_;
};

class Watches : public KeyedCollection<Watch> {
public:
    // Category "^" Title.
    static std::string KeyOf(const std::string& title, const std::string& category);

    // The new watch; a taken key gives nullptr and changes nothing.
    std::shared_ptr<Watch> Add(const std::string& title, const std::string& category);
    std::shared_ptr<Watch> AddItem(std::shared_ptr<Watch> watch);
    void Remove(const std::string& title, const std::string& category);
    std::shared_ptr<Watch> Item(const std::string& title, const std::string& category) const;
};

} // namespace bx
