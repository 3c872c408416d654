// SPDX-License-Identifier: MIT
//
// Mutations of DER, and of the PEM around it, that keep the lengths right: an element somewhere in the tree is changed,
// doubled or removed, and all lengths above it are written again.
#pragma once

#include <fuzz/mutator.h>

#include <openssl/evp.h>

#include <algorithm>
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace fuzz {

struct DerElement {
    unsigned char tag = 0;
    std::string content;              // of a primitive one
    std::vector<DerElement> elements; // of a constructed one
    bool isConstructed = false;
};

// The elements in the bytes; false when they are not DER to their end.
inline bool readDerElements(std::string_view bytes, std::vector<DerElement>& elements, unsigned depth = 0) {
    while (!bytes.empty()) {
        if (bytes.size() < 2 || (bytes[0] & 0x1F) == 0x1F || depth > 32) return false;
        DerElement element;
        element.tag = static_cast<unsigned char>(bytes[0]);
        std::size_t length = static_cast<unsigned char>(bytes[1]), head = 2;
        if (length >= 0x80) {
            const std::size_t count = length - 0x80;
            if (count == 0 || count > 3 || bytes.size() < 2 + count) return false;
            for (length = 0; head < 2 + count; ++head) length = length << 8U | static_cast<unsigned char>(bytes[head]);
        }
        if (length > bytes.size() - head) return false;
        const std::string_view content = bytes.substr(head, length);
        element.isConstructed = (element.tag & 0x20U) != 0 && readDerElements(content, element.elements, depth + 1);
        if (!element.isConstructed) element.content = content;
        elements.push_back(std::move(element));
        bytes.remove_prefix(head + length);
    }
    return true;
}

inline std::string writtenDer(const std::vector<DerElement>& elements) {
    std::string bytes;
    for (const DerElement& element : elements) {
        const std::string content = element.isConstructed ? writtenDer(element.elements) : element.content;
        bytes += static_cast<char>(element.tag);
        const std::size_t lengthBytes = content.size() < 0x80      ? 0
                                        : content.size() < 0x100   ? 1
                                        : content.size() < 0x10000 ? 2
                                                                   : 3;
        if (lengthBytes > 0) bytes += static_cast<char>(0x80 + lengthBytes);
        for (std::size_t i = std::max<std::size_t>(lengthBytes, 1); i > 0; --i) {
            bytes += static_cast<char>(content.size() >> (8 * (i - 1)) & 0xFFU);
        }
        bytes += content;
    }
    return bytes;
}

// Changes one element of the list, or of a list in it.
inline void changeDer(Mutator& mutator, std::vector<DerElement>& elements) {
    if (elements.empty()) return;
    const std::size_t place = mutator.below(elements.size());
    DerElement& element = elements[place];
    if (element.isConstructed && !mutator.chance(8)) return changeDer(mutator, element.elements);
    switch (mutator.below(8)) {
    case 0: elements.insert(elements.begin() + static_cast<std::ptrdiff_t>(place), DerElement(element)); break;
    case 1: elements.erase(elements.begin() + static_cast<std::ptrdiff_t>(place)); break;
    case 2: element.tag = static_cast<unsigned char>(mutator.below(64)); break;
    case 3: std::swap(element, elements[mutator.below(elements.size())]); break;
    default: element.content = mutator.damaged(element.content); break;
    }
}

inline std::string changedDer(Mutator& mutator, const std::string& der) {
    std::vector<DerElement> elements;
    if (mutator.chance(8) || !readDerElements(der, elements)) return mutator.damaged(der);
    for (std::size_t changes = 1 + mutator.below(3); changes > 0; --changes) changeDer(mutator, elements);
    return writtenDer(elements);
}

// The base64 of one block is changed; the text around it stays.
inline std::string changedPem(Mutator& mutator, const std::string& text) {
    std::vector<std::size_t> begins;
    for (std::size_t at = text.find("-----\n"); at != text.npos; at = text.find("-----\n", at + 1))
        begins.push_back(at + 6);
    const std::size_t begin = begins.empty() ? text.npos : begins[mutator.below(begins.size())];
    const std::size_t end = begin == text.npos ? text.npos : text.find("-----END", begin);
    if (end == text.npos || mutator.chance(8)) return mutator.damaged(text);
    std::string base64 = text.substr(begin, end - begin);
    std::erase(base64, '\n');
    std::string der(base64.size(), '\0');
    const int size =
        EVP_DecodeBlock(reinterpret_cast<unsigned char*>(der.data()),
                        reinterpret_cast<const unsigned char*>(base64.data()), static_cast<int>(base64.size()));
    if (size < 0) return mutator.damaged(text);
    der.resize(static_cast<std::size_t>(size) -
               std::min<std::size_t>(2, static_cast<std::size_t>(std::count(base64.begin(), base64.end(), '='))));
    const std::string changed = changedDer(mutator, der);
    std::string written(changed.size() * 4 / 3 + 8, '\0');
    written.resize(static_cast<std::size_t>(EVP_EncodeBlock(reinterpret_cast<unsigned char*>(written.data()),
                                                            reinterpret_cast<const unsigned char*>(changed.data()),
                                                            static_cast<int>(changed.size()))));
    std::string lines;
    for (std::size_t at = 0; at < written.size(); at += 64) lines += written.substr(at, 64) + "\n";
    return text.substr(0, begin) + lines + text.substr(end);
}

} // namespace fuzz
