#pragma once
// A Watch names one inspected item: a register, a memory location, an SFR bit field. The
// register tree, the user's watch list and the "Bank" SFR that run control reads are all
// Watch objects. A watch fetches its value from an Emulator, masks it, shows it as text and
// writes a new value back; it travels through list controls and the appliance file as text
// (AsString, Display, Access). UI thread only, like the Emulator calls it makes.
//
// Location forms:
//  - "R:" and a register name (A, X, Y, P, S, PC): a processor register. Only the first
//    character ("R") and the text from the third on are looked at.
//  - "bank:address", two hexadecimal numbers as Hex2 ":" Hex4 give them ("01:4000"): memory
//    at bank * 65536 + address.
//  - empty: nothing to read; the value text is empty.

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
// The bit that Display() tests for "Str". SetDisplay("Str") sets kStr, not this one, so "Str"
// never comes back from Display(), and a "StrByte" watch is a plain "Byte" watch after one trip
// through AsString. The register and watch lists depend on that round trip staying as it is.
inline constexpr int32_t kStrShown = 0x100000;
inline constexpr int32_t kSizeMask = 0xFF; // size in bytes: 1, 2 or 4
inline constexpr int32_t kByte = 1;
inline constexpr int32_t kWord = 2;
inline constexpr int32_t kLong = 4;
} // namespace watch_display

namespace watch_access {
inline constexpr int32_t kRead = 1;
inline constexpr int32_t kWrite = 2;
} // namespace watch_access

class Emulator;
class Watches;

// The register tree and the watch list show text copies of their watches, each kept as a tag:
// the watch's AsString, the separator (code 1) and the value shown last. Each read rebuilds a
// fresh Watch from the record text, so that the binary form's use of Mask never reaches the
// copy the next read starts from.
namespace watch_tag {
inline constexpr char kSeparator = '\x01';
inline std::string Make(const std::string& record, const std::string& lastValue) {
    return record + kSeparator + lastValue;
}
// The record text: everything ahead of the separator.
inline std::string Record(const std::string& tag) {
    return tag.substr(0, tag.find(kSeparator));
}
// The value shown last; "" for a tag without a separator.
inline std::string LastValue(const std::string& tag) {
    const std::size_t separator = tag.find(kSeparator);
    return separator == std::string::npos ? std::string() : tag.substr(separator + 1);
}
} // namespace watch_tag

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

    // ---- Value ----------------------------------------------------------------------------

    // The value as text, by the display flags, tested in this order: Bin "%" and one digit per
    // bit of size * 8 bits, "-" for a bit outside Mask; Hex "$" and Hex2/Hex4/Hex8 by size
    // (empty without a size of 1, 2 or 4); Str the character of the value's low byte, size
    // times, in single quotes; otherwise the masked value in decimal. An empty Location gives
    // "". A failed read gives "Invalid" and sets Invalid; every other call clears it. Never
    // throws: the emulator's errors count as a failed read.
    //
    // The binary form uses the Mask field as its shift register and leaves it shifted right
    // by size * 8 bits with bit 31 cleared. Callers that show a value more than once therefore
    // work on a fresh copy rebuilt from AsString each time, never on the stored record.
    std::string ValueString(Emulator& emulator);

    // Writes text (any ParseNumber form; a text it refuses counts as 0) into the bits under
    // Mask and keeps the bits outside it: the current value is read first, and a failed read
    // stops here with Invalid set. The write itself ignores the emulator's errors, and Invalid
    // is false afterwards whether or not it worked. Values wider than the place they go are
    // cut to it (8 bits for A, X, Y, S, P and each memory byte, 16 for PC).
    void SetValueString(Emulator& emulator, const std::string& text);

    // ---- Text forms -----------------------------------------------------------------------

    // Format and size as a name: "Bin", "Hex", "Dec" for each format bit set, "Str" for
    // kStrShown, then "Byte", "Word" or "Long" when the size is 1, 2 or 4 ("HexByte").
    std::string Display() const;
    // Clears the display flags, then sets the format bit or adds the size of each of "Bin",
    // "Hex", "Dec", "Str", "Byte", "Word", "Long" that name holds, without regard to case.
    // Two sizes add up ("ByteWord" is size 3).
    void SetDisplay(const std::string& name);

    // "Read", "Write", "ReadWrite", or "" for no access.
    std::string Access() const;
    // The access flags from "Read" and "Write" in name, without regard to case.
    void SetAccess(const std::string& name);

    // Title, Description, Location, Category, Display(), Hex8(Mask), Expanded, LittleEndian,
    // Disabled, Access(), separated by one NUL character; booleans as "True" or "False".
    // Children, Invalid and the Saved mark are not part of the text.
    std::string AsString() const;
    // Resets every field to its default (Children to a new empty collection, Invalid and
    // Saved false), then assigns the NUL-separated parts in AsString's order. Missing parts,
    // and a boolean part other than "True" or "False", leave the default.
    void FromString(const std::string& text);

private:
    // Reads the raw value into value and sets Invalid; returns !Invalid. A register read
    // without CPU status leaves value as it was.
    bool ReadRaw(Emulator& emulator, int32_t& value);
    std::string BinaryText(int32_t maskedValue, int32_t size);

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
