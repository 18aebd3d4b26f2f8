#pragma once
// WatchList: the model of the watch window (WatchEditor, in frmWatch), the person's own list
// of variables with their values at the last stop. The rows mirror the children of the
// appliance's group Item("", "UserWatches"); each user watch stands both there and in the
// appliance's Watches under Category "UserWatches". Names are looked up in the symbol list of
// the build in hand (Category "Symbol"), as a plain name or as an element "name[n]".
//
// Each row keeps a text copy of its watch (the tag: AsString, the separator, the value shown
// last) and every read works on a fresh Watch rebuilt from it, so that the binary form's use of
// the Mask (see Watch::ValueString) never touches what the next read starts from.
//
// A change of the list (add, edit, remove) touches the appliance, so that it is saved.
//
// Trace lines under module 1003. UI thread only.

#include "inspectors/Watch.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace bx {

class Appliance;
class Diagnoser;
class Emulator;

// The format options of the watch item dialog, in the order they are tested.
enum class WatchFormat { Hex, Dec, Bin };

struct WatchRow {
    std::string Text;         // the watch's Title (column "Expression")
    std::string Location;     // column "Address"
    std::string Value = "??"; // column "Value": "??" until the first refresh that reads text
    std::string Tag;          // AsString, separator, value of the previous refresh
    bool Changed = false;     // the value differs from the previous refresh's
};

class WatchList {
public:
    static constexpr const char* kGroupCategory = "UserWatches";
    // The sizes of the dialog's size combo, by index.
    static constexpr int32_t kByte = 0;
    static constexpr int32_t kWord = 1;
    static constexpr int32_t kLong = 2;

    explicit WatchList(const Diagnoser* diagnoser = nullptr) : diagnoser_(diagnoser) {}

    // A row for each watch of the appliance's "UserWatches" group; the group is created when
    // the appliance has none.
    void SetAppliance(Appliance* appliance);
    Appliance* CurrentAppliance() const { return appliance_; }
    // Keeps the symbols of a new build and places every row on its address in them.
    void SetSymbolList(std::shared_ptr<Watches> symbols);
    const std::shared_ptr<Watches>& SymbolList() const { return symbols_; }

    const std::vector<WatchRow>& Rows() const { return rows_; }

    // The location of a name in the symbol list: the symbol's own for a plain name, the
    // symbol's address plus n for "name[n]" (bank kept); "" when the name isn't a symbol.
    std::string EvalLocation(const std::string& name) const;

    // Reads every row again ("Invalid" for all without an Emulator). An empty value (a watch
    // without location) leaves the text shown.
    void Refresh(Emulator* emulator);

    // Adds a watch of that name, copied from the symbol of that name when there is one, in the
    // format and size chosen (a byte is masked to 8 bits); false when the name is watched
    // already (or there is no appliance). The new row shows "??".
    bool AddWatch(const std::string& name, WatchFormat format, int32_t sizeIndex);
    // Takes the watch of row out of the list and out of the appliance.
    void RemoveWatch(std::size_t row);
    // Replaces the watch of row by one of the new name, format and size (it goes to the end);
    // false when AddWatch refused the new name.
    bool ReplaceWatch(std::size_t row, const std::string& name, WatchFormat format,
                      int32_t sizeIndex);

    // The in-place value edit's commit: writes the typed text ("-" read as "0") when the watch
    // isn't disabled and its value reads as text now. Whether it was written.
    bool CommitValue(std::size_t row, const std::string& typed, Emulator& emulator);

    // Sorts the rows by a column's text (0 Expression, 1 Address, 2 Value), without regard to
    // case; the same column again reverses the order. A sorted list stays sorted as rows are
    // added.
    void SortBy(int32_t column);

    // The dialog's check of a typed name: after a "[" only decimal digits up to the "]".
    static bool NameFormatIsValid(const std::string& name);
    static constexpr const char* kNameFormatWarning =
        "Error watch string format! Please check if the format is variable[number]";

private:
    void Touch();
    void ApplySort();

    const Diagnoser* diagnoser_;
    Appliance* appliance_ = nullptr;
    std::shared_ptr<Watches> symbols_;
    std::vector<WatchRow> rows_;
    int32_t sortColumn_ = -1;
    bool sortDescending_ = false;
};

} // namespace bx
