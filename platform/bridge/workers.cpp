// SPDX-License-Identifier: MIT
#include <platform/bridge/workers.h>

#include <condition_variable>
#include <mutex>
#include <optional>
#include <thread>
#include <utility>
#include <vector>

namespace bridge {

namespace {

struct Task {
    std::function<void()> work;
    std::function<void()> afterwards;
};

// A thread that waits for its next task.
class Worker {
public:
    void give(Task task) {
        const std::scoped_lock lock(mutex_);
        task_ = std::move(task);
        given_.notify_one();
    }
    Task await() {
        std::unique_lock lock(mutex_);
        given_.wait(lock, [this] { return task_.has_value(); });
        return *std::exchange(task_, std::nullopt);
    }

private:
    std::mutex mutex_;
    std::condition_variable given_;
    std::optional<Task> task_; // guarded by mutex_
};

// The idle threads of the process.
class Workers {
public:
    static Workers& instance() {
        static auto* const workers = new Workers; // its threads may outlive static destruction
        return *workers;
    }

    void run(Task task) {
        if (Worker* worker = takeIdle()) {
            worker->give(std::move(task));
        } else {
            std::thread([this, task = std::move(task)] { serve(task); }).detach();
        }
    }

private:
    Worker* takeIdle() {
        const std::scoped_lock lock(mutex_);
        if (idle_.empty()) return nullptr;
        Worker* worker = idle_.back();
        idle_.pop_back();
        return worker;
    }
    void enterIdle(Worker& worker) {
        const std::scoped_lock lock(mutex_);
        idle_.push_back(&worker);
    }

    // The loop of a thread: its first task, then further tasks. The thread is marked idle before `afterwards` reports
    // the end of the work, so a caller who comes back at once finds it.
    void serve(Task task) {
        Worker self;
        for (;;) {
            task.work();
            task.work = nullptr; // frees what it holds before the end is reported
            enterIdle(self);
            if (task.afterwards) task.afterwards();
            task = self.await();
        }
    }

    std::mutex mutex_;
    std::vector<Worker*> idle_; // guarded by mutex_
};

} // namespace

void runOnWorker(std::function<void()> work, std::function<void()> afterwards) {
    Workers::instance().run({std::move(work), std::move(afterwards)});
}

struct Job::State {
    std::mutex mutex;
    std::condition_variable ended;
    bool done = false; // guarded by mutex
};

Job::Job(std::function<void()> work) : state_(std::make_shared<State>()) {
    runOnWorker(std::move(work), [state = state_] {
        const std::scoped_lock lock(state->mutex);
        state->done = true;
        state->ended.notify_all();
    });
}

Job::~Job() {
    std::unique_lock lock(state_->mutex);
    state_->ended.wait(lock, [this] { return state_->done; });
}

bool Job::waitFor(std::chrono::milliseconds time) {
    std::unique_lock lock(state_->mutex);
    return state_->ended.wait_for(lock, time, [this] { return state_->done; });
}

} // namespace bridge
