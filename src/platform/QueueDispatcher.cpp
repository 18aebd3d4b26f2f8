#include "platform/QueueDispatcher.h"

#include <utility>

namespace bx::platform {

void QueueDispatcher::post(std::function<void()> fn) {
    // An empty function could only fail when run; dropping it here keeps the failure away
    // from the owning thread.
    if (!fn)
        return;
    {
        std::lock_guard lock(mutex_);
        queue_.push_back(std::move(fn));
    }
    wake_.notify_one();
}

int QueueDispatcher::RunPending() {
    int ran = 0;
    for (;;) {
        std::function<void()> fn;
        {
            std::lock_guard lock(mutex_);
            if (queue_.empty())
                return ran;
            fn = std::move(queue_.front());
            queue_.pop_front();
        }
        // Run without the lock: the work may post more, from this thread or by waking another.
        fn();
        ++ran;
    }
}

bool QueueDispatcher::RunUntil(const std::function<bool()>& done,
                               std::chrono::milliseconds timeout) {
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    // done() is asked before each piece of work, so work posted after the condition came true
    // stays queued for the next run. A condition that another thread changes without posting
    // is only seen at the next piece of work or at the deadline, so such a thread wakes the
    // loop by posting a no-op. Waiting on the condition variable costs no processor time.
    for (;;) {
        if (done())
            return true;
        std::function<void()> fn;
        {
            std::unique_lock lock(mutex_);
            if (!wake_.wait_until(lock, deadline, [this] { return !queue_.empty(); }))
                return done();
            fn = std::move(queue_.front());
            queue_.pop_front();
        }
        fn();
    }
}

} // namespace bx::platform
