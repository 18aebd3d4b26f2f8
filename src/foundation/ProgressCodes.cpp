#include "foundation/ProgressCodes.h"

#include <array>

namespace bx {

namespace {
constexpr std::array<ProgressCode, 21> kTable{{
    {progress::kLoadingDevices, "Loading devices", 0},
    {progress::kWiringDevices, "Wiring devices (%a)", 0},
    {progress::kInitializingDevices, "Initializing devices (%a)", 0},
    {progress::kPreparingEmulator, "Preparing emulator", 0},
    {progress::kLoadingAppliance, "Loading appliance", 0},
    {progress::kLoadingObjects, "Loading objects (%a)", 0},
    {progress::kResetting, "Resetting", 0},
    {progress::kLoadingSourceSymbol, "Loading source symbol", 0},
    {progress::kTurningOnMonitors, "Turning on monitors", 0},
    {progress::kLoadingSourceFile, "Loading source file (%a)", 0},
    {progress::kReloadingRegisters, "Reloading registers and watches", 0},
    {progress::kBooting, "Booting...", 0},
    {progress::kRetrievingIceStatus,
     "Retrieving CPU status from ICE.\nThis may take a few seconds...", 0},
    {progress::kOpeningAppliance, "Opening appliance", 0},
    {progress::kVersionAccepted, "Version accepted", 0},
    {progress::kLoadingWatches, "Loading watches", 0},
    {progress::kDoneLoadingAppliance, "Done loading appliance", 0},
    {progress::kPreparingViews, "Preparing views", 0},
    {progress::kOpeningViews, "Opening views", 0},
    {progress::kParsingSourceFile, "Parsing source file", 0},
    {progress::kReformattingSource, "Reformatting source", 0},
}};
} // namespace

std::span<const ProgressCode> ProgressCodeTable() {
    return kTable;
}

std::optional<ProgressCode> FindProgressCode(int32_t code) {
    for (const ProgressCode& record : kTable)
        if (record.Code == code)
            return record;
    return std::nullopt;
}

std::string ExpandProgressMessage(const std::string& message, const std::string& arg) {
    std::string result;
    result.reserve(message.size() + arg.size());
    for (std::size_t i = 0; i < message.size(); ++i) {
        if (message.compare(i, 2, "%a") == 0) {
            result += arg;
            ++i;
        } else {
            result += message[i];
        }
    }
    return result;
}

bool ProgressState::State(int32_t code) {
    if (code == progress::kHide) {
        visible_ = false;
        return true;
    }
    auto record = FindProgressCode(code);
    if (!record)
        return false;
    lastMessage_ = record->Message;
    shown_ = ExpandProgressMessage(lastMessage_, "...");
    if (record->Icon > 0)
        lastIcon_ = record->Icon;
    visible_ = true;
    return true;
}

void ProgressState::StateArg(const std::string& text) {
    shown_ = ExpandProgressMessage(lastMessage_, text);
}

} // namespace bx
