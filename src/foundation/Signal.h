#pragma once
// A minimal observer list for model events (BuildMessage, StateChange): the model raises the
// event synchronously, each connected handler runs in the order of connection. The GUI
// bridges these to Qt signals; the CLI and tests connect plain functions.

#include <cstddef>
#include <functional>
#include <utility>
#include <vector>

namespace bx {

template <class... Args>
class Signal {
public:
    using Handler = std::function<void(Args...)>;

    // Returns a number that Disconnect takes.
    std::size_t Connect(Handler handler) {
        handlers_.emplace_back(++lastId_, std::move(handler));
        return lastId_;
    }
    void Disconnect(std::size_t id) {
        std::erase_if(handlers_, [id](const auto& entry) { return entry.first == id; });
    }
    void operator()(Args... args) const {
        // A copy, so that a handler may connect or disconnect while the event is raised.
        auto handlers = handlers_;
        for (const auto& entry : handlers)
            entry.second(args...);
    }
    std::size_t Count() const { return handlers_.size(); }

private:
    std::vector<std::pair<std::size_t, Handler>> handlers_;
    std::size_t lastId_ = 0;
};

} // namespace bx
