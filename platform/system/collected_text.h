// SPDX-License-Identifier: MIT
//
// A text that one thread appends to while other threads read it. For child_process_*.cpp.
#pragma once

#include <string>

#include <platform/system/guarded.h>

namespace platform {

class CollectedText {
public:
    void add(const char* bytes, std::size_t size) {
        const auto text = text_.lock();
        if (text->size() + size <= limit) text->append(bytes, size);
    }
    std::string text() const { return *text_.lock(); }

private:
    static constexpr std::size_t limit = std::size_t{64} << 20;
    Guarded<std::string> text_;
};

} // namespace platform
