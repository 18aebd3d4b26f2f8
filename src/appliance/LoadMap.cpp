#include "appliance/LoadMap.h"

#include "appliance/Appliance.h"
#include "foundation/Common.h"
#include "foundation/Error.h"

#include <algorithm>
#include <cctype>

namespace bx {

std::string LoadImages::KeyOf(const std::string& outputPath, int32_t start, int32_t bank) {
    return outputPath + "@" + Hex2(bank) + ":" + Hex4(start);
}

std::shared_ptr<LoadImage> LoadImages::Add(std::shared_ptr<BuildTarget> target, int32_t start,
                                           int32_t bank) {
    const std::string key = KeyOf(target->OutputPath, start, bank);
    auto image = std::make_shared<LoadImage>();
    image->Content = std::move(target);
    image->Start = start;
    image->Bank = bank;
    return KeyedCollection::Add(key, image);
}

void LoadImages::Remove(const std::string& name, int32_t start, int32_t bank) {
    if (start != -1 && bank != -1) {
        KeyedCollection::Remove(KeyOf(name, start, bank));
        return;
    }
    for (std::size_t i = Count(); i-- > 0;) {
        const auto& content = At(i).item->Content;
        if (content && content->OutputPath == name)
            RemoveAt(i);
    }
}

std::shared_ptr<LoadImage> LoadImages::Item(const std::string& name, int32_t start,
                                            int32_t bank) const {
    return KeyedCollection::Item(KeyOf(name, start, bank));
}

std::string ObjMap::BinFileName(const std::string& title) const {
    if (UpperCase(Segment) == "CODE")
        return title + ".bin";
    return title + "_" + Segment + ".bin";
}

std::shared_ptr<ObjMap> ObjMaps::Add(const std::string& segment, int32_t start, int32_t size) {
    std::size_t position = 0;
    while (position < Count() && At(position).item->Start <= start)
        ++position;
    auto map = std::make_shared<ObjMap>(ObjMap{segment, start, size});
    if (!TryInsertAt(position, segment, map))
        throw DuplicateKeyError("ObjMaps");
    return map;
}

// ---- The appliance's load-map operations ---------------------------------------------------

namespace {
// The number of the arithmetic error of a division by zero.
constexpr int32_t kDivisionByZero = 11;

} // namespace

void Appliance::LabelLoadAddr(const std::string& Name, int32_t Offset, int32_t Bank, int32_t Start,
                              int32_t Size) {
    Touch();
    // An image that waits for a place keeps its content; every entry of that name goes, and
    // the one placed here takes their place.
    std::shared_ptr<BuildTarget> content;
    if (auto waiting = LoadImages().Item(Name, -1, -1)) {
        content = waiting->Content;
        LoadImages().Remove(Name, -1, -1);
    } else {
        content = BuildTargets().Item(Name);
        if (!content)
            content = BuildTargets().Add(nullptr, "", Name);
    }
    // A taken key is the collection's duplicate-key error, for the caller.
    auto image = LoadImages().Add(content, Start, Bank);
    image->Offset = Offset;
    image->Bank = Bank;
    image->Start = Start;
    image->Size = Size;

    // The appliance's own ROM image holds everything else and doesn't take room of its own.
    if (LowerCase(Name) == LowerCase(Title + ".rom"))
        return;
    // The cursor moves on from where it stood, by the size alone: the placed address doesn't
    // set it, so images labelled one after another stack up from the first free place.
    if (BankSize == 0)
        throw BxError(kDivisionByZero, "Appliance Object", "Division by zero");
    const int64_t t = int64_t{NextAddress} - BankStart + Size;
    NextBank = static_cast<int32_t>(NextBank + t / BankSize);
    NextAddress = static_cast<int32_t>(t % BankSize + BankStart);
}

void Appliance::RemoveLoadItem(const std::string& Name, int32_t Start, int32_t Bank) {
    Touch();
    LoadImages().Remove(Name, Start, Bank);
    RemoveBuildStep(Name);
}

} // namespace bx
