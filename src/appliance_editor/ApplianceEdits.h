#pragma once
// The changes a person makes in the appliance editor, without their windows: the system
// properties changed in place (the model from the bodies of the settings, the clock from the
// body's clock rates, each option between its two names), a segment mapping added, changed or
// removed, and a load image moved to another bank, address or offset. Each check gives the
// message that says what is wrong with a value, and changes nothing then; each change marks
// the appliance modified. The window calls Update afterwards. UI thread only.

#include "appliance_editor/ApplianceTree.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace bx {

class Appliance;
class GlobalSettings;

// ---- System properties in place -----------------------------------------------------------

// What the in-place box offers for a row of lvwSystem (its key), the row's setting first
// selected; nullopt for a row that can't be changed in place (the CPU, the boot vector, an
// option behind the eighth, anything of an unknown body).
struct InPlaceChoices {
    std::vector<std::string> Items;
    std::string Current;
};
std::optional<InPlaceChoices> SystemChoices(const Appliance& appliance,
                                            const GlobalSettings& settings,
                                            const std::string& rowKey);

// Takes a choice of the box. False, with nothing changed, for a choice the box doesn't offer.
// A new model brings its body's memory layout, boot vector and option defaults (as a new
// appliance of that body has them), keeps the clock when the body has it (else takes the
// body's first), and has the build rules name the new body's linker configuration where they
// named the old one's.
bool ApplySystemChoice(Appliance& appliance, const GlobalSettings& settings,
                       const std::string& rowKey, const std::string& choice);

// ---- Segment mappings ---------------------------------------------------------------------

inline constexpr const char* kSegmentTitle = "Segment Mapping";

struct SegmentFields {
    std::string Name;
    std::string Start; // "$C000", "49152" or "%..."
    std::string Size;
};

// Why the fields can't make the segment mapping (replacing the one named editing, "" for a
// new one); "" when they can.
std::string CheckSegment(Appliance& appliance, const SegmentFields& fields,
                         const std::string& editing);
// Adds the mapping, or replaces the one named editing; the fields must have passed the check.
void ApplySegment(Appliance& appliance, const SegmentFields& fields, const std::string& editing);
void RemoveSegment(Appliance& appliance, const std::string& name);

// ---- Load settings of an image --------------------------------------------------------------

inline constexpr const char* kLoadSettingsTitle = "Load Settings";

struct LoadFields {
    std::string Bank;
    std::string Address;
    std::string Offset;
};

// The place of the first load image of a file, as its load-pane row names it.
std::optional<LoadRowPlace> FirstLoadPlace(Appliance& appliance, const std::string& file);
// Why the image at place can't take the fields; "" when it can.
std::string CheckLoadSettings(Appliance& appliance, const LoadRowPlace& place,
                              const LoadFields& fields);
// Moves the image to the new bank and address with the new offset, keeping its place in the
// list; the fields must have passed the check.
void ApplyLoadSettings(Appliance& appliance, const LoadRowPlace& place, const LoadFields& fields);

} // namespace bx
