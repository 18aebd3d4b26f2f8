#pragma once
// The devices of the simulated board: Speaker, SimpleUI (eight LEDs, eight keys) and Keypad (a
// matrix of keys). Each joins a SimHub as a member and answers the debugger's Device calls;
// each also offers a panel interface (the LEDs' levels, the keys a person holds, the speaker's
// samples) that is safe from any thread: the UI thread of a future panel calls it while the
// simulator's worker drives the hub.
//
// Pin sets and levels (see SimHub.h for the wiring rules: undriven lines read 1, low wins):
//   Speaker  "Audio"  0  analog in: the DAC level 0-255, sampled at 44,100 Hz of simulated time
//                        into signed 16-bit samples ((level - 128) * 256).
//   SimpleUI "LED"    0  8 lines in: LED n is lit while line n is driven high.
//            "Button" 1  8 lines out, active low: a held key drives its line low, a released
//                        key leaves it floating (it reads 1 through the pull-up).
//   Keypad   "Row"    0  up to 8 lines in, driven by the MCU.
//            "Column" 1  up to 8 lines out, active low: a held key joins its row to its
//                        column, so column c is driven low while a key of that column is held
//                        and its row is driven low; otherwise the column floats (reads 1).
//
// Deliveries (see SimHub.h): the LEDs don't listen, the panel asks the hub for their levels; a
// keypad listens to its rows only while a key is held (with none held it drives nothing,
// whatever the rows), and a key pressed takes the rows as they are at that moment.

#include "debug/DeviceHub.h"
#include "sim/SimHub.h"

#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace bx::sim {

// What the three devices share: membership of one hub.
class WiredDevice : public HubMember {
public:
    ~WiredDevice() override;

protected:
    bool Join(int32_t hubHandle, int32_t deviceId);
    // Leaves the hub. Every device calls it first thing in its destructor, so that the hub
    // never calls into a device that is half destroyed.
    void Leave();
    // Drives an output pin set, if connected. Call with the hub's lock held or not at all.
    void Drive(int32_t pin, uint32_t level, uint32_t driven);
    // Whether the pin set is called with every change of its levels; with the hub's lock held.
    void Listen(int32_t pin, bool listen);
    // The levels a pin set sees now (1 and undriven where nothing is wired); with the hub's lock
    // held.
    void Input(int32_t pin, uint32_t& level, uint32_t& driven) const;
    // The hub's lock, or a lock of nothing when the device is not connected: the panel calls
    // take it so that a change and its delivery are one step against the simulator's worker.
    std::unique_lock<std::recursive_mutex> LockHub() const;

    std::shared_ptr<SimHub> hub_;
    int32_t id_ = 0;
    mutable std::recursive_mutex unconnected_;
};

class SimSpeaker : public Speaker, public WiredDevice {
public:
    static constexpr int32_t kAudio = 0;
    static constexpr int kSampleRate = 44'100;
    // The panel's buffer keeps the most recent ten seconds.
    static constexpr std::size_t kBufferLimit = 10 * kSampleRate;

    ~SimSpeaker() override { Leave(); }
    bool Connect(int32_t hubHandle, int32_t deviceId) override;
    int32_t PinsetId(const std::string& pinset) override;

    // ---- Panel (any thread) ----
    // Moves the samples produced since the last call into out (appending); returns how many.
    std::size_t TakeSamples(std::vector<int16_t>& out);
    uint8_t Level() const;
    // Keeps every sample from now on until StopRecording, which writes them as a WAV file
    // (16-bit mono PCM, 44,100 Hz) to path, in the system's form; false when it can't be
    // written.
    void StartRecording();
    bool StopRecording(const std::string& path);
    std::size_t RecordedSamples() const;

    // ---- HubMember ----
    PinKind PinsetKind(int32_t pin) const override;
    void OnDigitalInput(int32_t, uint32_t, uint32_t) override {}
    void OnAnalogInput(int32_t pin, uint8_t level, double seconds) override;
    void OnTime(double seconds) override;

private:
    void GenerateUntil(double seconds);

    mutable std::mutex state_;
    uint8_t level_ = 0;
    bool started_ = false;
    double origin_ = 0;     // simulated time of sample 0
    uint64_t produced_ = 0; // samples produced since origin_
    std::deque<int16_t> buffer_;
    bool recording_ = false;
    std::vector<int16_t> recorded_;
};

class SimSimpleUI : public SimpleUI, public WiredDevice {
public:
    static constexpr int32_t kLed = 0;
    static constexpr int32_t kButton = 1;

    ~SimSimpleUI() override { Leave(); }
    bool Connect(int32_t hubHandle, int32_t deviceId) override;
    int32_t PinsetId(const std::string& pinset) override;

    // ---- Panel (any thread) ----
    // LED n lit: bit n set. Both take the hub's lock.
    uint8_t LitLeds() const;
    // The raw line levels the LEDs see (1 where nothing drives).
    uint8_t LedLevels() const;
    void PressButton(int index);
    void ReleaseButton(int index);
    uint8_t HeldButtons() const;

    // ---- HubMember ----
    PinKind PinsetKind(int32_t pin) const override;
    void OnDigitalInput(int32_t pin, uint32_t level, uint32_t driven) override;

private:
    void DriveButtons();

    mutable std::mutex state_;
    uint8_t held_ = 0;
};

// The keys of a keypad as its parameters give them: "Rows" and "Columns" (1 to 8, default 4)
// and "Keys" (the labels row by row, separated by blanks or commas). Other names are ignored;
// so are values out of range. The device panel lays out a keypad that isn't powered from the
// same parameters.
struct KeypadKeys {
    int Rows = 4, Columns = 4;
    std::vector<std::string> Labels;

    void Set(const std::string& name, const std::string& value);
    // The label of a key; empty when the parameters give none.
    std::string Label(int row, int column) const;
};

class SimKeypad : public Keypad, public WiredDevice {
public:
    static constexpr int32_t kRow = 0;
    static constexpr int32_t kColumn = 1;

    ~SimKeypad() override { Leave(); }
    bool Connect(int32_t hubHandle, int32_t deviceId) override;
    int32_t PinsetId(const std::string& pinset) override;
    // See KeypadKeys.
    void SetParameter(const std::string& name, const std::string& value) override;

    // ---- Panel (any thread) ----
    KeypadKeys Keys() const;
    int Rows() const;
    int Columns() const;
    // The label of a key; empty when the parameters give none.
    std::string Label(int row, int column) const;
    void PressKey(int row, int column);
    void ReleaseKey(int row, int column);
    // Bit (row * 8 + column) set for every held key.
    uint64_t HeldKeys() const;
    // The column lines as the MCU sees them from the keypad (1 = not pulled low).
    uint8_t ColumnLevels() const;

    // ---- HubMember ----
    PinKind PinsetKind(int32_t pin) const override;
    void OnDigitalInput(int32_t pin, uint32_t level, uint32_t driven) override;

private:
    // Recomputes the columns from the rows and the held keys and drives them; listens to the
    // rows while a key is held. With the hub's lock held.
    void Update();
    // The columns pulled low by the held keys of the rows driven low; records them. The
    // caller holds state_.
    uint8_t ColumnsLowLocked();

    mutable std::mutex state_;
    KeypadKeys keys_;
    uint64_t held_ = 0;
    uint8_t rowsLow_ = 0;
    uint8_t columnsLow_ = 0;
};

} // namespace bx::sim
