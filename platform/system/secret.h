// SPDX-License-Identifier: MIT
//
// A PIN, password, preshared key or private key in memory: in pages that are not swapped out, and wiped when it ends or
// changes.
#pragma once

#include <platform/system/locked_pages.h>
#include <platform/system/wipe.h>

#include <cstddef>
#include <memory>
#include <string_view>
#include <utility>

namespace platform {

// Bytes that don't grow: each new content has storage of its own. A zero byte follows the last one. Not thread-safe.
class Secret {
public:
    Secret() = default;
    explicit Secret(std::string_view bytes) { take(bytes); }
    Secret(const Secret& other) { take(other.view()); }
    Secret(Secret&& other) noexcept = default;
    Secret& operator=(const Secret& other) {
        if (this != &other) take(other.view());
        return *this;
    }
    Secret& operator=(Secret&& other) noexcept = default;
    ~Secret() = default;

    // Replaces the content. The caller wipes `bytes`.
    void take(std::string_view bytes) { held_ = bytes.empty() ? nullptr : std::make_unique<Held>(bytes); }

    // Points to zero bytes at first, for a function that writes a secret of a known size.
    char* make(std::size_t size) {
        held_ = std::make_unique<Held>(size);
        return held_->bytes.get();
    }

    std::string_view view() const { return held_ ? std::string_view(held_->bytes.get(), held_->size) : ""; }
    operator std::string_view() const { return view(); } // NOLINT(google-explicit-constructor): it is one
    const char* c_str() const { return held_ ? held_->bytes.get() : ""; }
    const char* data() const { return c_str(); }
    std::size_t size() const { return held_ ? held_->size : 0; }
    bool empty() const { return size() == 0; }

    // Reads it from a stream of our commands, like a string.
    template <class Stream>
    requires requires(Stream& stream) { stream.readView(); }
    friend Stream& operator>>(Stream& in, Secret& secret) {
        secret.take(in.readView());
        return in;
    }

private:
    struct Held {
        explicit Held(std::size_t wanted) : size(wanted), bytes(new char[wanted + 1]{}), pages(bytes.get(), wanted) {}
        explicit Held(std::string_view from) : Held(from.size()) { from.copy(bytes.get(), size); }
        ~Held() { wipe(bytes.get(), size); } // while the pages are still locked
        Held(const Held&) = delete;
        Held& operator=(const Held&) = delete;

        const std::size_t size;
        const std::unique_ptr<char[]> bytes;
        const LockedPages pages;
    };

    std::unique_ptr<Held> held_;
};

} // namespace platform
