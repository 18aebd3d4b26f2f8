#pragma once
// The load map: which build outputs go where in the banked memory (LoadImages), and the named
// segments in the order of their addresses (ObjMaps).

#include "build/BuildRules.h"
#include "foundation/KeyedCollection.h"

#include <cstdint>
#include <memory>
#include <string>

namespace bx {

struct LoadImage {
    int32_t Bank = -1;                    // target bank; -1 while the image has no place yet
    int32_t Start = -1;                   // target address; -1 while the image has no place yet
    int32_t Size = 0;                     // bytes to load
    int32_t Offset = 0;                   // first byte inside the image file
    std::shared_ptr<BuildTarget> Content; // the target whose OutputPath names the file
};

class LoadImages : public KeyedCollection<LoadImage> {
public:
    // OutputPath "@" Hex2(bank) ":" Hex4(start).
    static std::string KeyOf(const std::string& outputPath, int32_t start, int32_t bank);

    // A new item with Content, Start and Bank set, keyed from the target's OutputPath.
    // A taken key is the duplicate-key error.
    std::shared_ptr<LoadImage> Add(std::shared_ptr<BuildTarget> target, int32_t start,
                                   int32_t bank);
    // With start and bank both other than -1 removes by key; otherwise removes every item
    // whose content is named name, from the last to the first.
    void Remove(const std::string& name, int32_t start, int32_t bank);
    // By key; nothing for an unknown key.
    std::shared_ptr<LoadImage> Item(const std::string& name, int32_t start, int32_t bank) const;
};

struct ObjMap {
    std::string Segment;
    int32_t Start = 0;
    int32_t Size = 0;

    // Title + ".bin" for the segment "CODE" (any case), else Title + "_" + segment + ".bin".
    std::string BinFileName(const std::string& title) const;
};

class ObjMaps : public KeyedCollection<ObjMap> {
public:
    // Inserts in order of Start, behind any item with an equal Start.
    std::shared_ptr<ObjMap> Add(const std::string& segment, int32_t start, int32_t size);
};

} // namespace bx
