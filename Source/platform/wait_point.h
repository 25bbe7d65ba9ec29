// A place where threads wait for what others write into atomic fields. std::atomic::wait is not for that: where the
// system has no futex, the library that comes with GCC 12 looks at the value before it takes its lock, so a
// notification in between is lost and the thread waits for ever.
#pragma once

#include <condition_variable>
#include <mutex>

struct WaitPoint {
    std::mutex lock;
    std::condition_variable change;
};

// Waits until `holds()` is true; it reads atomic fields. Called at the start and after each tell_waiters.
template <class Condition>
void wait_until(WaitPoint& point, Condition holds) {
    std::unique_lock<std::mutex> guard(point.lock);
    point.change.wait(guard, holds);
}

// To be called after every change that can make a waiting thread's condition true.
inline void tell_waiters(WaitPoint& point) {
    // Under the lock no waiter is between its look at the fields and its sleep.
    { const std::lock_guard<std::mutex> guard(point.lock); }
    point.change.notify_all();
}
