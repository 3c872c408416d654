// SPDX-License-Identifier: MIT
#include "mo_writer.h"

#include <platform/stream/little_endian.h>

#include <cstdint>

namespace {

void appendWord(std::string& to, std::size_t word) {
    to.resize(to.size() + 4);
    platform::storeLittleEndian(to.data() + to.size() - 4, static_cast<std::uint32_t>(word));
}

} // namespace

MoEntry moHeader(const std::string& module, const std::string& stamp, const std::string& texts,
                 const std::string& more) {
    return {"", "Content-Type: text/plain; charset=UTF-8\nX-Module: " + module + "\nX-Table-Stamp: " + stamp +
                    "\nX-Table-Texts: " + texts + "\n" + more};
}

std::string moFile(const std::vector<MoEntry>& entries) {
    std::string file;
    const std::size_t tables = 28;
    const std::size_t texts = tables + 16 * entries.size();
    for (const std::size_t word :
         {std::size_t{0x950412de}, std::size_t{0}, entries.size(), tables, tables + 8 * entries.size()}) {
        appendWord(file, word);
    }
    appendWord(file, 0); // no hash table
    appendWord(file, 0);
    std::string pool;
    for (std::string MoEntry::*column : {&MoEntry::original, &MoEntry::translation}) {
        for (const MoEntry& entry : entries) {
            appendWord(file, (entry.*column).size());
            appendWord(file, texts + pool.size());
            pool += entry.*column + '\0';
        }
    }
    return file + pool;
}
