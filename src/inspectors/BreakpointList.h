#pragma once
// The rows of the breakpoint list dialog (wizBreakpoint): one row for each execute breakpoint
// the appliance keeps, with its address, the source file and the line it stands on, as the
// symbols of the build in hand place it. The dialog fills its list from these each time it
// is shown and after each change.
//
// A row's text is Hex2(Bank) ":" Hex4(Start) (a bank folded into Start shows in its digits);
// its tag is the record's AsString, from which the dialog's buttons find the record again.

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace bx {

class Appliance;
class Symbler;

struct BreakpointRow {
    std::string Location; // "00:8000"
    std::string Tag;      // Breakpoint::AsString
    std::string File;     // the file's name, " (", its path as the system shows paths, ")"
    std::string Line;     // the line as a decimal number
};

struct BreakpointListing {
    // No symbols, no appliance or no breakpoint: the list shows kNoBreakpoints alone and the
    // buttons that act on a row are off.
    bool Empty = true;
    std::vector<BreakpointRow> Rows;
};

inline constexpr const char* kNoBreakpoints = "--No breakpoints defined--";

BreakpointListing ListBreakpoints(Appliance* appliance, Symbler* symbols);

// The source line of the breakpoint whose tag is given, for Go to and Delete; nothing when the
// tag isn't a record or its address has no source line.
struct BreakpointLine {
    int32_t Bank = 0;
    int32_t Start = 0;
    int32_t File = 0;
    int32_t Line = 0;
    std::string Path; // the system's backslash form
};
std::optional<BreakpointLine> LineOfBreakpoint(const std::string& tag, Symbler& symbols);

} // namespace bx
