// SPDX-License-Identifier: MIT
//
// A mutex and the data that it guards as one object: the data can be reached only through an Access, which holds the
// mutex. So code that forgets the lock does not compile.
//
//   struct Counts { unsigned seen = 0; unsigned dropped = 0; };
//   platform::Guarded<Counts> counts_;
//   std::condition_variable changed_;
//
//   counts_.lock()->seen += 1;                    // locked for this statement
//
//   auto counts = counts_.lock();                 // locked until the end of the scope
//   counts.wait(changed_, [&] { return counts->seen > 0; });
//   counts.unlocked([&] { report(); });           // not locked during the call
//
// Do not keep references to the data when the Access has ended. All of it is inline, for front ends too.
#pragma once

#include <concepts>
#include <condition_variable>
#include <mutex>
#include <utility>

namespace platform {

template <class T>
class Guarded {
public:
    // Holds the mutex while it lives. It belongs to one thread.
    template <class Data>
    class Access {
    public:
        Access(std::mutex& mutex, Data& data) : lock_(mutex), data_(data) {}

        Data& operator*() const { return data_; }
        Data* operator->() const { return &data_; }

        // Waits, without the mutex, until `condition` is notified and the predicate is true. The predicate is called
        // with the mutex held. The variants with a time return what the predicate returns at the end. Without a
        // predicate, the wait may end for no reason.
        void wait(std::condition_variable& condition) { condition.wait(lock_); }
        template <class TimePoint>
        void waitUntil(std::condition_variable& condition, const TimePoint& time) {
            condition.wait_until(lock_, time);
        }
        template <class Predicate>
        void wait(std::condition_variable& condition, Predicate predicate) {
            condition.wait(lock_, std::move(predicate));
        }
        template <class Duration, class Predicate>
        bool waitFor(std::condition_variable& condition, const Duration& time, Predicate predicate) {
            return condition.wait_for(lock_, time, std::move(predicate));
        }
        template <class TimePoint, class Predicate>
        bool waitUntil(std::condition_variable& condition, const TimePoint& time, Predicate predicate) {
            return condition.wait_until(lock_, time, std::move(predicate));
        }

        // Runs `call` without the mutex, and takes it again afterwards, also when the call throws.
        template <class Call>
        void unlocked(Call&& call) {
            const Relock again{lock_};
            lock_.unlock();
            std::forward<Call>(call)();
        }

    private:
        struct Relock {
            explicit Relock(std::unique_lock<std::mutex>& lock) : lock_(lock) {}
            ~Relock() { lock_.lock(); }
            Relock(const Relock&) = delete;
            Relock& operator=(const Relock&) = delete;
            std::unique_lock<std::mutex>& lock_;
        };

        std::unique_lock<std::mutex> lock_;
        Data& data_;
    };

    Guarded() = default;
    // Constructs the data in place.
    template <class... Arguments>
    requires(sizeof...(Arguments) > 0 &&
             std::constructible_from<T, Arguments...>) explicit Guarded(Arguments&&... arguments)
        : data_(std::forward<Arguments>(arguments)...) {}

    // Waits for the mutex. A thread that has an Access to the same object must not ask for another one.
    [[nodiscard]] Access<T> lock() { return {mutex_, data_}; }
    [[nodiscard]] Access<const T> lock() const { return {mutex_, data_}; }

private:
    mutable std::mutex mutex_;
    T data_{};
};

} // namespace platform
