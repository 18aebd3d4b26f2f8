#include "sim/SimDevices.h"

#include "foundation/Error.h"
#include "sim/WavWriter.h"

#include <cmath>
#include <sstream>

namespace bx::sim {

namespace {

BxError UnknownPinset(const std::string& device, const std::string& pinset) {
    return BxError(5, device, "The " + device + " has no pin set \"" + pinset + "\"");
}

} // namespace

// ---- WiredDevice ------------------------------------------------------------------------------

WiredDevice::~WiredDevice() {
    Leave();
}

void WiredDevice::Leave() {
    if (hub_)
        hub_->Leave(id_, this);
    hub_.reset();
}

bool WiredDevice::Join(int32_t hubHandle, int32_t deviceId) {
    std::shared_ptr<SimHub> hub = SimHub::Find(hubHandle);
    if (!hub)
        return false;
    if (hub_)
        hub_->Leave(id_, this);
    hub_.reset();
    if (!hub->Join(deviceId, this))
        return false;
    hub_ = std::move(hub);
    id_ = deviceId;
    return true;
}

void WiredDevice::Drive(int32_t pin, uint32_t level, uint32_t driven) {
    if (hub_)
        hub_->DriveDigital(id_, pin, level, driven);
}

void WiredDevice::Listen(int32_t pin, bool listen) {
    if (hub_)
        hub_->ListenLocked(id_, pin, listen);
}

void WiredDevice::Input(int32_t pin, uint32_t& level, uint32_t& driven) const {
    level = 0xFFFFFFFFu;
    driven = 0;
    if (hub_)
        hub_->InputLocked(id_, pin, level, driven);
}

std::unique_lock<std::recursive_mutex> WiredDevice::LockHub() const {
    return hub_ ? std::unique_lock(hub_->Lock()) : std::unique_lock(unconnected_);
}

// ---- Speaker ----------------------------------------------------------------------------------

bool SimSpeaker::Connect(int32_t hubHandle, int32_t deviceId) {
    return Join(hubHandle, deviceId);
}

int32_t SimSpeaker::PinsetId(const std::string& pinset) {
    if (pinset == "Audio")
        return kAudio;
    throw UnknownPinset("Speaker", pinset);
}

PinKind SimSpeaker::PinsetKind(int32_t pin) const {
    return pin == kAudio ? PinKind::Analog : PinKind::None;
}

void SimSpeaker::GenerateUntil(double seconds) {
    if (!started_ || seconds < origin_ + static_cast<double>(produced_) / kSampleRate - 1.0) {
        // The first sample, or time that went back (a new machine): start the clock here.
        started_ = true;
        origin_ = seconds;
        produced_ = 0;
        return;
    }
    const int16_t sample = static_cast<int16_t>((static_cast<int>(level_) - 128) * 256);
    // Every sample k < due is owed; the level has been the same since the last change, so they
    // go in as one run (an unthrottled machine owes millions a second).
    const double due = (seconds - origin_) * kSampleRate;
    const auto owed = static_cast<uint64_t>(std::ceil(due));
    if (due <= static_cast<double>(produced_) || owed <= produced_)
        return;
    const uint64_t count = owed - produced_;
    produced_ = owed;
    if (recording_)
        recorded_.insert(recorded_.end(), count, sample);
    // Past the limit the oldest samples go: only the newest kBufferLimit can remain.
    if (count >= kBufferLimit) {
        buffer_.assign(kBufferLimit, sample);
        return;
    }
    buffer_.insert(buffer_.end(), count, sample);
    if (buffer_.size() > kBufferLimit)
        buffer_.erase(buffer_.begin(),
                      buffer_.begin() + static_cast<std::ptrdiff_t>(buffer_.size() - kBufferLimit));
}

void SimSpeaker::OnAnalogInput(int32_t pin, uint8_t level, double seconds) {
    if (pin != kAudio)
        return;
    std::lock_guard lock(state_);
    GenerateUntil(seconds);
    level_ = level;
}

void SimSpeaker::OnTime(double seconds) {
    std::lock_guard lock(state_);
    GenerateUntil(seconds);
}

std::size_t SimSpeaker::TakeSamples(std::vector<int16_t>& out) {
    std::lock_guard lock(state_);
    const std::size_t n = buffer_.size();
    out.insert(out.end(), buffer_.begin(), buffer_.end());
    buffer_.clear();
    return n;
}

uint8_t SimSpeaker::Level() const {
    std::lock_guard lock(state_);
    return level_;
}

void SimSpeaker::StartRecording() {
    std::lock_guard lock(state_);
    recording_ = true;
    recorded_.clear();
}

bool SimSpeaker::StopRecording(const std::string& path) {
    std::vector<int16_t> samples;
    {
        std::lock_guard lock(state_);
        recording_ = false;
        samples.swap(recorded_);
    }
    return WriteWavFile(path, samples, kSampleRate);
}

std::size_t SimSpeaker::RecordedSamples() const {
    std::lock_guard lock(state_);
    return recorded_.size();
}

// ---- SimpleUI ---------------------------------------------------------------------------------

bool SimSimpleUI::Connect(int32_t hubHandle, int32_t deviceId) {
    if (!Join(hubHandle, deviceId))
        return false;
    auto hub = LockHub();
    // The LEDs are read when the panel asks; the button lines take nothing in.
    Listen(kLed, false);
    Listen(kButton, false);
    DriveButtons();
    return true;
}

int32_t SimSimpleUI::PinsetId(const std::string& pinset) {
    if (pinset == "LED")
        return kLed;
    if (pinset == "Button")
        return kButton;
    throw UnknownPinset("SimpleUI", pinset);
}

PinKind SimSimpleUI::PinsetKind(int32_t pin) const {
    return pin == kLed || pin == kButton ? PinKind::Digital : PinKind::None;
}

void SimSimpleUI::OnDigitalInput(int32_t, uint32_t, uint32_t) {
    // Nothing listens: the LEDs' levels are asked for when they are looked at.
}

uint8_t SimSimpleUI::LitLeds() const {
    auto hub = LockHub();
    uint32_t level, driven;
    Input(kLed, level, driven);
    return static_cast<uint8_t>(level & driven);
}

uint8_t SimSimpleUI::LedLevels() const {
    auto hub = LockHub();
    uint32_t level, driven;
    Input(kLed, level, driven);
    return static_cast<uint8_t>(level);
}

void SimSimpleUI::DriveButtons() {
    uint8_t held;
    {
        std::lock_guard lock(state_);
        held = held_;
    }
    Drive(kButton, static_cast<uint8_t>(~held), held);
}

void SimSimpleUI::PressButton(int index) {
    if (index < 0 || index > 7)
        return;
    auto hub = LockHub();
    {
        std::lock_guard lock(state_);
        held_ = static_cast<uint8_t>(held_ | (1u << index));
    }
    DriveButtons();
}

void SimSimpleUI::ReleaseButton(int index) {
    if (index < 0 || index > 7)
        return;
    auto hub = LockHub();
    {
        std::lock_guard lock(state_);
        held_ = static_cast<uint8_t>(held_ & ~(1u << index));
    }
    DriveButtons();
}

uint8_t SimSimpleUI::HeldButtons() const {
    std::lock_guard lock(state_);
    return held_;
}

// ---- Keypad -----------------------------------------------------------------------------------

bool SimKeypad::Connect(int32_t hubHandle, int32_t deviceId) {
    if (!Join(hubHandle, deviceId))
        return false;
    auto hub = LockHub();
    Listen(kColumn, false); // the column lines take nothing in
    Update();
    return true;
}

int32_t SimKeypad::PinsetId(const std::string& pinset) {
    if (pinset == "Row")
        return kRow;
    if (pinset == "Column")
        return kColumn;
    throw UnknownPinset("Keypad", pinset);
}

void KeypadKeys::Set(const std::string& name, const std::string& value) {
    if (name == "Rows" || name == "Columns") {
        int n = 0;
        try {
            n = std::stoi(value);
        } catch (const std::exception&) {
            return;
        }
        if (n < 1 || n > 8)
            return;
        (name == "Rows" ? Rows : Columns) = n;
    } else if (name == "Keys") {
        Labels.clear();
        std::string text = value;
        for (char& c : text)
            if (c == ',')
                c = ' ';
        std::istringstream in(text);
        std::string label;
        while (in >> label)
            Labels.push_back(label);
    }
}

std::string KeypadKeys::Label(int row, int column) const {
    if (row < 0 || column < 0 || row >= Rows || column >= Columns)
        return {};
    const std::size_t i = static_cast<std::size_t>(row * Columns + column);
    return i < Labels.size() ? Labels[i] : std::string();
}

void SimKeypad::SetParameter(const std::string& name, const std::string& value) {
    std::lock_guard lock(state_);
    keys_.Set(name, value);
}

KeypadKeys SimKeypad::Keys() const {
    std::lock_guard lock(state_);
    return keys_;
}

int SimKeypad::Rows() const {
    std::lock_guard lock(state_);
    return keys_.Rows;
}

int SimKeypad::Columns() const {
    std::lock_guard lock(state_);
    return keys_.Columns;
}

std::string SimKeypad::Label(int row, int column) const {
    std::lock_guard lock(state_);
    return keys_.Label(row, column);
}

PinKind SimKeypad::PinsetKind(int32_t pin) const {
    return pin == kRow || pin == kColumn ? PinKind::Digital : PinKind::None;
}

uint8_t SimKeypad::ColumnsLowLocked() {
    uint8_t low = 0;
    if (held_ != 0) {
        for (int r = 0; r < keys_.Rows; ++r) {
            if (!(rowsLow_ & (1u << r)))
                continue;
            for (int c = 0; c < keys_.Columns; ++c)
                if (held_ & (uint64_t{1} << (r * 8 + c)))
                    low = static_cast<uint8_t>(low | (1u << c));
        }
    }
    columnsLow_ = low;
    return low;
}

void SimKeypad::Update() {
    bool held;
    {
        std::lock_guard lock(state_);
        held = held_ != 0;
    }
    // A key just pressed takes the rows as they are now (the hub delivers them when listening
    // starts, and OnDigitalInput drives the columns they give); with none held the columns
    // float whatever the rows do, so their changes need not come here.
    Listen(kRow, held);
    uint8_t low;
    {
        std::lock_guard lock(state_);
        low = ColumnsLowLocked();
    }
    Drive(kColumn, static_cast<uint8_t>(~low), low);
}

void SimKeypad::OnDigitalInput(int32_t pin, uint32_t level, uint32_t driven) {
    if (pin != kRow)
        return;
    // The rows change on every step of a keypad scan: the new rows and the columns they give
    // are worked out under one hold of the state lock, and columns that stay as they are
    // (always, while no key is held) are not driven again: the hub holds them already.
    uint8_t low;
    {
        std::lock_guard lock(state_);
        const uint8_t before = columnsLow_;
        rowsLow_ = static_cast<uint8_t>(driven & ~level);
        low = ColumnsLowLocked();
        if (low == before)
            return;
    }
    Drive(kColumn, static_cast<uint8_t>(~low), low);
}

void SimKeypad::PressKey(int row, int column) {
    if (row < 0 || row > 7 || column < 0 || column > 7)
        return;
    auto hub = LockHub();
    {
        std::lock_guard lock(state_);
        held_ |= uint64_t{1} << (row * 8 + column);
    }
    Update();
}

void SimKeypad::ReleaseKey(int row, int column) {
    if (row < 0 || row > 7 || column < 0 || column > 7)
        return;
    auto hub = LockHub();
    {
        std::lock_guard lock(state_);
        held_ &= ~(uint64_t{1} << (row * 8 + column));
    }
    Update();
}

uint64_t SimKeypad::HeldKeys() const {
    std::lock_guard lock(state_);
    return held_;
}

uint8_t SimKeypad::ColumnLevels() const {
    std::lock_guard lock(state_);
    return static_cast<uint8_t>(~columnsLow_);
}

} // namespace bx::sim
