#pragma once
// The Dispatcher of hosts without a Qt event loop (the command line, the tests): work posted
// from any thread waits in a queue until the owning thread runs it.

#include "foundation/HostInterfaces.h"

#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>

namespace bx::platform {

class QueueDispatcher : public Dispatcher {
public:
    // Thread-safe.
    void post(std::function<void()> fn) override;
    // Owning thread only: runs everything posted so far (and what that posts). Returns the
    // number of functions run.
    int RunPending();
    // Owning thread only: runs posted work until done() is true or the timeout passes.
    // Returns done().
    bool RunUntil(const std::function<bool()>& done, std::chrono::milliseconds timeout);

private:
    std::mutex mutex_;
    std::condition_variable wake_;
    std::deque<std::function<void()>> queue_;
};

} // namespace bx::platform
