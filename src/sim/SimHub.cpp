#include "sim/SimHub.h"

#include "foundation/Error.h"

#include <algorithm>
#include <bit>

namespace bx::sim {

namespace {

std::mutex& RegistryMutex() {
    static std::mutex m;
    return m;
}
std::map<int32_t, std::weak_ptr<SimHub>>& Registry() {
    static std::map<int32_t, std::weak_ptr<SimHub>> r;
    return r;
}
int32_t NextHandle() {
    static std::atomic<int32_t> next{0x4B01};
    return next.fetch_add(1);
}

} // namespace

uint32_t MapBits(uint32_t value, uint32_t fromMask, uint32_t toMask) {
    uint32_t out = 0;
    while (fromMask != 0 && toMask != 0) {
        const uint32_t from = fromMask & (~fromMask + 1);
        const uint32_t to = toMask & (~toMask + 1);
        if (value & from)
            out |= to;
        fromMask &= fromMask - 1;
        toMask &= toMask - 1;
    }
    return out;
}

SimHub::BitRoute::BitRoute(uint32_t from, uint32_t to) : From(from), To(to) {
    const auto isRun = [](uint32_t m) {
        return m != 0 && (((m >> std::countr_zero(m)) + 1) & (m >> std::countr_zero(m))) == 0;
    };
    if (!isRun(from) || !isRun(to))
        return;
    const int width = std::min(std::popcount(from), std::popcount(to));
    FromShift = static_cast<uint8_t>(std::countr_zero(from));
    ToShift = static_cast<uint8_t>(std::countr_zero(to));
    Run = width >= 32 ? 0xFFFFFFFFu : (1u << width) - 1;
    Runs = true;
}

SimHub::SimHub() : handle_(NextHandle()) {}

std::shared_ptr<SimHub> SimHub::Create() {
    std::shared_ptr<SimHub> hub(new SimHub());
    std::lock_guard lock(RegistryMutex());
    Registry()[hub->handle_] = hub;
    return hub;
}

std::shared_ptr<SimHub> SimHub::Find(int32_t handle) {
    std::lock_guard lock(RegistryMutex());
    auto it = Registry().find(handle);
    return it == Registry().end() ? nullptr : it->second.lock();
}

SimHub::~SimHub() {
    std::lock_guard lock(RegistryMutex());
    Registry().erase(handle_);
}

bool SimHub::Join(int32_t id, HubMember* member) {
    std::lock_guard lock(mutex_);
    auto [it, inserted] = members_.emplace(id, member);
    if (!inserted)
        return it->second == member;
    UpdateNeeded();
    return true;
}

void SimHub::Leave(int32_t id, HubMember* member) {
    std::lock_guard lock(mutex_);
    auto it = members_.find(id);
    if (it == members_.end() || it->second != member)
        return;
    members_.erase(it);
    // Whatever the member said about listening and driving goes with it: the hub never
    // touches its lazy drives again, and a member joining under the id starts afresh.
    std::erase_if(deaf_, [id](const PinRef& ref) { return ref.Id == id; });
    for (auto lazy = lazy_.begin(); lazy != lazy_.end();) {
        if (lazy->first.Id == id)
            lazy_.erase(lazy);
        else
            ++lazy;
    }
    UpdateNeeded();
}

HubMember* SimHub::MemberLocked(int32_t id) const {
    HubMember* const* member = members_.get(id);
    return member != nullptr ? *member : nullptr;
}

bool SimHub::HasPinset(int32_t id, int32_t pin, PinKind kind) const {
    HubMember* const* member = members_.get(id);
    return member != nullptr && (*member)->PinsetKind(pin) == kind;
}

bool SimHub::ConnectDigital(int32_t sourceDevice, int32_t sourcePin, int32_t sourceMask,
                            int32_t targetDevice, int32_t targetPin, int32_t targetMask) {
    std::lock_guard lock(mutex_);
    if (!HasPinset(sourceDevice, sourcePin, PinKind::Digital) ||
        !HasPinset(targetDevice, targetPin, PinKind::Digital))
        return false;
    const PinRef a{sourceDevice, sourcePin}, b{targetDevice, targetPin};
    const auto maskA = static_cast<uint32_t>(sourceMask), maskB = static_cast<uint32_t>(targetMask);
    digital_.push_back({a, b, maskA, maskB, BitRoute(maskA, maskB), BitRoute(maskB, maskA)});
    UpdateNeeded();
    TakeLazyDrives();
    // Levels already driven reach the new ends at once.
    for (const PinRef& end : {a, b})
        if (Listening(end))
            Deliver(end);
    return true;
}

bool SimHub::ConnectAnalog(int32_t sourceDevice, int32_t sourcePin, int32_t targetDevice,
                           int32_t targetPin) {
    std::lock_guard lock(mutex_);
    if (!HasPinset(sourceDevice, sourcePin, PinKind::Analog) ||
        !HasPinset(targetDevice, targetPin, PinKind::Analog))
        return false;
    const PinRef a{sourceDevice, sourcePin}, b{targetDevice, targetPin};
    analog_.emplace_back(a, b);
    for (const PinRef& from : {a, b}) {
        auto it = analogLevels_.find(from);
        if (it != analogLevels_.end())
            DeliverAnalog(from == a ? b : a, it->second.first, it->second.second);
    }
    return true;
}

void SimHub::SetParameter(const std::string& name, int32_t value) {
    if (name != "Multiplier" && name != "Divider")
        throw BxError(5, "DeviceHub", "Unknown hub parameter \"" + name + "\"");
    if (value <= 0)
        throw BxError(5, "DeviceHub",
                      "The hub parameter \"" + name + "\" must be a positive number");
    (name == "Multiplier" ? multiplier_ : divider_).store(value);
}

int32_t SimHub::Start() {
    started_.store(true);
    return 0;
}

void SimHub::Gather(const PinRef& to, uint32_t& level, uint32_t& driven) const {
    level = 0xFFFFFFFFu;
    driven = 0;
    for (const DigitalWire& w : digital_) {
        const PinRef* other = nullptr;
        const BitRoute* route = nullptr; // from the other end onto this one
        if (w.A == to && !(w.B == to)) {
            other = &w.B;
            route = &w.BToA;
        } else if (w.B == to && !(w.A == to)) {
            other = &w.A;
            route = &w.AToB;
        } else {
            continue;
        }
        const Output* out = outputs_.get(*other);
        if (out == nullptr)
            continue;
        driven |= route->Map(out->Driven);
        level &= ~route->Map(out->Driven & ~out->Level);
    }
}

void SimHub::Deliver(const PinRef& to) {
    auto member = members_.find(to.Id);
    if (member == members_.end())
        return;
    uint32_t level, driven;
    Gather(to, level, driven);
    member->second->OnDigitalInput(to.Pin, level, driven);
}

bool SimHub::Listening(const PinRef& at) const {
    return members_.get(at.Id) != nullptr &&
           std::find(deaf_.begin(), deaf_.end(), at) == deaf_.end();
}

void SimHub::UpdateNeeded() {
    for (auto& [ref, drive] : lazy_) {
        bool needed = false;
        for (const DigitalWire& w : digital_) {
            if ((w.A == ref && !(w.B == ref) && Listening(w.B)) ||
                (w.B == ref && !(w.A == ref) && Listening(w.A))) {
                needed = true;
                break;
            }
        }
        drive->Needed.store(needed);
    }
}

void SimHub::TakeLazyDrives() {
    // By index: a member answering a drive may leave, which shortens the list.
    for (std::size_t i = 0; i < lazy_.size(); ++i) {
        const auto& [ref, drive] = *(lazy_.begin() + static_cast<std::ptrdiff_t>(i));
        const uint64_t latest = drive->Latest.load();
        DriveDigital(ref.Id, ref.Pin, static_cast<uint32_t>(latest >> 32),
                     static_cast<uint32_t>(latest));
    }
}

void SimHub::ListenLocked(int32_t id, int32_t pin, bool listen) {
    const PinRef at{id, pin};
    const auto it = std::find(deaf_.begin(), deaf_.end(), at);
    if ((it == deaf_.end()) == listen)
        return;
    if (!listen) {
        deaf_.push_back(at);
        UpdateNeeded();
        return;
    }
    deaf_.erase(it);
    // The flags go up before the latest drives are read, so that a lazy member either sees
    // its flag and drives through the hub or has its drive read here.
    UpdateNeeded();
    TakeLazyDrives();
    Deliver(at);
}

void SimHub::InputLocked(int32_t id, int32_t pin, uint32_t& level, uint32_t& driven) {
    TakeLazyDrives();
    Gather({id, pin}, level, driven);
}

void SimHub::DriveLazilyLocked(int32_t id, int32_t pin, LazyDrive& drive) {
    lazy_[{id, pin}] = &drive;
    UpdateNeeded();
}

void SimHub::DriveDigital(int32_t id, int32_t pin, uint32_t level, uint32_t driven) {
    std::lock_guard lock(mutex_);
    const PinRef from{id, pin};
    Output& out = outputs_[from];
    if (out.Level == level && out.Driven == driven)
        return;
    // The lines whose level, as the other ends see it, has changed: driven lines whose level
    // moved and lines that started or stopped being driven (a line nobody drives reads 1).
    const uint32_t changed = ((out.Level ^ level) & out.Driven & driven) | (out.Driven ^ driven);
    out.Level = level;
    out.Driven = driven;
    // A member answering a change may drive again; a loop of members answering each other
    // without end is cut off.
    if (depth_ > 8)
        return;
    ++depth_;
    // A wire none of whose lines changed has nothing new for its other end (a keypad scan
    // moves the row lines of its port, never the column lines of the same port).
    for (const DigitalWire& w : digital_) {
        if (w.A == from) {
            if ((changed & w.MaskA) && Listening(w.B))
                Deliver(w.B);
        } else if (w.B == from) {
            if ((changed & w.MaskB) && Listening(w.A))
                Deliver(w.A);
        }
    }
    --depth_;
}

void SimHub::DeliverAnalog(const PinRef& to, uint8_t level, double seconds) {
    auto member = members_.find(to.Id);
    if (member != members_.end())
        member->second->OnAnalogInput(to.Pin, level, seconds);
}

void SimHub::DriveAnalog(int32_t id, int32_t pin, uint8_t level, double seconds) {
    std::lock_guard lock(mutex_);
    const PinRef from{id, pin};
    analogLevels_[from] = {level, seconds};
    if (seconds > seconds_)
        seconds_ = seconds;
    for (const auto& [a, b] : analog_) {
        if (a == from)
            DeliverAnalog(b, level, seconds);
        else if (b == from)
            DeliverAnalog(a, level, seconds);
    }
}

void SimHub::AdvanceTime(double seconds) {
    std::lock_guard lock(mutex_);
    // The end of a slice of the worker: any lazy drive that slipped past a listener's flag
    // going up reaches it now.
    TakeLazyDrives();
    seconds_ = seconds;
    for (auto& [id, member] : members_)
        member->OnTime(seconds);
}

double SimHub::Seconds() const {
    std::lock_guard lock(mutex_);
    return seconds_;
}

} // namespace bx::sim
