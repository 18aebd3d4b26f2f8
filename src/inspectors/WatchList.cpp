#include "inspectors/WatchList.h"

#include "appliance/Appliance.h"
#include "foundation/Common.h"
#include "foundation/Diagnoser.h"
#include "inspectors/Watch.h"

#include <algorithm>
#include <cctype>
#include <exception>

namespace bx {

namespace {

const std::string& ColumnText(const WatchRow& row, int32_t column) {
    return column == 0 ? row.Text : column == 1 ? row.Location : row.Value;
}

} // namespace

void WatchList::SetAppliance(Appliance* appliance) {
    appliance_ = appliance;
    rows_.clear();
    if (!appliance)
        return;
    std::shared_ptr<Watch> group = appliance->Watches().Item("", kGroupCategory);
    if (!group)
        group = appliance->Watches().Add("", kGroupCategory);
    if (!group || !group->HasChildren())
        return;
    for (const auto& entry : group->Children()) {
        WatchRow row;
        row.Text = entry.item->Title;
        row.Location = entry.item->Location;
        row.Tag = watch_tag::Make(entry.item->AsString(), "");
        rows_.push_back(std::move(row));
    }
    ApplySort();
}

void WatchList::SetSymbolList(std::shared_ptr<Watches> symbols) {
    symbols_ = std::move(symbols);
    for (WatchRow& row : rows_) {
        Watch watch;
        watch.FromString(watch_tag::Record(row.Tag));
        watch.Location = EvalLocation(row.Text);
        row.Location = watch.Location;
        row.Tag = watch_tag::Make(watch.AsString(), watch_tag::LastValue(row.Tag));
    }
}

std::string WatchList::EvalLocation(const std::string& name) const {
    if (!symbols_)
        return "";
    const std::string base = ArrayBaseName(name);
    const std::shared_ptr<Watch> symbol = symbols_->Item(base, "Symbol");
    if (!symbol)
        return "";
    if (base == name)
        return symbol->Location;
    const int32_t index = ArrayIndexOf(name);
    if (index < 0)
        return "";
    int32_t bank = 0;
    bool failed = false;
    const int32_t address = ParseNumber("$" + symbol->Location, bank, failed);
    if (failed)
        return "";
    return Hex2(bank) + ":" + Hex4(address + index);
}

void WatchList::Refresh(Emulator* emulator) {
    if (diagnoser_) {
        diagnoser_->Trace(trace_module::kWatchEditor, 1010, "");
        diagnoser_->Trace(trace_module::kWatchEditor, 1020, "");
    }
    for (WatchRow& row : rows_) {
        const std::string record = watch_tag::Record(row.Tag);
        const std::string previous = watch_tag::LastValue(row.Tag);
        Watch watch;
        watch.FromString(record);
        const std::string value = emulator ? watch.ValueString(*emulator) : "Invalid";
        if (!value.empty())
            row.Value = value;
        row.Changed = !(value == previous || previous.empty());
        row.Tag = watch_tag::Make(record, value);
    }
}

bool WatchList::AddWatch(const std::string& name, WatchFormat format, int32_t sizeIndex) {
    if (!appliance_)
        return false;
    try {
        if (appliance_->Watches().Item(name, kGroupCategory))
            return false;
        auto watch = std::make_shared<Watch>();
        if (const std::shared_ptr<Watch> symbol =
                symbols_ ? symbols_->Item(name, "Symbol") : nullptr)
            watch->FromString(symbol->AsString());
        else
            watch->Title = name;
        watch->Location = EvalLocation(watch->Title);
        watch->Category = kGroupCategory;
        const char* formatName = format == WatchFormat::Hex   ? "Hex"
                                 : format == WatchFormat::Dec ? "Dec"
                                                              : "Bin";
        const char* sizeName = sizeIndex == kByte ? "Byte" : sizeIndex == kWord ? "Word" : "Long";
        watch->Mask = sizeIndex == kByte ? 255 : -1;
        watch->SetDisplay(std::string(formatName) + sizeName);
        if (!appliance_->Watches().AddItem(watch))
            return false;

        WatchRow row;
        row.Text = watch->Title;
        row.Location = watch->Location;
        row.Tag = watch_tag::Make(watch->AsString(), "");
        rows_.push_back(std::move(row));
        if (std::shared_ptr<Watch> group = appliance_->Watches().Item("", kGroupCategory))
            group->Children().AddItem(watch);
        ApplySort();
        Touch();
        return true;
    } catch (const std::exception&) {
        return false;
    }
}

void WatchList::RemoveWatch(std::size_t row) {
    if (row >= rows_.size() || !appliance_)
        return;
    const std::string title = rows_[row].Text;
    if (std::shared_ptr<Watch> group = appliance_->Watches().Item("", kGroupCategory))
        if (group->HasChildren())
            group->Children().Remove(title, kGroupCategory);
    appliance_->Watches().Remove(title, kGroupCategory);
    rows_.erase(rows_.begin() + static_cast<std::ptrdiff_t>(row));
    Touch();
}

bool WatchList::ReplaceWatch(std::size_t row, const std::string& name, WatchFormat format,
                             int32_t sizeIndex) {
    RemoveWatch(row);
    return AddWatch(name, format, sizeIndex);
}

bool WatchList::CommitValue(std::size_t row, const std::string& typed, Emulator& emulator) {
    if (typed.empty() || row >= rows_.size())
        return false;
    Watch watch;
    watch.FromString(watch_tag::Record(rows_[row].Tag));
    const std::string value = watch.ValueString(emulator);
    if (watch.Disabled || value.empty())
        return false;
    std::string text = typed;
    std::replace(text.begin(), text.end(), '-', '0');
    // The read above may have consumed the Mask: the write starts from the row's record again.
    Watch target;
    target.FromString(watch_tag::Record(rows_[row].Tag));
    target.SetValueString(emulator, text);
    if (target.Invalid)
        return false;
    rows_[row].Text = target.Title;
    return true;
}

void WatchList::SortBy(int32_t column) {
    if (column < 0 || column > 2)
        return;
    sortDescending_ = column == sortColumn_ ? !sortDescending_ : false;
    sortColumn_ = column;
    ApplySort();
}

void WatchList::ApplySort() {
    if (sortColumn_ < 0)
        return;
    std::stable_sort(rows_.begin(), rows_.end(), [this](const WatchRow& a, const WatchRow& b) {
        const std::string left = LowerCase(ColumnText(a, sortColumn_));
        const std::string right = LowerCase(ColumnText(b, sortColumn_));
        return sortDescending_ ? right < left : left < right;
    });
}

bool WatchList::NameFormatIsValid(const std::string& name) {
    bool inIndex = false;
    for (char c : name) {
        if (inIndex) {
            if (c == ']')
                inIndex = false;
            else if (!std::isdigit(static_cast<unsigned char>(c)))
                return false;
        } else if (c == '[') {
            inIndex = true;
        }
    }
    return true;
}

void WatchList::Touch() {
    if (appliance_)
        appliance_->Touch();
}

} // namespace bx
