#include "appliance/LoadMap.h"

#include "foundation/Common.h"

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
    std::string upper = Segment;
    std::transform(upper.begin(), upper.end(), upper.begin(),
                   [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
    if (upper == "CODE")
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

} // namespace bx
