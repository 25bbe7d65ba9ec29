// A notification reaches the waiting thread at whatever moment it comes: before, while and after the thread falls
// asleep.
#include "platform/wait_point.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>

TEST(WaitPoint, no_notification_is_missed) {
    constexpr int ROUNDS = 100'000;
    WaitPoint point;
    std::atomic<int> asked{0}, answered{0};
    std::thread waiter([&] {
        for (int round = 1; round <= ROUNDS; ++round) {
            wait_until(point, [&] { return asked.load() >= round; });
            answered = round;
        }
    });
    int missed = 0;
    for (int round = 1; round <= ROUNDS && missed == 0; ++round) {
        for (std::atomic<int> pause{round % 200}; pause > 0;) --pause;  // early or late for the waiter's sleep
        asked = round;
        notify_waiters(point);
        const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(20);
        while (answered.load() < round && missed == 0) missed = std::chrono::steady_clock::now() > end;
    }
    EXPECT_EQ(missed, 0);
    asked = ROUNDS;
    while (answered.load() < ROUNDS) notify_waiters(point);
    waiter.join();
}
