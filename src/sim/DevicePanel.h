#pragma once
// DevicePanel: the simulator's prototyper surface without a window. Power-on connects it to the
// SimpleUI and the keypad it has put on the hub; from then on it is how a front end (the
// studio's prototyper window, the command line's --press, a test) sees the LEDs and holds keys,
// and it also reaches the speaker of the same hub for its level and recording.
//
// It holds the hub, never a device: every call finds the member on the hub under the hub's lock,
// so a device that a later power-on has replaced is simply not found (the call reports false).
// The panel calls are safe from any thread.

#include "debug/Facade.h"
#include "sim/SimDevices.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace bx::sim {

class DevicePanel : public Facade {
public:
    // ---- Facade ----
    // Non-zero when the hub hubHandle has a SimpleUI (a keypad) that joined as deviceId.
    int32_t ConnectSimpleUI(int32_t hubHandle, int32_t deviceId) override;
    int32_t ConnectKeypad(int32_t hubHandle, int32_t deviceId) override;
    void SetParameter(const std::string& name, const std::string& value) override;

    // The design view's parameters in the order they were set (a later value of a name
    // replaces the earlier one in place).
    std::vector<std::pair<std::string, std::string>> Parameters() const;
    // Forgets them (the surface is to show another view).
    void ClearParameters();

    // ---- The LEDs and buttons ----
    bool HasSimpleUI() const;
    // Bit n set while LED n is lit; nullopt without a SimpleUI.
    std::optional<uint8_t> LitLeds() const;
    // False without a SimpleUI or for an index outside 0-7.
    bool PressButton(int index);
    bool ReleaseButton(int index);
    // Bit n set while button n is held; 0 without a SimpleUI.
    uint8_t HeldButtons() const;

    // ---- The keypad ----
    bool HasKeypad() const;
    // The keypad's rows, columns and labels; nullopt without a keypad.
    std::optional<KeypadKeys> Keys() const;
    // Bit (row * 8 + column) set for every key held; 0 without a keypad.
    uint64_t HeldKeys() const;
    // The row and column of the key labelled label; nullopt when no key has that label.
    std::optional<std::pair<int, int>> FindKey(const std::string& label) const;
    bool PressKey(int row, int column);
    bool ReleaseKey(int row, int column);

    // ---- The speaker of the same hub ----
    // The speaker is not part of the surface: a front end that wants it names its hub (an
    // appliance with a speaker only asks for no surface). Without this call the hub of the
    // SimpleUI or the keypad is taken.
    void ConnectSpeaker(int32_t hubHandle);
    bool HasSpeaker() const;
    // Moves the samples the speaker produced since the last call into out (appending) and
    // gives how many: the live stream a front end plays. Recording keeps its own copy.
    std::size_t TakeSpeakerSamples(std::vector<int16_t>& out);
    bool StartRecording();
    // Writes what was recorded since StartRecording as a WAV file (path in the system's
    // form); false without a speaker or when the file can't be written.
    bool StopRecording(const std::string& path);
    std::size_t RecordedSamples() const;

private:
    struct Link {
        std::shared_ptr<SimHub> Hub;
        int32_t Id = 0;
    };
    // Runs fn on the member of link if it is a T, under the hub's lock; false otherwise.
    template <class T>
    bool With(const Link& link, const std::function<void(T&)>& fn) const;
    Link SpeakerLink() const;

    mutable std::mutex mutex_;
    Link simpleUI_;
    Link keypad_;
    std::shared_ptr<SimHub> speakerHub_;
    std::vector<std::pair<std::string, std::string>> parameters_;
};

} // namespace bx::sim
