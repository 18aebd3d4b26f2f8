#include "inspectors/SourceLineModel.h"

#include "appliance/Appliance.h"
#include "debug/Emulator.h"
#include "debug/Symbler.h"
#include "foundation/Common.h"
#include "foundation/Error.h"
#include "foundation/HostInterfaces.h"
#include "platform/FileSystem.h"
#include "platform/Paths.h"

#include <algorithm>
#include <cctype>
#include <cmath>

namespace bx {

namespace {

// How far AddLine looks ahead for the next line with code, and the byte counts it caps at.
constexpr int32_t kLookAhead = 29;
constexpr int32_t kShownBytes = 3;
constexpr int32_t kPrefixCap = 5;
constexpr int32_t kTipCap = 16;
constexpr int32_t kNoAddress = -1;
// The strip: 15 blanks and this margin.
constexpr double kStripMargin = 200.0;

// Lengths are rounded half to even before the integer divisions of the layout, done by hand
// so that the result doesn't hang on the floating-point rounding mode.
int32_t RoundWhole(double value) {
    double below = std::floor(value);
    double fraction = value - below;
    if (fraction > 0.5 || (fraction == 0.5 && std::fmod(below, 2.0) != 0.0))
        below += 1.0;
    return static_cast<int32_t>(below);
}

bool IsWordChar(char c) {
    const auto u = static_cast<unsigned char>(c);
    return std::isalnum(u) != 0 || c == '_';
}

} // namespace

SourceLineModel::SourceLineModel() {
    marks_.Repaint = [this] {
        if (Repaint)
            Repaint();
    };
    marks_.QueryBusy = [this] { return QueryBusy ? QueryBusy() : false; };
}

// ---- Set by the host ------------------------------------------------------------------------

void SourceLineModel::SetEmulator(std::shared_ptr<Emulator> emulator) {
    marks_.TargetEmulator = std::move(emulator);
}

void SourceLineModel::SetAppliance(Appliance* appliance) {
    marks_.TargetAppliance = appliance;
    image_.reset();
}

void SourceLineModel::SetSymbols(Symbler* symbols) {
    marks_.Symbols = symbols;
}

void SourceLineModel::SetFileId(int32_t fileId) {
    marks_.FileId = fileId;
}

void SourceLineModel::SetTextMetrics(double blankWidth, double rowHeight) {
    stripWidth_ = RoundWhole(blankWidth * kPrefixWidth + kStripMargin);
    rowHeight_ = rowHeight;
}

void SourceLineModel::Resize(double controlHeight) {
    controlHeight_ = controlHeight;
    scroll_.LargeChange = std::max(RowsThatFit() - 2, 1);
    EnsureVisible(SelectedLine());
}

int32_t SourceLineModel::RowsThatFit() const {
    const int32_t row = RoundWhole(rowHeight_);
    return row > 0 ? RoundWhole(controlHeight_) / row : 0;
}

// ---- Lines ----------------------------------------------------------------------------------

std::optional<int32_t> SourceLineModel::NextLineAddress(int32_t line) const {
    if (marks_.Symbols == nullptr)
        return std::nullopt;
    for (int32_t n = line + 1; n <= line + kLookAhead; ++n) {
        int32_t address = marks_.Symbols->GetPC(FileId(), n);
        if (address != kNoAddress)
            return address;
    }
    return std::nullopt;
}

const std::string& SourceLineModel::ImageBytes() {
    if (!image_) {
        Appliance* appliance = marks_.TargetAppliance;
        std::shared_ptr<BuildTarget> run = appliance != nullptr ? appliance->RunTarget() : nullptr;
        if (!run)
            throw BxError(errors::kPathNotFound, "DebugView", "The appliance has no final image");
        const std::string path = appliance->Folder + run->OutputPath;
        // A prefix shows bytes of unbanked code only, whose offset from ProgramStart is below
        // 64 KB: that much of the image is read, however large the file is.
        std::optional<std::string> content = platform::ReadFileSlice(path, 0, 0x10000);
        if (!content)
            throw BxError(errors::kFileAccess, "DebugView",
                          "Can't read the image " + platform::ToNativePath(path));
        image_ = std::move(*content);
    }
    return *image_;
}

std::string SourceLineModel::Prefix(int32_t line) {
    const std::string blank = Spaces(kPrefixWidth);
    Appliance* appliance = marks_.TargetAppliance;
    if (marks_.Symbols == nullptr || appliance == nullptr)
        return blank;
    const int32_t address = marks_.Symbols->GetPC(FileId(), line);
    const bool banked =
        address >= appliance->BankStart && address < appliance->BankStart + appliance->BankSize;
    if (banked || address > 0xFFFF || address < 0)
        return blank;

    std::string prefix = Hex4(address);
    std::optional<int32_t> next = NextLineAddress(line);
    int32_t length = next ? *next - address : 0;
    if (!next || *next < address || length >= kPrefixCap + 1)
        length = kPrefixCap;

    // The block of the image behind the line's address; empty where the file gives nothing.
    const std::string& image = ImageBytes();
    const int64_t offset = static_cast<int64_t>(address) - appliance->ProgramStart;
    std::size_t available = 0;
    if (offset >= 0 && offset < static_cast<int64_t>(image.size()))
        available = std::min<std::size_t>(kShownBytes, image.size() - static_cast<size_t>(offset));

    for (int32_t i = 0; i < kShownBytes; ++i) {
        if (available == 0)
            prefix += " ??";
        else if (i >= length)
            prefix += Spaces(3);
        else if (static_cast<std::size_t>(i) >= available)
            prefix += " ??"; // the image ends inside the line's code
        else
            prefix += " " + Hex2(static_cast<uint8_t>(image[static_cast<size_t>(offset) + i]));
    }
    prefix += length > kShownBytes ? ".." : "  ";
    return prefix;
}

void SourceLineModel::AddLine(const std::string& text) {
    const int32_t n = LineCount() + 1;
    lines_.push_back(Prefix(n) + text);
    SetRange(1, n);
    scroll_.Visible = true;
}

void SourceLineModel::Clear() {
    lines_.clear();
    image_.reset();
    scroll_.Visible = false;
    marks_.ClearAllBreakMarks();
}

std::string SourceLineModel::Line(int32_t n) const {
    if (n < 1 || n > LineCount())
        return {};
    return lines_[static_cast<std::size_t>(n - 1)];
}

// ---- Position -------------------------------------------------------------------------------

void SourceLineModel::SetRange(int32_t min, int32_t max) {
    scroll_.Min = min;
    scroll_.Max = max;
    scroll_.Value = std::clamp(scroll_.Value, min, std::max(min, max));
}

void SourceLineModel::SetValue(int32_t value) {
    value = std::clamp(value, scroll_.Min, std::max(scroll_.Min, scroll_.Max));
    if (value == scroll_.Value)
        return;
    scroll_.Value = value;
    if (Repaint)
        Repaint();
}

void SourceLineModel::EnsureVisible(int32_t line) {
    if (line <= 0)
        return;
    const int32_t first = scroll_.Value;
    const int32_t last = first + RowsThatFit() - 1;
    if (line < first || line > last)
        SetValue(line - (last - first) / 2);
}

void SourceLineModel::VisibleLine(int32_t line) {
    EnsureVisible(line);
    if (Repaint)
        Repaint();
}

void SourceLineModel::SetSelectedLine(int32_t line) {
    marks_.SelectedLine = line;
    VisibleLine(line);
}

bool SourceLineModel::KeyDown(int32_t code, bool /*shift*/) {
    const int32_t value = scroll_.Value;
    const int32_t large = scroll_.LargeChange;
    switch (code) {
    case kKeyUp:
        if (value >= 2)
            SetValue(value - 1);
        return true;
    case kKeyDown:
        if (value < scroll_.Max)
            SetValue(value + 1);
        return true;
    case kKeyPageUp:
        SetValue(value > large ? value - large : 1);
        return true;
    case kKeyPageDown:
        SetValue(value + large <= scroll_.Max ? value + large : scroll_.Max);
        return true;
    default:
        return false;
    }
}

void SourceLineModel::ScrollBarMove(int32_t direction) {
    SetValue(direction == -1 ? scroll_.Value - 1 : scroll_.Value + 1);
}

// ---- The strip ------------------------------------------------------------------------------

int32_t SourceLineModel::LineAtY(double y) const {
    const int32_t row = RoundWhole(rowHeight_);
    return (row > 0 ? RoundWhole(y) / row : 0) + scroll_.Value;
}

std::optional<ToggleOutcome> SourceLineModel::StripClick(double x, double y) {
    if (x > stripWidth_)
        return std::nullopt;
    return marks_.ToggleLineBreak(LineAtY(y));
}

StripPointer SourceLineModel::StripHover(double x, double y) {
    if (x >= stripWidth_) {
        tipText_.clear();
        return StripPointer::Arrow;
    }
    const int32_t line = LineAtY(y);
    if (line == hoveredLine_)
        return StripPointer::Cross;
    hoveredLine_ = std::min(line, scroll_.Max + 1);

    std::string tip;
    const std::string text = Line(hoveredLine_);
    if (text.size() > 13 && text[13] == '.' && marks_.Symbols != nullptr && marks_.TargetEmulator) {
        const int32_t address = marks_.Symbols->GetPC(FileId(), hoveredLine_);
        std::optional<int32_t> next = NextLineAddress(hoveredLine_);
        int32_t count = next ? *next - address : 0;
        if (!next || *next < address || count >= kTipCap + 1)
            count = kTipCap;
        std::vector<uint8_t> data = marks_.TargetEmulator->ReadMemory(address, count);
        for (uint8_t byte : data)
            tip += Hex2(byte) + " ";
        if (data.size() > 15)
            tip += "..";
    }
    tipText_ = tip;
    if (TipChanged)
        TipChanged(tipText_);
    return StripPointer::Cross;
}

// ---- Find -----------------------------------------------------------------------------------

void SourceLineModel::FindNew() {
    if (Finder == nullptr || !Finder->ShowModal())
        return;
    findText_ = Finder->FindTarget();
    if (findText_.empty())
        return;
    IgnoreCase = !Finder->MatchCase();
    WholeWord = Finder->WholeWord();
    FindLine(findText_, scroll_.Value);
}

void SourceLineModel::FindNext() {
    if (findText_.empty()) {
        FindNew();
        return;
    }
    if (Finder != nullptr) {
        IgnoreCase = !Finder->MatchCase();
        WholeWord = Finder->WholeWord();
    }
    FindLine(findText_, scroll_.Value + 1);
}

bool SourceLineModel::LineMatches(int32_t line, const std::string& text) const {
    // The search starts at column 15, the last column of the prefix.
    constexpr std::size_t kFrom = kPrefixWidth - 1;
    const std::string whole = Line(line);
    if (text.empty() || whole.size() <= kFrom)
        return false;
    const std::size_t at =
        IgnoreCase ? LowerCase(whole).find(LowerCase(text), kFrom) : whole.find(text, kFrom);
    if (at == std::string::npos)
        return false;
    if (!WholeWord)
        return true;
    // Only the first match on a line counts: a word character ahead of it fails the line.
    if (at > 0 && IsWordChar(whole[at - 1]))
        return false;
    const std::size_t behind = at + text.size();
    return behind >= whole.size() || !IsWordChar(whole[behind]);
}

int32_t SourceLineModel::FindLine(const std::string& text, int32_t start) {
    const int32_t last = std::min(scroll_.Max, LineCount());
    int32_t found = 0;
    for (int32_t n = start; n <= last && found == 0; ++n)
        if (LineMatches(n, text))
            found = n;
    // Where the forward loop's counter ended: behind the range, or at start when it was empty.
    const int32_t counter = start <= scroll_.Max ? scroll_.Max + 1 : start;
    if (found == 0 && counter > 2)
        for (int32_t n = 1; n <= std::min(start - 1, LineCount()) && found == 0; ++n)
            if (LineMatches(n, text))
                found = n;
    if (found == 0) {
        if (Prompts != nullptr)
            Prompts->ask("", "Search text is not found / Search wrapped", Buttons::Ok,
                         Icon::Exclamation);
        return 0;
    }
    SetValue(found);
    return found;
}

} // namespace bx
