// Threads that stay alive for a whole training run and share out numbered jobs.
#pragma once

#include <atomic>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

class ThreadTeam {
public:
    // `threads` counts the caller's own thread.
    explicit ThreadTeam(int threads);
    ~ThreadTeam();
    ThreadTeam(const ThreadTeam&) = delete;
    ThreadTeam& operator=(const ThreadTeam&) = delete;

    int size() const { return static_cast<int>(workers_.size()) + 1; }

    // Calls job(number, thread) once for each number from 0 to count - 1 and returns when all are done. Which thread
    // gets which number is left to chance, so results must not depend on it. Only the owner's thread may call this.
    void run(int count, const std::function<void(int number, int thread)>& job);

private:
    void work(int thread);
    void take_jobs(int thread);

    std::vector<std::thread> workers_;
    std::mutex mutex_;
    std::condition_variable start_;
    std::condition_variable finished_;
    const std::function<void(int, int)>* job_ = nullptr;
    int count_ = 0;
    std::atomic<int> next_{0};
    int busy_ = 0;
    unsigned round_ = 0;
    bool quit_ = false;
};
