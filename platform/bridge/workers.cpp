// SPDX-License-Identifier: MIT
#include <platform/bridge/workers.h>

#include <platform/system/guarded.h>

#include <condition_variable>
#include <optional>
#include <thread>
#include <utility>

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
        *task_.lock() = std::move(task);
        given_.notify_one();
    }
    Task await() {
        auto task = task_.lock();
        task.wait(given_, [&] { return task->has_value(); });
        return *std::exchange(*task, std::nullopt);
    }

    Worker* nextIdle = nullptr; // guarded by Workers

private:
    platform::Guarded<std::optional<Task>> task_;
    std::condition_variable given_;
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
        const auto idle = idle_.lock();
        return *idle ? std::exchange(*idle, (*idle)->nextIdle) : nullptr;
    }
    void enterIdle(Worker& worker) {
        const auto idle = idle_.lock();
        worker.nextIdle = std::exchange(*idle, &worker);
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

    platform::Guarded<Worker*> idle_; // a chain, so that entering it needs no memory
};

} // namespace

void runOnWorker(std::function<void()> work, std::function<void()> afterwards) {
    Workers::instance().run({std::move(work), std::move(afterwards)});
}

struct Job::State {
    platform::Guarded<bool> done;
    std::condition_variable ended;
};

Job::Job(std::function<void()> work) : state_(std::make_shared<State>()) {
    runOnWorker(std::move(work), [state = state_] {
        *state->done.lock() = true;
        state->ended.notify_all();
    });
}

Job::~Job() {
    auto done = state_->done.lock();
    done.wait(state_->ended, [&] { return *done; });
}

bool Job::waitFor(std::chrono::milliseconds time) {
    auto done = state_->done.lock();
    return done.waitFor(state_->ended, time, [&] { return *done; });
}

} // namespace bridge
