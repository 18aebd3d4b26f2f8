#pragma once
// The one error type of the system. Errors that travel up to the command carry a number, the
// name of the object that raised them and a description, the way the studio's message boxes
// and the trace log show them.

#include <cstdint>
#include <stdexcept>
#include <string>

namespace bx {

class BxError : public std::runtime_error {
public:
    BxError(int32_t number, std::string source, std::string description)
        : std::runtime_error(description), Number(number), Source(std::move(source)),
          Description(std::move(description)) {}

    int32_t Number;
    std::string Source;
    std::string Description;
};

// Numbers used by more than one subsystem.
namespace errors {
// A keyed collection refused a second item with a key it already holds.
inline constexpr int32_t kDuplicateKey = 457;
// A step of the build rules failed (source "Appliance Object").
inline constexpr int32_t kBuildStep = static_cast<int32_t>(0x80040001u);
// A name that can't be a file's name (an appliance's title with a path separator in it).
inline constexpr int32_t kBadFileName = 52;
// A file or folder operation failed.
inline constexpr int32_t kFileAccess = 75;
// A path, drive or folder does not exist.
inline constexpr int32_t kPathNotFound = 76;
// An object the operation needs is missing (no appliance, no emulator, no prototyper).
inline constexpr int32_t kObjectNotSet = 91;
} // namespace errors

// The error of a keyed collection that already holds an item under the key.
inline BxError DuplicateKeyError(const std::string& source) {
    return BxError(errors::kDuplicateKey, source,
                   "This key is already associated with an element of this collection");
}

} // namespace bx
