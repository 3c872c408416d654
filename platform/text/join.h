// SPDX-License-Identifier: MIT
//
// Lists of names in one text.
//
//   platform::joined(std::vector<std::string>{"IKE", "LOG"}); // "IKE, LOG"
//   platform::joined(sections, ", ", [](const Section& section) { return section.name; });
#pragma once

#include <functional>
#include <string>
#include <string_view>

namespace platform {

// What `textOf` returns for each element, in order, with the separator between them. An empty text is an element too.
template <class Range, class TextOf = std::identity>
std::string joined(const Range& range, std::string_view separator = ", ", TextOf textOf = {}) {
    std::string text;
    bool first = true;
    for (const auto& element : range) {
        if (!first) text += separator;
        text += std::invoke(textOf, element);
        first = false;
    }
    return text;
}

} // namespace platform
