#pragma once
// The progress codes of long operations and their messages. Callers of the progress display
// pass only a code; the texts live in this one table. A message may hold "%a", replaced by
// "..." when the code is shown and by a caller's text afterwards.

#include <cstdint>
#include <optional>
#include <span>
#include <string>

namespace bx {

struct ProgressCode {
    int32_t Code;
    const char* Message;
    int32_t Icon; // index into the display's image list; 0 for none
};

namespace progress {
inline constexpr int32_t kHide = 0;
inline constexpr int32_t kLoadingDevices = 405;
inline constexpr int32_t kWiringDevices = 406;
inline constexpr int32_t kInitializingDevices = 407;
inline constexpr int32_t kPreparingEmulator = 408;
inline constexpr int32_t kLoadingAppliance = 410;
inline constexpr int32_t kLoadingObjects = 420;
inline constexpr int32_t kResetting = 460;
inline constexpr int32_t kLoadingSourceSymbol = 480;
inline constexpr int32_t kTurningOnMonitors = 510;
inline constexpr int32_t kLoadingSourceFile = 520;
inline constexpr int32_t kReloadingRegisters = 530;
inline constexpr int32_t kBooting = 550;
inline constexpr int32_t kRetrievingIceStatus = 560;
inline constexpr int32_t kOpeningAppliance = 11001;
inline constexpr int32_t kVersionAccepted = 11002;
inline constexpr int32_t kLoadingWatches = 11050;
inline constexpr int32_t kDoneLoadingAppliance = 11090;
inline constexpr int32_t kPreparingViews = 11100;
inline constexpr int32_t kOpeningViews = 11110;
inline constexpr int32_t kParsingSourceFile = 12001;
inline constexpr int32_t kReformattingSource = 12002;
} // namespace progress

// The whole table, in code order.
std::span<const ProgressCode> ProgressCodeTable();
// The record of code, searched from the first, or nothing for an unknown code.
std::optional<ProgressCode> FindProgressCode(int32_t code);
// message with every "%a" replaced by arg.
std::string ExpandProgressMessage(const std::string& message, const std::string& arg);

// The display's behaviour without the window: which message is shown and whether it is
// visible. The studio's window and the command line's printer both keep one of these.
class ProgressState {
public:
    // Returns true when the shown text changed (a known code or 0).
    bool State(int32_t code);
    void StateArg(const std::string& text);
    void GoAway() { visible_ = false; }

    bool Visible() const { return visible_; }
    const std::string& ShownText() const { return shown_; }
    const std::string& LastMessage() const { return lastMessage_; }
    int32_t LastIcon() const { return lastIcon_; }

private:
    bool visible_ = false;
    std::string lastMessage_;
    std::string shown_;
    int32_t lastIcon_ = 0;
};

} // namespace bx
