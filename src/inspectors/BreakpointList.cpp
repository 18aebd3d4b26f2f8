#include "inspectors/BreakpointList.h"

#include "appliance/Appliance.h"
#include "debug/Breakpoints.h"
#include "debug/Symbler.h"
#include "foundation/Common.h"
#include "platform/Paths.h"

namespace bx {

BreakpointListing ListBreakpoints(Appliance* appliance, Symbler* symbols) {
    BreakpointListing listing;
    if (!appliance || !symbols || appliance->Breakpoints().Empty())
        return listing;
    listing.Empty = false;
    for (const auto& entry : appliance->Breakpoints()) {
        const Breakpoint& record = *entry.item;
        BreakpointRow row;
        row.Location = Hex2(record.Bank) + ":" + Hex4(record.Start);
        row.Tag = record.AsString();
        // An address without a source line leaves the file empty: " ()" and line 0.
        int32_t file = -1;
        int32_t line = 0;
        symbols->GetSourceAt(record.Bank, record.Start, file, line);
        const std::string path = file >= 0 ? symbols->GetSourcePath(file) : std::string();
        row.File = FileNameOf(path) + " (" + platform::ToNativePath(path) + ")";
        row.Line = std::to_string(line);
        listing.Rows.push_back(std::move(row));
    }
    return listing;
}

std::optional<BreakpointLine> LineOfBreakpoint(const std::string& tag, Symbler& symbols) {
    Breakpoint record;
    if (!record.FromString(tag))
        return std::nullopt;
    BreakpointLine found;
    found.Bank = record.Bank;
    found.Start = record.Start;
    if (!symbols.GetSourceAt(record.Bank, record.Start, found.File, found.Line))
        return std::nullopt;
    found.Path = symbols.GetSourcePath(found.File);
    return found;
}

} // namespace bx
