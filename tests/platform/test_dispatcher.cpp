#include "platform/QueueDispatcher.h"

#include <atomic>
#include <gtest/gtest.h>
#include <string>
#include <thread>
#include <vector>

namespace bx::platform {
namespace {

using namespace std::chrono_literals;

TEST(QueueDispatcher, NothingRunsBeforeTheOwningThreadAsks) {
    QueueDispatcher dispatcher;
    int runs = 0;
    dispatcher.post([&] { ++runs; });
    dispatcher.post([&] { ++runs; });
    EXPECT_EQ(runs, 0);
    EXPECT_EQ(dispatcher.RunPending(), 2);
    EXPECT_EQ(runs, 2);
    EXPECT_EQ(dispatcher.RunPending(), 0);
    EXPECT_EQ(runs, 2);
}

TEST(QueueDispatcher, RunPendingAlsoRunsWhatTheWorkPosts) {
    QueueDispatcher dispatcher;
    std::vector<std::string> order;
    dispatcher.post([&] {
        order.push_back("first");
        dispatcher.post([&] { order.push_back("posted by first"); });
    });
    dispatcher.post([&] { order.push_back("second"); });
    EXPECT_EQ(dispatcher.RunPending(), 3);
    EXPECT_EQ(order, (std::vector<std::string>{"first", "second", "posted by first"}));
}

TEST(QueueDispatcher, EmptyFunctionIsDropped) {
    QueueDispatcher dispatcher;
    dispatcher.post(std::function<void()>());
    EXPECT_EQ(dispatcher.RunPending(), 0);
}

TEST(QueueDispatcher, WorkPostedFromAnotherThreadRunsOnTheOwningThreadInOrder) {
    QueueDispatcher dispatcher;
    const std::thread::id owner = std::this_thread::get_id();
    constexpr int kCount = 1000;
    std::vector<int> seen;
    bool allOnOwner = true;
    std::thread worker([&] {
        for (int i = 0; i < kCount; ++i)
            dispatcher.post([&, i] {
                seen.push_back(i);
                allOnOwner = allOnOwner && std::this_thread::get_id() == owner;
            });
    });
    bool finished =
        dispatcher.RunUntil([&] { return seen.size() == static_cast<std::size_t>(kCount); }, 10s);
    worker.join();
    ASSERT_TRUE(finished);
    EXPECT_TRUE(allOnOwner);
    std::vector<int> expected(kCount);
    for (int i = 0; i < kCount; ++i)
        expected[i] = i;
    EXPECT_EQ(seen, expected);
}

TEST(QueueDispatcher, PostsFromSeveralThreadsKeepEachThreadsOrder) {
    QueueDispatcher dispatcher;
    constexpr int kThreads = 4;
    constexpr int kEach = 250;
    std::vector<std::vector<int>> seen(kThreads);
    int total = 0;
    std::vector<std::thread> workers;
    for (int t = 0; t < kThreads; ++t)
        workers.emplace_back([&, t] {
            for (int i = 0; i < kEach; ++i)
                dispatcher.post([&, t, i] {
                    seen[t].push_back(i);
                    ++total;
                });
        });
    bool finished = dispatcher.RunUntil([&] { return total == kThreads * kEach; }, 10s);
    for (std::thread& worker : workers)
        worker.join();
    ASSERT_TRUE(finished);
    for (int t = 0; t < kThreads; ++t) {
        ASSERT_EQ(seen[t].size(), static_cast<std::size_t>(kEach));
        for (int i = 0; i < kEach; ++i)
            EXPECT_EQ(seen[t][i], i) << "thread " << t;
    }
}

TEST(QueueDispatcher, RunUntilWakesForWorkPostedWhileItWaits) {
    QueueDispatcher dispatcher;
    bool done = false;
    std::thread worker([&] {
        std::this_thread::sleep_for(50ms);
        dispatcher.post([&] { done = true; });
    });
    auto start = std::chrono::steady_clock::now();
    EXPECT_TRUE(dispatcher.RunUntil([&] { return done; }, 10s));
    worker.join();
    // Woken by the post, long before the timeout.
    EXPECT_LT(std::chrono::steady_clock::now() - start, 5s);
}

TEST(QueueDispatcher, RunUntilTimesOutWhenTheConditionNeverHolds) {
    QueueDispatcher dispatcher;
    int runs = 0;
    dispatcher.post([&] { ++runs; });
    auto start = std::chrono::steady_clock::now();
    EXPECT_FALSE(dispatcher.RunUntil([] { return false; }, 100ms));
    auto waited = std::chrono::steady_clock::now() - start;
    EXPECT_GE(waited, 100ms);
    EXPECT_LT(waited, 5s);
    // The work that was there ran while waiting.
    EXPECT_EQ(runs, 1);
}

TEST(QueueDispatcher, RunUntilStopsAsSoonAsTheConditionHolds) {
    QueueDispatcher dispatcher;
    int runs = 0;
    dispatcher.post([&] { ++runs; });
    dispatcher.post([&] { ++runs; });
    dispatcher.post([&] { ++runs; });
    EXPECT_TRUE(dispatcher.RunUntil([&] { return runs == 2; }, 1s));
    EXPECT_EQ(runs, 2);
    // The rest stays queued for the next run.
    EXPECT_EQ(dispatcher.RunPending(), 1);
    EXPECT_EQ(runs, 3);
}

TEST(QueueDispatcher, RunUntilWithAConditionAlreadyTrueRunsNothing) {
    QueueDispatcher dispatcher;
    int runs = 0;
    dispatcher.post([&] { ++runs; });
    EXPECT_TRUE(dispatcher.RunUntil([] { return true; }, 0ms));
    EXPECT_EQ(runs, 0);
}

TEST(QueueDispatcher, RunUntilWithZeroTimeoutStillRunsWhatIsQueued) {
    QueueDispatcher dispatcher;
    bool done = false;
    dispatcher.post([&] { done = true; });
    EXPECT_TRUE(dispatcher.RunUntil([&] { return done; }, 0ms));
}

TEST(QueueDispatcher, IsADispatcher) {
    QueueDispatcher queue;
    Dispatcher& dispatcher = queue;
    int runs = 0;
    dispatcher.post([&] { ++runs; });
    EXPECT_EQ(queue.RunPending(), 1);
    EXPECT_EQ(runs, 1);
}

} // namespace
} // namespace bx::platform
