#pragma once
// The simulator's device hub: the wires between the MCU's ports and the devices.
//
// Electrical model. Every member pin set is a group of up to 32 lines. A member drives some of
// its lines (the driven mask) at a level; the hub gives every member, for each of its pin sets,
// the level it sees from the other ends of its wires: a line that nothing drives reads 1 (the
// pull-ups of the board), lines driven by several members read low if any drives low (open
// drain: low wins). A digital wire joins the i-th set bit of its source mask with the i-th set
// bit of its target mask, lowest to lowest, and carries levels both ways, whichever end drives:
// the MCU's output pins light LEDs, a held key pulls an MCU input low. An analog wire carries
// the level of whichever end drives it (the DAC) to the other (the speaker).
//
// Threads. Members are driven from the simulator's worker (port writes) and from the UI thread
// (a key pressed on the panel). One recursive lock serialises the hub and every member callback;
// a callback may drive again (the keypad answers a row with its columns). Lock order: the
// emulator's lock, then the hub's, then a device's own small lock for its panel state; the hub
// never calls into an emulator in a way that takes the emulator's lock.
//
// Deliveries on demand. A member pin set listens (is called with every change of its levels)
// unless its member says it need not: LEDs that are only looked at when the panel asks, a keypad
// with no key held (it drives nothing whatever its rows are). A member asks for its levels when
// it wants them (InputLocked) and is delivered them at once when it starts listening again. A
// member whose outputs change far more often than anyone listens (the MCU's ports) may drive
// them lazily: it keeps its latest drive in an atomic the hub reads under its lock, and goes
// through the hub only while the hub's flag for that pin set says that a listening end is wired
// to it. The flag changes only under the hub's lock; the hub takes in the latest drives of its
// lazy members whenever it works out levels for someone, when a member starts listening and at
// every AdvanceTime (the end of each slice the worker runs), so a drive that raced with the flag
// going up reaches its listeners no later than that.
//
// Lifetime. Hubs are found by handle in a process-wide registry. Members hold the hub by
// shared_ptr; the hub holds members by plain pointer, and a member leaves in its destructor.

#include "debug/DeviceHub.h"
#include "sim/LazyDrive.h"

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace bx::sim {

enum class PinKind { None, Digital, Analog };

// Maps the bits of value under fromMask onto toMask, lowest set bit to lowest set bit.
uint32_t MapBits(uint32_t value, uint32_t fromMask, uint32_t toMask);

// A map for the hub's handful of members and pins: a vector searched from the front, which
// beats a tree on every port write the hub carries.
template <class K, class V>
class SmallMap {
public:
    using Items = std::vector<std::pair<K, V>>;
    typename Items::iterator begin() { return items_.begin(); }
    typename Items::iterator end() { return items_.end(); }
    typename Items::iterator find(const K& key) {
        for (auto it = items_.begin(); it != items_.end(); ++it)
            if (it->first == key)
                return it;
        return items_.end();
    }
    const V* get(const K& key) const {
        for (const auto& item : items_)
            if (item.first == key)
                return &item.second;
        return nullptr;
    }
    // Inserts (key, value) unless key is there; the iterator names the key's entry.
    std::pair<typename Items::iterator, bool> emplace(const K& key, V value) {
        auto it = find(key);
        if (it != items_.end())
            return {it, false};
        items_.emplace_back(key, std::move(value));
        return {items_.end() - 1, true};
    }
    V& operator[](const K& key) { return emplace(key, V{}).first->second; }
    void erase(typename Items::iterator it) { items_.erase(it); }
    std::size_t size() const { return items_.size(); }

private:
    Items items_;
};

// What a member of the hub answers. Every callback runs under the hub's lock.
class HubMember {
public:
    virtual ~HubMember() = default;
    virtual PinKind PinsetKind(int32_t pin) const = 0;
    // The level the member sees on a digital pin set; driven tells which lines another member
    // drives (the others read 1).
    virtual void OnDigitalInput(int32_t pin, uint32_t level, uint32_t driven) = 0;
    virtual void OnAnalogInput(int32_t /*pin*/, uint8_t /*level*/, double /*seconds*/) {}
    // Simulated time has reached seconds.
    virtual void OnTime(double /*seconds*/) {}
};

class SimHub : public DeviceHub, public std::enable_shared_from_this<SimHub> {
public:
    // A new hub, registered under a fresh handle.
    static std::shared_ptr<SimHub> Create();
    // The live hub with that handle, or nullptr.
    static std::shared_ptr<SimHub> Find(int32_t handle);
    ~SimHub() override;

    // ---- DeviceHub ----
    int32_t HubHandle() override { return handle_; }
    bool ConnectDigital(int32_t sourceDevice, int32_t sourcePin, int32_t sourceMask,
                        int32_t targetDevice, int32_t targetPin, int32_t targetMask) override;
    bool ConnectAnalog(int32_t sourceDevice, int32_t sourcePin, int32_t targetDevice,
                       int32_t targetPin) override;
    void SetParameter(const std::string& name, int32_t value) override;
    int32_t Start() override;

    // ---- Members (any thread) ----
    // False when id is taken by another member.
    bool Join(int32_t id, HubMember* member);
    void Leave(int32_t id, HubMember* member);
    // The member that joined as id, or nullptr. Call with Lock() held and use the member only
    // while it is held: a member leaves (under the lock) before it is destroyed.
    HubMember* MemberLocked(int32_t id) const;
    void DriveDigital(int32_t id, int32_t pin, uint32_t level, uint32_t driven);
    // Under Lock(): whether the member's pin set is called with every change of its levels
    // (the default for every pin set). A pin set that starts listening is delivered its
    // levels at once.
    void ListenLocked(int32_t id, int32_t pin, bool listen);
    // Under Lock(): the levels the member's pin set sees now, as OnDigitalInput would give them.
    void InputLocked(int32_t id, int32_t pin, uint32_t& level, uint32_t& driven);
    // Under Lock(): the member drives pin lazily through drive (see the top of this file) until
    // it leaves. drive must outlive the membership.
    void DriveLazilyLocked(int32_t id, int32_t pin, LazyDrive& drive);
    void DriveAnalog(int32_t id, int32_t pin, uint8_t level, double seconds);
    void AdvanceTime(double seconds);
    // The simulated time last reported (for changes made from the UI thread).
    double Seconds() const;
    // The rate against real time; safe from any thread.
    int32_t Multiplier() const { return multiplier_.load(); }
    int32_t Divider() const { return divider_.load(); }
    bool Started() const { return started_.load(); }
    std::recursive_mutex& Lock() const { return mutex_; }

private:
    SimHub();
    struct PinRef {
        int32_t Id;
        int32_t Pin;
        auto operator<=>(const PinRef&) const = default;
    };
    // MapBits from one mask onto another, worked out when the wire is made: a shift and a
    // mask when both masks are one run of bits (every wiring of the shipped templates), else
    // the bit-by-bit pairing. Every port write the hub carries goes through two of these.
    struct BitRoute {
        uint32_t From = 0, To = 0;
        uint32_t Run = 0; // the low bits that survive, for a run-to-run route
        uint8_t FromShift = 0, ToShift = 0;
        bool Runs = false;
        BitRoute() = default;
        BitRoute(uint32_t from, uint32_t to);
        uint32_t Map(uint32_t value) const {
            return Runs ? ((value >> FromShift) & Run) << ToShift : MapBits(value, From, To);
        }
    };
    struct DigitalWire {
        PinRef A, B;
        uint32_t MaskA, MaskB;
        BitRoute AToB, BToA;
    };
    struct Output {
        uint32_t Level = 0xFFFFFFFFu;
        uint32_t Driven = 0;
    };
    bool HasPinset(int32_t id, int32_t pin, PinKind kind) const;
    // The levels at to from the other ends of its wires.
    void Gather(const PinRef& to, uint32_t& level, uint32_t& driven) const;
    void Deliver(const PinRef& to);
    bool Listening(const PinRef& at) const;
    // Carries the latest drives of the lazy members onto the wires.
    void TakeLazyDrives();
    // Works out again which lazy pin sets have a listener.
    void UpdateNeeded();
    void DeliverAnalog(const PinRef& to, uint8_t level, double seconds);

    const int32_t handle_;
    mutable std::recursive_mutex mutex_;
    SmallMap<int32_t, HubMember*> members_;
    std::vector<DigitalWire> digital_;
    std::vector<std::pair<PinRef, PinRef>> analog_;
    SmallMap<PinRef, Output> outputs_;
    SmallMap<PinRef, std::pair<uint8_t, double>> analogLevels_;
    std::vector<PinRef> deaf_; // the pin sets that don't listen
    SmallMap<PinRef, LazyDrive*> lazy_;
    std::atomic<int32_t> multiplier_{1};
    std::atomic<int32_t> divider_{1};
    std::atomic<bool> started_{false};
    double seconds_ = 0;
    int depth_ = 0;
};

} // namespace bx::sim
