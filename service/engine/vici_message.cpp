// SPDX-License-Identifier: MIT
#include <service/engine/vici_message.h>

#include <charconv>

namespace panelkitd {

namespace {

enum Element : unsigned char {
    sectionStart = 1,
    sectionEnd = 2,
    keyValue = 3,
    listStart = 4,
    listItem = 5,
    listEnd = 6,
};

template <class Form>
const Form* found(const ViciSection& in, std::string_view name) {
    for (const ViciItem& item : in.items) {
        if (item.name == name) return std::get_if<Form>(&item.value);
    }
    return nullptr;
}

bool hasName(ViciPacketType type) {
    return type == ViciPacketType::request || type == ViciPacketType::registerEvent ||
           type == ViciPacketType::unregisterEvent || type == ViciPacketType::event;
}

// ---- writing

// Counts the bytes first, so that they are written into storage that never moves: no copy of a secret is left behind.
struct Counter {
    std::size_t size = 0;
    void byte(unsigned /*value*/) { ++size; }
    void bytes(std::string_view text) { size += text.size(); }
};

struct Writer {
    std::string& out;
    void byte(unsigned value) const { out.push_back(static_cast<char>(value)); }
    void bytes(std::string_view text) const { out.append(text); }
};

void putName(auto& to, std::string_view name) {
    if (name.empty() || name.size() > vici::longestName) {
        throw ViciRefusal("a name for the IKE daemon has 1 to 255 bytes, not " + std::to_string(name.size()));
    }
    to.byte(static_cast<unsigned>(name.size()));
    to.bytes(name);
}

void putValue(auto& to, std::string_view value) {
    if (value.size() > vici::longestValue) {
        throw ViciRefusal("a value for the IKE daemon has " + std::to_string(value.size()) +
                          " bytes; at most 65535 fit");
    }
    to.byte(static_cast<unsigned>(value.size() >> 8U));
    to.byte(static_cast<unsigned>(value.size() & 0xFFU));
    to.bytes(value);
}

void putList(auto& to, const std::string& name, const std::vector<std::string>& values) {
    to.byte(listStart);
    putName(to, name);
    for (const std::string& value : values) {
        to.byte(listItem);
        putValue(to, value);
    }
    to.byte(listEnd);
}

void putItems(auto& to, const ViciSection& section);

void putItem(auto& to, const ViciItem& item) {
    if (const auto* inner = std::get_if<ViciSection>(&item.value)) {
        to.byte(sectionStart);
        putName(to, item.name);
        putItems(to, *inner);
        return to.byte(sectionEnd);
    }
    if (const auto* values = std::get_if<std::vector<std::string>>(&item.value)) return putList(to, item.name, *values);
    const auto* secret = std::get_if<platform::Secret>(&item.value);
    to.byte(keyValue);
    putName(to, item.name);
    putValue(to, secret ? secret->view() : std::string_view(std::get<std::string>(item.value)));
}

void putItems(auto& to, const ViciSection& section) {
    for (const ViciItem& item : section.items) putItem(to, item);
}

void putPacket(auto& to, const ViciPacket& packet) {
    to.byte(static_cast<unsigned>(packet.type));
    if (hasName(packet.type)) putName(to, packet.name);
    putItems(to, packet.message);
}

// ---- reading

class Reader {
public:
    explicit Reader(std::string_view bytes) : bytes_(bytes) {}

    ViciPacket packet() {
        ViciPacket packet;
        const unsigned type = number(1);
        if (type > static_cast<unsigned>(ViciPacketType::event)) fail("an unknown type of packet");
        packet.type = static_cast<ViciPacketType>(type);
        if (hasName(packet.type)) packet.name = name();
        packet.message = items(0);
        return packet;
    }

private:
    [[noreturn]] void fail(const char* what) const {
        throw ViciError(std::string("the IKE daemon sent ") + what + ", at byte " + std::to_string(at_));
    }

    std::string_view take(std::size_t size) {
        if (size > bytes_.size() - at_) fail("a packet that ends too early");
        at_ += size;
        return bytes_.substr(at_ - size, size);
    }
    unsigned number(std::size_t size) {
        unsigned value = 0;
        for (const char byte : take(size)) value = (value << 8U) | static_cast<unsigned char>(byte);
        return value;
    }
    std::string name() {
        const unsigned size = number(1);
        if (size == 0) fail("an empty name");
        return std::string(take(size));
    }
    std::string value() { return std::string(take(number(2))); }

    unsigned element() {
        if (++elements_ > vici::mostElements) fail("too many elements");
        return number(1);
    }

    std::vector<std::string> list() {
        std::vector<std::string> values;
        for (;;) {
            const unsigned type = element();
            if (type == listEnd) return values;
            if (type != listItem) fail("something else in a list");
            values.push_back(value());
        }
    }

    // Reads up to the end of the section; the message itself, depth 0, ends with the packet.
    ViciSection items(unsigned depth) {
        if (depth > vici::deepest) fail("sections that are nested too deeply");
        ViciSection section;
        while (depth > 0 || at_ < bytes_.size()) {
            const unsigned type = element();
            if (type == sectionEnd && depth > 0) break;
            if (type != sectionStart && type != keyValue && type != listStart) fail("an element out of place");
            std::string key = name();
            if (type == sectionStart) section.add(std::move(key), items(depth + 1));
            if (type == keyValue) section.add(std::move(key), value());
            if (type == listStart) section.add(std::move(key), list());
        }
        return section;
    }

    const std::string_view bytes_;
    std::size_t at_ = 0;
    std::size_t elements_ = 0;
};

} // namespace

const ViciSection* ViciSection::section(std::string_view name) const { return found<ViciSection>(*this, name); }

const std::vector<std::string>* ViciSection::list(std::string_view name) const {
    return found<std::vector<std::string>>(*this, name);
}

std::string ViciSection::text(std::string_view name) const {
    const auto* value = found<std::string>(*this, name);
    return value ? *value : std::string();
}

std::uint64_t ViciSection::number(std::string_view name) const {
    const auto* value = found<std::string>(*this, name);
    std::uint64_t number = 0;
    if (!value) return 0;
    const char* const end = value->data() + value->size();
    const auto [stop, wrong] = std::from_chars(value->data(), end, number);
    return wrong == std::errc() && stop == end ? number : 0;
}

ViciSection& ViciSection::add(std::string name, std::string value) {
    items.push_back({std::move(name), std::move(value)});
    return *this;
}
ViciSection& ViciSection::add(std::string name, platform::Secret value) {
    items.push_back({std::move(name), std::move(value)});
    return *this;
}
ViciSection& ViciSection::add(std::string name, std::vector<std::string> values) {
    items.push_back({std::move(name), std::move(values)});
    return *this;
}
ViciSection& ViciSection::add(std::string name, ViciSection value) {
    items.push_back({std::move(name), std::move(value)});
    return *this;
}

std::string encodeVici(const ViciPacket& packet) {
    Counter counter;
    putPacket(counter, packet);
    if (counter.size > vici::largestRequest) {
        throw ViciRefusal("what the IKE daemon would have to be told has " + std::to_string(counter.size) +
                          " bytes; it takes at most " + std::to_string(vici::largestRequest));
    }
    std::string bytes;
    bytes.reserve(counter.size);
    Writer writer{bytes};
    putPacket(writer, packet);
    return bytes;
}

ViciPacket decodeVici(std::string_view bytes) { return Reader(bytes).packet(); }

std::string encodeViciLength(std::size_t size) {
    std::string bytes;
    for (unsigned shift = 32; shift > 0;) bytes.push_back(static_cast<char>((size >> (shift -= 8)) & 0xFFU));
    return bytes;
}

std::size_t decodeViciLength(std::string_view fourBytes) {
    std::size_t size = 0;
    for (const char byte : fourBytes) size = (size << 8U) | static_cast<unsigned char>(byte);
    if (size == 0 || size > vici::largestAnswer) {
        throw ViciError("the IKE daemon sent a packet of " + std::to_string(size) + " bytes");
    }
    return size;
}

} // namespace panelkitd
