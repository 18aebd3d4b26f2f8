#include "sim/DevicePanel.h"

#include "debug/DeviceHub.h"

namespace bx::sim {

template <class T>
bool DevicePanel::With(const Link& link, const std::function<void(T&)>& fn) const {
    if (!link.Hub)
        return false;
    std::lock_guard hubLock(link.Hub->Lock());
    T* device = dynamic_cast<T*>(link.Hub->MemberLocked(link.Id));
    if (device == nullptr)
        return false;
    fn(*device);
    return true;
}

int32_t DevicePanel::ConnectSimpleUI(int32_t hubHandle, int32_t deviceId) {
    Link link{SimHub::Find(hubHandle), deviceId};
    if (!With<SimSimpleUI>(link, [](SimSimpleUI&) {}))
        return 0;
    std::lock_guard lock(mutex_);
    simpleUI_ = std::move(link);
    return 1;
}

int32_t DevicePanel::ConnectKeypad(int32_t hubHandle, int32_t deviceId) {
    Link link{SimHub::Find(hubHandle), deviceId};
    if (!With<SimKeypad>(link, [](SimKeypad&) {}))
        return 0;
    std::lock_guard lock(mutex_);
    keypad_ = std::move(link);
    return 1;
}

void DevicePanel::SetParameter(const std::string& name, const std::string& value) {
    std::lock_guard lock(mutex_);
    for (auto& parameter : parameters_) {
        if (parameter.first == name) {
            parameter.second = value;
            return;
        }
    }
    parameters_.emplace_back(name, value);
}

std::vector<std::pair<std::string, std::string>> DevicePanel::Parameters() const {
    std::lock_guard lock(mutex_);
    return parameters_;
}

void DevicePanel::ClearParameters() {
    std::lock_guard lock(mutex_);
    parameters_.clear();
}

bool DevicePanel::HasSimpleUI() const {
    std::lock_guard lock(mutex_);
    return With<SimSimpleUI>(simpleUI_, [](SimSimpleUI&) {});
}

std::optional<uint8_t> DevicePanel::LitLeds() const {
    std::lock_guard lock(mutex_);
    std::optional<uint8_t> lit;
    With<SimSimpleUI>(simpleUI_, [&lit](SimSimpleUI& ui) { lit = ui.LitLeds(); });
    return lit;
}

bool DevicePanel::PressButton(int index) {
    if (index < 0 || index > 7)
        return false;
    std::lock_guard lock(mutex_);
    return With<SimSimpleUI>(simpleUI_, [index](SimSimpleUI& ui) { ui.PressButton(index); });
}

bool DevicePanel::ReleaseButton(int index) {
    if (index < 0 || index > 7)
        return false;
    std::lock_guard lock(mutex_);
    return With<SimSimpleUI>(simpleUI_, [index](SimSimpleUI& ui) { ui.ReleaseButton(index); });
}

uint8_t DevicePanel::HeldButtons() const {
    std::lock_guard lock(mutex_);
    uint8_t held = 0;
    With<SimSimpleUI>(simpleUI_, [&held](SimSimpleUI& ui) { held = ui.HeldButtons(); });
    return held;
}

bool DevicePanel::HasKeypad() const {
    std::lock_guard lock(mutex_);
    return With<SimKeypad>(keypad_, [](SimKeypad&) {});
}

std::optional<KeypadKeys> DevicePanel::Keys() const {
    std::lock_guard lock(mutex_);
    std::optional<KeypadKeys> keys;
    With<SimKeypad>(keypad_, [&keys](SimKeypad& keypad) { keys = keypad.Keys(); });
    return keys;
}

uint64_t DevicePanel::HeldKeys() const {
    std::lock_guard lock(mutex_);
    uint64_t held = 0;
    With<SimKeypad>(keypad_, [&held](SimKeypad& keypad) { held = keypad.HeldKeys(); });
    return held;
}

std::optional<std::pair<int, int>> DevicePanel::FindKey(const std::string& label) const {
    const std::optional<KeypadKeys> keys = Keys();
    if (!keys)
        return std::nullopt;
    for (int row = 0; row < keys->Rows; ++row)
        for (int column = 0; column < keys->Columns; ++column)
            if (keys->Label(row, column) == label)
                return std::make_pair(row, column);
    return std::nullopt;
}

bool DevicePanel::PressKey(int row, int column) {
    std::lock_guard lock(mutex_);
    return With<SimKeypad>(keypad_,
                           [row, column](SimKeypad& keypad) { keypad.PressKey(row, column); });
}

bool DevicePanel::ReleaseKey(int row, int column) {
    std::lock_guard lock(mutex_);
    return With<SimKeypad>(keypad_,
                           [row, column](SimKeypad& keypad) { keypad.ReleaseKey(row, column); });
}

void DevicePanel::ConnectSpeaker(int32_t hubHandle) {
    std::lock_guard lock(mutex_);
    speakerHub_ = SimHub::Find(hubHandle);
}

DevicePanel::Link DevicePanel::SpeakerLink() const {
    // The speaker joins the same hub as the panel's other devices, under its fixed id.
    std::shared_ptr<SimHub> hub =
        speakerHub_ ? speakerHub_ : (simpleUI_.Hub ? simpleUI_.Hub : keypad_.Hub);
    return {hub, device_id::kSpeaker};
}

bool DevicePanel::HasSpeaker() const {
    std::lock_guard lock(mutex_);
    return With<SimSpeaker>(SpeakerLink(), [](SimSpeaker&) {});
}

std::size_t DevicePanel::TakeSpeakerSamples(std::vector<int16_t>& out) {
    std::lock_guard lock(mutex_);
    std::size_t taken = 0;
    With<SimSpeaker>(SpeakerLink(), [&](SimSpeaker& speaker) { taken = speaker.TakeSamples(out); });
    return taken;
}

bool DevicePanel::StartRecording() {
    std::lock_guard lock(mutex_);
    return With<SimSpeaker>(SpeakerLink(), [](SimSpeaker& speaker) { speaker.StartRecording(); });
}

bool DevicePanel::StopRecording(const std::string& path) {
    std::lock_guard lock(mutex_);
    bool written = false;
    With<SimSpeaker>(SpeakerLink(),
                     [&](SimSpeaker& speaker) { written = speaker.StopRecording(path); });
    return written;
}

std::size_t DevicePanel::RecordedSamples() const {
    std::lock_guard lock(mutex_);
    std::size_t samples = 0;
    With<SimSpeaker>(SpeakerLink(),
                     [&samples](SimSpeaker& speaker) { samples = speaker.RecordedSamples(); });
    return samples;
}

} // namespace bx::sim
