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
    // RunUntil runs nothing for a condition that holds, stops as soon as it holds, and runs
    // what is queued while it waits for one that never holds.
    int runs = 0;
    for (int i = 0; i < 3; ++i)
        dispatcher.post([&] { ++runs; });
    EXPECT_TRUE(queue.RunUntil([&] { return runs == 0; }, 0ms));
    EXPECT_TRUE(queue.RunUntil([&] { return runs == 2; }, 0ms));
    EXPECT_EQ(runs, 2);
    EXPECT_FALSE(queue.RunUntil([] { return false; }, 50ms));
    EXPECT_EQ(runs, 3);
}

} // namespace
} // namespace bx::platform
