// SPDX-License-Identifier: MIT
#include <bench/attack/samples.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <utility>

namespace attack {

using panelkit::Command;

namespace {

using Places = std::make_index_sequence<panelkit::commandTable.size()>;

std::size_t below(std::size_t limit, std::minstd_rand& random) { return limit == 0 ? 0 : (random() >> 4U) % limit; }

void changeSize(std::string& bytes, std::minstd_rand& random) {
    constexpr std::array<std::uint32_t, 8> sizes = {0, 1, 2, 0xFF, 0x7FFFFFFF, 0x80000000, 0xFFFFFFFF, 0xFFFFFFFC};
    if (bytes.size() < 4) return;
    const std::uint32_t size = sizes[below(sizes.size(), random)];
    std::memcpy(bytes.data() + below(bytes.size() - 3, random), &size, sizeof size);
}

void change(std::string& bytes, std::minstd_rand& random) {
    const std::size_t place = below(bytes.size(), random);
    const std::size_t some = below(std::min<std::size_t>(bytes.size() - place, 64), random);
    switch (below(7, random)) {
    case 0:
        if (!bytes.empty()) bytes[place] = static_cast<char>(bytes[place] ^ (1 << below(8, random)));
        break;
    case 1:
        if (!bytes.empty()) bytes[place] = static_cast<char>(random() >> 8U);
        break;
    case 2: bytes.erase(place, some); break;
    case 3: bytes.insert(place, bytes.substr(place, some)); break;
    case 4: bytes.insert(place, 1 + below(64, random), static_cast<char>(random() >> 8U)); break;
    case 5: bytes.resize(place); break;
    default: changeSize(bytes, random); break;
    }
}

} // namespace

std::vector<std::string> sampleRequests(const Sampler& sampler) {
    return [&]<std::size_t... place>(std::index_sequence<place...>) {
        return std::vector{sampler.bytesOf(panelkit::RequestOf<static_cast<Command>(place)>())...};
    }
    (Places());
}

std::vector<std::string> sampleReplies(const Sampler& sampler) {
    return [&]<std::size_t... place>(std::index_sequence<place...>) {
        return std::vector{sampler.bytesOf(panelkit::ReplyOf<static_cast<Command>(place)>())...};
    }
    (Places());
}

std::string mutated(std::string bytes, std::minstd_rand& random) {
    // Parts that are cut off are the most frequent reason to refuse a request at once, so most mutations keep the size.
    const std::size_t changes = 1 + below(4, random);
    for (std::size_t i = 0; i < changes; ++i) {
        if (below(2, random) == 0)
            changeSize(bytes, random);
        else
            change(bytes, random);
    }
    return bytes;
}

} // namespace attack
