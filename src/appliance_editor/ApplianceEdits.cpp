#include "appliance_editor/ApplianceEdits.h"

#include "appliance/Appliance.h"
#include "foundation/Common.h"
#include "settings/GlobalSettings.h"
#include "settings/Templates.h"

#include <algorithm>
#include <cctype>

namespace bx {

namespace {

constexpr int64_t kAddressLimit = 0x10000;

// A number typed into a dialog: "$" and hexadecimal digits, "%" and binary digits, or decimal
// digits, with blanks around it. Anything else, or a value beyond 32 bits, reads as nothing:
// a dialog refuses what the general number reader would take for 0.
std::optional<int64_t> ReadTypedNumber(const std::string& typed) {
    const std::size_t first = typed.find_first_not_of(' ');
    if (first == std::string::npos)
        return std::nullopt;
    const std::string text = typed.substr(first, typed.find_last_not_of(' ') - first + 1);
    int base = 10;
    std::string digits = text;
    if (text[0] == '$' || text[0] == '%') {
        base = text[0] == '$' ? 16 : 2;
        digits = text.substr(1);
    }
    if (digits.empty() || digits.size() > 32)
        return std::nullopt;
    int64_t value = 0;
    for (char c : digits) {
        const int digit = std::isdigit(static_cast<unsigned char>(c))
                              ? c - '0'
                              : (base == 16 && std::isxdigit(static_cast<unsigned char>(c))
                                     ? std::toupper(static_cast<unsigned char>(c)) - 'A' + 10
                                     : -1);
        if (digit < 0 || digit >= base)
            return std::nullopt;
        value = value * base + digit;
        if (value > INT32_MAX)
            return std::nullopt;
    }
    return value;
}

bool InRange(const std::optional<int64_t>& value, int64_t low, int64_t high) {
    return value && *value >= low && *value <= high;
}

bool IsSegmentName(const std::string& name) {
    return !name.empty() && std::all_of(name.begin(), name.end(), [](char c) {
        return std::isalnum(static_cast<unsigned char>(c)) || c == '_';
    });
}

const MCUBody* BodyOf(const Appliance& appliance, const GlobalSettings& settings) {
    return settings.FindBody(appliance.Family, appliance.Model);
}

// The position (from 1) of an option among the body's options; 0 when it isn't one of them.
int OptionIndex(const MCUBody& body, const std::string& name) {
    int index = 0;
    for (const auto& [key, option] : body.Options) {
        ++index;
        if (option->Name == name)
            return index;
    }
    return 0;
}

std::string Replaced(std::string text, const std::string& what, const std::string& with) {
    for (std::size_t at = text.find(what); at != std::string::npos;
         at = text.find(what, at + with.size()))
        text.replace(at, what.size(), with);
    return text;
}

// The body's layout and defaults, as the new-appliance wizard gives them to an appliance.
void TakeBody(Appliance& appliance, const MCUBody& body) {
    // The build rules link with the configuration file named after the body.
    const std::string oldConfig = LowerCase(appliance.Model) + ".cfg";
    const std::string newConfig = LowerCase(body.Model) + ".cfg";
    for (const auto& [from, association] : appliance.BuildAssociations())
        association->With = Replaced(association->With, oldConfig, newConfig);
    for (const auto& [output, target] : appliance.BuildTargets())
        target->Make = Replaced(target->Make, oldConfig, newConfig);

    appliance.Model = body.Model;
    appliance.ModelParam = body.Model;
    appliance.Family = body.Family;
    appliance.IceEmuNumber = body.IceEmuNo;
    appliance.TemplateDir = TemplateRoot() + body.TemplateDir;
    appliance.WizardYesFlag = body.HasWDT == "Yes";
    appliance.BankStart = body.BankMode == 1 ? 0xC000 : 0x4000;
    appliance.BankSize = 0x4000;
    appliance.BankCount = body.BankCount;
    appliance.BootVect = body.BootVect;
    appliance.ProgramStart = body.ProgramStart;
    appliance.OptionsDef = body.OptionsDef;
    if (!body.Clockrates.Item(appliance.OPClock) && !body.Clockrates.Empty())
        appliance.OPClock = body.Clockrates.First()->Clockrate;
}

// The builder's clock parameter follows the clock.
void TakeClock(Appliance& appliance, const MCUBody& body) {
    if (auto clock = body.Clockrates.Item(appliance.OPClock))
        appliance.ClockParam = clock->Rateparam;
}

} // namespace

// ---- System properties in place -----------------------------------------------------------

std::optional<InPlaceChoices> SystemChoices(const Appliance& appliance,
                                            const GlobalSettings& settings,
                                            const std::string& rowKey) {
    const MCUBody* body = BodyOf(appliance, settings);
    if (!body)
        return std::nullopt;
    InPlaceChoices choices;
    if (rowKey == "Model") {
        if (settings.Bodies)
            for (const auto& [model, each] : *settings.Bodies)
                choices.Items.push_back(each->Model);
        choices.Current = appliance.Model;
    } else if (rowKey == "O.P. Clock") {
        for (const auto& [rate, clock] : body->Clockrates)
            choices.Items.push_back(clock->Clockrate);
        choices.Current = appliance.OPClock;
    } else if (const int index = OptionIndex(*body, rowKey); index >= 1 && index <= 8) {
        const OptionsInfo& option = *body->Options.Item(rowKey);
        choices.Items = {option.DisableName, option.EnableName};
        choices.Current = appliance.OptionAt(index) ? option.EnableName : option.DisableName;
    } else {
        return std::nullopt;
    }
    return choices;
}

bool ApplySystemChoice(Appliance& appliance, const GlobalSettings& settings,
                       const std::string& rowKey, const std::string& choice) {
    const std::optional<InPlaceChoices> offered = SystemChoices(appliance, settings, rowKey);
    if (!offered ||
        std::find(offered->Items.begin(), offered->Items.end(), choice) == offered->Items.end())
        return false;
    const MCUBody& body = *BodyOf(appliance, settings);
    if (rowKey == "Model") {
        if (choice == appliance.Model)
            return true;
        const MCUBody* chosen = nullptr;
        for (const auto& [model, each] : *settings.Bodies)
            if (each->Model == choice)
                chosen = each.get();
        TakeBody(appliance, *chosen);
        TakeClock(appliance, *chosen);
    } else if (rowKey == "O.P. Clock") {
        appliance.OPClock = choice;
        TakeClock(appliance, body);
    } else {
        const int index = OptionIndex(body, rowKey);
        const bool enabled = choice == body.Options.Item(rowKey)->EnableName;
        appliance.SetOptionAt(index, enabled);
        // The two options the debugger reads from their own fields, as the file reader fills
        // them from the same attributes.
        if (rowKey == "WDT")
            appliance.WDT = enabled;
        else if (rowKey == "Oscillator")
            appliance.Oscillator = enabled;
    }
    appliance.Touch();
    return true;
}

// ---- Segment mappings ---------------------------------------------------------------------

std::string CheckSegment(Appliance& appliance, const SegmentFields& fields,
                         const std::string& editing) {
    if (!IsSegmentName(fields.Name))
        return "Please give the segment a name of letters, digits and \"_\".";
    if (fields.Name != editing && appliance.ObjMaps().Item(fields.Name))
        return "The segment '" + fields.Name + "' is mapped already.";
    const std::optional<int64_t> start = ReadTypedNumber(fields.Start);
    if (!InRange(start, 0, kAddressLimit - 1))
        return "The start must be an address from $0000 to $FFFF.";
    const std::optional<int64_t> size = ReadTypedNumber(fields.Size);
    if (!InRange(size, 1, kAddressLimit))
        return "The size must be a number of bytes from 1 to $10000.";
    if (*start + *size > kAddressLimit)
        return "The segment must end at $FFFF or below.";
    return {};
}

void ApplySegment(Appliance& appliance, const SegmentFields& fields, const std::string& editing) {
    if (!editing.empty())
        appliance.ObjMaps().Remove(editing);
    appliance.ObjMaps().Add(fields.Name, static_cast<int32_t>(*ReadTypedNumber(fields.Start)),
                            static_cast<int32_t>(*ReadTypedNumber(fields.Size)));
    appliance.Touch();
}

void RemoveSegment(Appliance& appliance, const std::string& name) {
    if (appliance.ObjMaps().Remove(name))
        appliance.Touch();
}

// ---- Load settings of an image --------------------------------------------------------------

std::optional<LoadRowPlace> FirstLoadPlace(Appliance& appliance, const std::string& file) {
    for (const auto& [key, image] : appliance.LoadImages())
        if (image->Content && image->Content->OutputPath == file)
            return LoadRowPlace{file, image->Bank, image->Start, image->Offset};
    return std::nullopt;
}

std::string CheckLoadSettings(Appliance& appliance, const LoadRowPlace& place,
                              const LoadFields& fields) {
    if (!appliance.LoadImages().Item(place.File, place.Address, place.Bank))
        return "The image '" + place.File + "' is no longer in the load map.";
    const std::optional<int64_t> bank = ReadTypedNumber(fields.Bank);
    const int64_t lastBank = std::max<int64_t>(appliance.BankCount - 1, 0);
    if (!InRange(bank, 0, lastBank))
        return "The bank must be a number from 0 to " + std::to_string(lastBank) + ".";
    const std::optional<int64_t> address = ReadTypedNumber(fields.Address);
    if (!InRange(address, 0, kAddressLimit - 1))
        return "The address must be an address from $0000 to $FFFF.";
    if (!InRange(ReadTypedNumber(fields.Offset), 0, INT32_MAX))
        return "The offset must be a number of bytes, 0 or more.";
    const bool moved = *bank != place.Bank || *address != place.Address;
    if (moved && appliance.LoadImages().Item(place.File, static_cast<int32_t>(*address),
                                             static_cast<int32_t>(*bank)))
        return "The image '" + place.File + "' is placed at $" + Hex2(static_cast<int32_t>(*bank)) +
               ":" + Hex4(static_cast<int32_t>(*address)) + " already.";
    return {};
}

void ApplyLoadSettings(Appliance& appliance, const LoadRowPlace& place, const LoadFields& fields) {
    LoadImages& images = appliance.LoadImages();
    const std::string oldKey = LoadImages::KeyOf(place.File, place.Address, place.Bank);
    std::size_t position = 0;
    while (position < images.Count() && images.At(position).key != oldKey)
        ++position;
    if (position == images.Count())
        return;
    std::shared_ptr<LoadImage> image = images.At(position).item;
    image->Bank = static_cast<int32_t>(*ReadTypedNumber(fields.Bank));
    image->Start = static_cast<int32_t>(*ReadTypedNumber(fields.Address));
    image->Offset = static_cast<int32_t>(*ReadTypedNumber(fields.Offset));
    images.RemoveAt(position);
    images.TryInsertAt(position, LoadImages::KeyOf(place.File, image->Start, image->Bank), image);
    appliance.Touch();
}

} // namespace bx
