// A place where threads wait for a change of atomic fields. std::atomic::wait does not serve: where the system has no
// futex, GCC 12's library looks at the value before it takes its lock. A notification in between is lost, and the
// thread waits for ever.
#pragma once

#include <condition_variable>
#include <mutex>

struct WaitPoint {
    std::mutex lock;
    std::condition_variable change;
};

// Waits until `holds()`, which reads atomic fields, is true. It is asked at the start and after each notification.
template <class Condition>
void wait_until(WaitPoint& point, Condition holds) {
    std::unique_lock<std::mutex> guard(point.lock);
    point.change.wait(guard, holds);
}

// Call it after every change that can make a waiting thread's condition true.
inline void notify_waiters(WaitPoint& point) {
    // Under the lock no waiter is between its look at the fields and its sleep.
    { const std::lock_guard<std::mutex> guard(point.lock); }
    point.change.notify_all();
}
