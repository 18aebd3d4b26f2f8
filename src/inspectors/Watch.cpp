#include "inspectors/Watch.h"

#include "debug/Emulator.h"
#include "foundation/Common.h"

#include <cctype>
#include <exception>
#include <optional>
#include <vector>

namespace bx {

Watch::Watch() = default;
Watch::~Watch() = default;

Watches& Watch::Children() {
    if (!children_)
        children_ = std::make_unique<bx::Watches>();
    return *children_;
}

bool Watch::HasChildren() const {
    return children_ && !children_->Empty();
}

namespace {

constexpr char kSeparator = '\0';

bool Holds(const std::string& lowerText, const char* lowerName) {
    return lowerText.find(lowerName) != std::string::npos;
}

const char* BoolText(bool value) {
    return value ? "True" : "False";
}

// "True" or "False" in any case; anything else leaves the field as it is.
void ReadBool(const std::string& text, bool& field) {
    const std::string lower = LowerCase(text);
    if (lower == "true")
        field = true;
    else if (lower == "false")
        field = false;
}

// A register location is told by its first character alone; the name starts at the third.
bool IsRegisterLocation(const std::string& location) {
    return !location.empty() && location[0] == 'R';
}

std::string RegisterNameOf(const std::string& location) {
    return location.size() > 2 ? location.substr(2) : std::string();
}

// "bank:address" in the emulator's address form. A location without a colon names no memory.
std::optional<int32_t> MemoryAddressOf(const std::string& location) {
    const std::size_t colon = location.find(':');
    if (colon == std::string::npos)
        return std::nullopt;
    const uint32_t bank = static_cast<uint32_t>(HexToLong(location.substr(0, colon)));
    const uint32_t address = static_cast<uint32_t>(HexToLong(location.substr(colon + 1)));
    return static_cast<int32_t>(bank * 65536u + address);
}

// The number of bytes a memory location reads and writes: the size bits are tested from the
// largest down, so a name with two sizes ("ByteWord") goes by the larger one.
int32_t TransferSize(int32_t displayFlags) {
    if ((displayFlags & watch_display::kLong) != 0)
        return 4;
    if ((displayFlags & watch_display::kWord) != 0)
        return 2;
    return 1;
}

// The character whose code is byte, in UTF-8 (codes above 127 are the Latin-1 characters).
std::string CharacterOf(uint8_t code) {
    std::string text;
    if (code < 0x80) {
        text += static_cast<char>(code);
    } else {
        text += static_cast<char>(0xC0 | (code >> 6));
        text += static_cast<char>(0x80 | (code & 0x3F));
    }
    return text;
}

} // namespace

// ---- Value --------------------------------------------------------------------------------

bool Watch::ReadRaw(Emulator& emulator, int32_t& value) {
    Invalid = false;
    if (Location.empty())
        return true;
    try {
        if (IsRegisterLocation(Location)) {
            std::optional<CpuState> state = emulator.GetCpuState();
            if (!state) {
                Invalid = true;
                return false;
            }
            const std::string name = RegisterNameOf(Location);
            if (name == "A")
                value = state->A;
            else if (name == "X")
                value = state->X;
            else if (name == "Y")
                value = state->Y;
            else if (name == "P")
                value = state->P;
            else if (name == "S")
                value = state->S;
            else if (name == "PC")
                value = state->PC;
            else
                value = 0;
            return true;
        }

        const std::optional<int32_t> address = MemoryAddressOf(Location);
        const int32_t size = TransferSize(DisplayFlags);
        if (!address) {
            Invalid = true;
            return false;
        }
        int32_t count = size;
        const std::vector<uint8_t> data = emulator.ReadMemory(*address, count);
        // A short answer can't make up the value any more than an empty one.
        if (data.size() < static_cast<std::size_t>(size)) {
            Invalid = true;
            return false;
        }
        if (size == 4) {
            // The four bytes joined highest first.
            const uint32_t joined = LittleEndian
                                        ? (uint32_t{data[3]} << 24) | (uint32_t{data[2]} << 16) |
                                              (uint32_t{data[1]} << 8) | uint32_t{data[0]}
                                        : (uint32_t{data[0]} << 24) | (uint32_t{data[1]} << 16) |
                                              (uint32_t{data[2]} << 8) | uint32_t{data[3]};
            value = static_cast<int32_t>(joined);
        } else if (size == 2) {
            value = LittleEndian ? data[1] * 256 + data[0] : data[0] * 256 + data[1];
        } else {
            value = data[0];
        }
        return true;
    } catch (const std::exception&) {
        // A value that can't be fetched is shown as such; the read never fails louder.
        Invalid = true;
        return false;
    }
}

std::string Watch::BinaryText(int32_t maskedValue, int32_t size) {
    // Bit 31 can't travel through the right shifts below as a set sign bit would, so it is
    // kept aside and stands for the 32nd digit.
    const bool topBit = (static_cast<uint32_t>(Mask) & 0x80000000u) != 0;
    uint32_t shift = static_cast<uint32_t>(Mask) & 0x7FFFFFFFu;
    const uint32_t bits = static_cast<uint32_t>(maskedValue);
    const int32_t digits = size * 8;
    std::string text(static_cast<std::size_t>(digits), '-');
    for (int32_t bit = 0; bit < digits; ++bit) {
        const bool inMask = bit == 31 ? topBit : (shift & 1u) != 0;
        if (inMask)
            text[static_cast<std::size_t>(digits - 1 - bit)] =
                bit < 32 && ((bits >> bit) & 1u) != 0 ? '1' : '0';
        shift >>= 1;
    }
    // The field keeps what the shifting left of it.
    Mask = static_cast<int32_t>(shift);
    return "%" + text;
}

std::string Watch::ValueString(Emulator& emulator) {
    Invalid = false;
    if (Location.empty())
        return "";
    int32_t raw = 0;
    if (!ReadRaw(emulator, raw))
        return "Invalid";

    const int32_t masked = Mask & raw;
    const int32_t size = DisplayFlags & watch_display::kSizeMask;
    if ((DisplayFlags & watch_display::kBin) != 0)
        return BinaryText(masked, size);
    if ((DisplayFlags & watch_display::kHex) != 0) {
        switch (size) {
        case 1:
            return "$" + Hex2(masked);
        case 2:
            return "$" + Hex4(masked);
        case 4:
            return "$" + Hex8(masked);
        default:
            return "";
        }
    }
    if ((DisplayFlags & watch_display::kStr) != 0) {
        const std::string character = CharacterOf(static_cast<uint8_t>(masked & 0xFF));
        std::string text = "'";
        for (int32_t i = 0; i < size; ++i)
            text += character;
        return text + "'";
    }
    return std::to_string(masked);
}

void Watch::SetValueString(Emulator& emulator, const std::string& text) {
    int32_t bank = 0;
    bool failed = false;
    const int32_t typed = ParseNumber(text, bank, failed);

    int32_t current = 0;
    if (!ReadRaw(emulator, current))
        return;
    const int32_t value = (current & ~Mask) | (typed & Mask);

    try {
        if (Location.empty()) {
            // Nothing to write to.
        } else if (IsRegisterLocation(Location)) {
            std::optional<CpuState> state = emulator.GetCpuState();
            if (state) {
                const std::string name = RegisterNameOf(Location);
                const auto byte = static_cast<uint8_t>(value & 0xFF);
                if (name == "A")
                    state->A = byte;
                else if (name == "X")
                    state->X = byte;
                else if (name == "Y")
                    state->Y = byte;
                else if (name == "P")
                    state->P = byte;
                else if (name == "S")
                    state->S = byte;
                else if (name == "PC")
                    state->PC = static_cast<uint16_t>(value & 0xFFFF);
                emulator.SetCpuState(*state);
            }
        } else if (const std::optional<int32_t> address = MemoryAddressOf(Location)) {
            const int32_t size = TransferSize(DisplayFlags);
            const auto word = static_cast<uint32_t>(value);
            std::vector<uint8_t> bytes;
            if (size == 4) {
                // The highest byte is the first two digits of Hex8(value).
                const auto highest = static_cast<uint8_t>(word >> 24);
                const auto third = static_cast<uint8_t>((word & 0xFF0000u) >> 16);
                const auto second = static_cast<uint8_t>((word & 0xFF00u) >> 8);
                const auto lowest = static_cast<uint8_t>(word & 0xFFu);
                bytes = LittleEndian ? std::vector<uint8_t>{lowest, second, third, highest}
                                     : std::vector<uint8_t>{highest, third, second, lowest};
            } else if (size == 2) {
                // Everything above the low eight bits goes to the high byte, cut to a byte.
                const auto high = static_cast<uint8_t>((word & ~0xFFu) >> 8);
                const auto low = static_cast<uint8_t>(word & 0xFFu);
                bytes = LittleEndian ? std::vector<uint8_t>{low, high}
                                     : std::vector<uint8_t>{high, low};
            } else {
                bytes = {static_cast<uint8_t>(word & 0xFFu)};
            }
            int32_t count = size;
            emulator.WriteMemory(*address, count, bytes);
        }
    } catch (const std::exception&) {
        // A write that the target refuses leaves no trace: the next read shows what stands.
    }
    Invalid = false;
}

// ---- Text forms ---------------------------------------------------------------------------

std::string Watch::Display() const {
    std::string name;
    if ((DisplayFlags & watch_display::kBin) != 0)
        name += "Bin";
    if ((DisplayFlags & watch_display::kHex) != 0)
        name += "Hex";
    if ((DisplayFlags & watch_display::kDec) != 0)
        name += "Dec";
    if ((DisplayFlags & watch_display::kStrShown) != 0)
        name += "Str";
    switch (DisplayFlags & watch_display::kSizeMask) {
    case watch_display::kByte:
        name += "Byte";
        break;
    case watch_display::kWord:
        name += "Word";
        break;
    case watch_display::kLong:
        name += "Long";
        break;
    default:
        break;
    }
    return name;
}

void Watch::SetDisplay(const std::string& name) {
    const std::string lower = LowerCase(name);
    DisplayFlags = 0;
    if (Holds(lower, "bin"))
        DisplayFlags |= watch_display::kBin;
    if (Holds(lower, "hex"))
        DisplayFlags |= watch_display::kHex;
    if (Holds(lower, "dec"))
        DisplayFlags |= watch_display::kDec;
    if (Holds(lower, "str"))
        DisplayFlags |= watch_display::kStr;
    if (Holds(lower, "byte"))
        DisplayFlags += watch_display::kByte;
    if (Holds(lower, "word"))
        DisplayFlags += watch_display::kWord;
    if (Holds(lower, "long"))
        DisplayFlags += watch_display::kLong;
}

std::string Watch::Access() const {
    std::string name;
    if ((AccessFlags & watch_access::kRead) != 0)
        name += "Read";
    if ((AccessFlags & watch_access::kWrite) != 0)
        name += "Write";
    return name;
}

void Watch::SetAccess(const std::string& name) {
    const std::string lower = LowerCase(name);
    AccessFlags = 0;
    if (Holds(lower, "read"))
        AccessFlags |= watch_access::kRead;
    if (Holds(lower, "write"))
        AccessFlags |= watch_access::kWrite;
}

std::string Watch::AsString() const {
    const std::string separator(1, kSeparator);
    return Title + separator + Description + separator + Location + separator + Category +
           separator + Display() + separator + Hex8(Mask) + separator + BoolText(Expanded) +
           separator + BoolText(LittleEndian) + separator + BoolText(Disabled) + separator +
           Access();
}

void Watch::FromString(const std::string& text) {
    const Watch defaults;
    Title = defaults.Title;
    Description = defaults.Description;
    Location = defaults.Location;
    Mask = defaults.Mask;
    Category = defaults.Category;
    Expanded = defaults.Expanded;
    LittleEndian = defaults.LittleEndian;
    Disabled = defaults.Disabled;
    Invalid = defaults.Invalid;
    AccessFlags = defaults.AccessFlags;
    DisplayFlags = defaults.DisplayFlags;
    Saved = defaults.Saved;
    children_.reset();

    const std::vector<std::string> parts = SplitText(text, kSeparator);
    const std::size_t n = parts.size();
    if (n > 0)
        Title = parts[0];
    if (n > 1)
        Description = parts[1];
    if (n > 2)
        Location = parts[2];
    if (n > 3)
        Category = parts[3];
    if (n > 4)
        SetDisplay(parts[4]);
    if (n > 5)
        Mask = HexToLong(parts[5]);
    if (n > 6)
        ReadBool(parts[6], Expanded);
    if (n > 7)
        ReadBool(parts[7], LittleEndian);
    if (n > 8)
        ReadBool(parts[8], Disabled);
    if (n > 9)
        SetAccess(parts[9]);
}

// ---- Watches -----------------------------------------------------------------------------

std::string Watches::KeyOf(const std::string& title, const std::string& category) {
    return category + "^" + title;
}

std::shared_ptr<Watch> Watches::Add(const std::string& title, const std::string& category) {
    auto watch = std::make_shared<Watch>();
    watch->Title = title;
    watch->Category = category;
    return AddItem(watch);
}

std::shared_ptr<Watch> Watches::AddItem(std::shared_ptr<Watch> watch) {
    const std::string key = KeyOf(watch->Title, watch->Category);
    return TryAdd(key, watch) ? watch : nullptr;
}

void Watches::Remove(const std::string& title, const std::string& category) {
    KeyedCollection::Remove(KeyOf(title, category));
}

std::shared_ptr<Watch> Watches::Item(const std::string& title, const std::string& category) const {
    return KeyedCollection::Item(KeyOf(title, category));
}

} // namespace bx
