#include "debug/SourceBreakMarks.h"

#include "appliance/Appliance.h"
#include "debug/Emulator.h"
#include "debug/Symbler.h"

namespace bx {

namespace {
constexpr int32_t kExecute = break_kind::kExecute;
constexpr int32_t kAllKinds = break_kind::kExecute | break_kind::kRead | break_kind::kWrite;
} // namespace

std::string SourceBreakMarks::MarkKey(int32_t line) {
    return "L" + std::to_string(line);
}

ToggleOutcome SourceBreakMarks::ToggleBreak(int32_t line) {
    if (line >= 0)
        return ToggleLineBreak(line);
    if (SelectedLine <= 0)
        return ToggleOutcome::NoLine;
    return ToggleLineBreak(SelectedLine);
}

ToggleOutcome SourceBreakMarks::ToggleLineBreak(int32_t line) {
    if (!TargetEmulator || TargetAppliance == nullptr || Symbols == nullptr)
        return ToggleOutcome::NotReady;
    // Under ICE the probe can't change a breakpoint while the target runs; the simulator can.
    bool busy = QueryBusy ? QueryBusy() : false;
    if (busy && TargetAppliance->ExtDebuggerInUse)
        return ToggleOutcome::Busy;
    int32_t address = Symbols->GetPC(FileId, line);
    if (address < 1)
        return ToggleOutcome::NoCode;
    const std::string key = MarkKey(line);
    ToggleOutcome outcome;
    if (marks_.Contains(key)) {
        TargetEmulator->ClearBreak(address, kExecute, 1);
        TargetAppliance->Breakpoints().Remove(0, address, 1, kExecute);
        marks_.Remove(key);
        outcome = ToggleOutcome::Cleared;
    } else {
        TargetEmulator->SetBreak(address, kExecute, 1);
        TargetAppliance->Breakpoints().Add(0, address, 1, kExecute);
        marks_.TryAdd(key, std::make_shared<int32_t>(line));
        outcome = ToggleOutcome::Set;
    }
    if (Repaint)
        Repaint();
    return outcome;
}

void SourceBreakMarks::ClearAllBreakMarks() {
    marks_.Clear();
    if (Repaint)
        Repaint();
}

void SourceBreakMarks::InitBreakpoints() {
    marks_.Clear();
    if (Symbols == nullptr || !TargetEmulator || TargetAppliance == nullptr)
        return;
    for (const auto& entry : TargetAppliance->Breakpoints()) {
        const Breakpoint& record = *entry.item;
        if ((record.Flags & kExecute) == 0)
            continue;
        int32_t file = 0, line = 0;
        if (!Symbols->GetSourceAt(record.Bank, record.Start, file, line) || file != FileId)
            continue;
        // Two records on one line (the same address in both forms) make one mark.
        marks_.TryAdd(MarkKey(line), std::make_shared<int32_t>(line));
    }
}

bool SourceBreakMarks::IsMarked(int32_t line) const {
    return marks_.Contains(MarkKey(line));
}

std::vector<int32_t> SourceBreakMarks::MarkedLines() const {
    std::vector<int32_t> lines;
    for (const auto& entry : marks_)
        lines.push_back(*entry.item);
    return lines;
}

ToggleOutcome ToggleBreakInViews(const std::vector<SourceBreakMarks*>& views, int32_t currentView,
                                 int32_t view, int32_t line) {
    auto viewAt = [&views](int32_t index) -> SourceBreakMarks* {
        if (index < 0 || index >= static_cast<int32_t>(views.size()))
            return nullptr;
        return views[static_cast<std::size_t>(index)];
    };
    if (view < 0 || line < 0) {
        SourceBreakMarks* current = viewAt(currentView);
        return current != nullptr ? current->ToggleBreak(-1) : ToggleOutcome::NoLine;
    }
    SourceBreakMarks* target = view > 0 ? viewAt(view) : nullptr;
    return target != nullptr ? target->ToggleBreak(line) : ToggleOutcome::NoLine;
}

void ClearAllBreaks(Emulator& emulator, Appliance& appliance,
                    const std::vector<SourceBreakMarks*>& views, bool viewIsCurrent) {
    emulator.ClearBreak(0, kAllKinds, -1);
    appliance.Breakpoints().Clear();
    if (!viewIsCurrent)
        return;
    for (SourceBreakMarks* view : views)
        if (view != nullptr)
            view->ClearAllBreakMarks();
}

} // namespace bx
