#include "platform/QueueDispatcher.h"

#include <gtest/gtest.h>
#include <string>
#include <thread>
#include <vector>

namespace bx::platform {
namespace {

using namespace std::chrono_literals;

TEST(QueueDispatcher, WorkRunsOnlyWhenTheOwningThreadAsksAndWhatItPostsRunsToo) {
    QueueDispatcher queue;
    Dispatcher& dispatcher = queue;
    std::vector<std::string> order;
    dispatcher.post([&] {
        order.push_back("first");
        dispatcher.post([&] { order.push_back("posted by first"); });
    });
    dispatcher.post(std::function<void()>()); // an empty function is dropped
    dispatcher.post([&] { order.push_back("second"); });
    EXPECT_TRUE(order.empty());
    EXPECT_EQ(queue.RunPending(), 3);
    EXPECT_EQ(order, (std::vector<std::string>{"first", "second", "posted by first"}));
    EXPECT_EQ(queue.RunPending(), 0);
}

TEST(QueueDispatcher, RunUntilStopsAsSoonAsTheConditionHoldsAndOtherwiseAtTheTimeout) {
    QueueDispatcher dispatcher;
    int runs = 0;
    for (int i = 0; i < 3; ++i)
        dispatcher.post([&] { ++runs; });
    EXPECT_TRUE(dispatcher.RunUntil([&] { return runs == 0; }, 0ms)) << "already true";
    EXPECT_EQ(runs, 0);
    EXPECT_TRUE(dispatcher.RunUntil([&] { return runs == 2; }, 0ms)) << "queued work still runs";
    EXPECT_EQ(runs, 2);
    // The rest runs while waiting for a condition that never holds.
    EXPECT_FALSE(dispatcher.RunUntil([] { return false; }, 50ms));
    EXPECT_EQ(runs, 3);
}

TEST(QueueDispatcher, PostsFromSeveralThreadsRunOnTheOwningThreadInEachThreadsOrder) {
    QueueDispatcher dispatcher;
    const std::thread::id owner = std::this_thread::get_id();
    constexpr int kThreads = 4;
    constexpr int kEach = 250;
    std::vector<std::vector<int>> seen(kThreads);
    int total = 0;
    bool allOnOwner = true;
    std::vector<std::thread> workers;
    for (int t = 0; t < kThreads; ++t)
        workers.emplace_back([&, t] {
            // The first one waits, so that RunUntil is asleep when its work arrives.
            if (t == 0)
                std::this_thread::sleep_for(20ms);
            for (int i = 0; i < kEach; ++i)
                dispatcher.post([&, t, i] {
                    seen[t].push_back(i);
                    allOnOwner = allOnOwner && std::this_thread::get_id() == owner;
                    ++total;
                });
        });
    const bool finished = dispatcher.RunUntil([&] { return total == kThreads * kEach; }, 10s);
    for (std::thread& worker : workers)
        worker.join();
    ASSERT_TRUE(finished);
    EXPECT_TRUE(allOnOwner);
    std::vector<int> expected(kEach);
    for (int i = 0; i < kEach; ++i)
        expected[i] = i;
    for (int t = 0; t < kThreads; ++t)
        EXPECT_EQ(seen[t], expected) << "thread " << t;
}

} // namespace
} // namespace bx::platform
