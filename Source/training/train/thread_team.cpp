// A start signal a round, an atomic counter that hands out the jobs, and a count of the threads still at work.
#include "training/train/thread_team.h"

ThreadTeam::ThreadTeam(int threads) {
    for (int i = 1; i < threads; ++i) workers_.emplace_back([this, i] { work(i); });
}

ThreadTeam::~ThreadTeam() {
    {
        const std::lock_guard lock(mutex_);
        quit_ = true;
    }
    start_.notify_all();
    for (std::thread& worker : workers_) worker.join();
}

void ThreadTeam::run(int count, const std::function<void(int, int)>& job) {
    {
        const std::lock_guard lock(mutex_);
        job_ = &job;
        count_ = count;
        next_.store(0, std::memory_order_relaxed);
        busy_ = static_cast<int>(workers_.size());
        ++round_;
    }
    start_.notify_all();
    take_jobs(0);
    std::unique_lock lock(mutex_);
    finished_.wait(lock, [this] { return busy_ == 0; });
}

void ThreadTeam::work(int thread) {
    for (unsigned seen = 0;;) {
        {
            std::unique_lock lock(mutex_);
            start_.wait(lock, [&] { return quit_ || round_ != seen; });
            if (quit_) return;
            seen = round_;
        }
        take_jobs(thread);
        const std::lock_guard lock(mutex_);
        if (--busy_ == 0) finished_.notify_one();
    }
}

void ThreadTeam::take_jobs(int thread) {
    for (int i; (i = next_.fetch_add(1, std::memory_order_relaxed)) < count_;) (*job_)(i, thread);
}
