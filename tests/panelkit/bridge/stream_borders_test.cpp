// SPDX-License-Identifier: MIT
//
// The streams with arguments that a careless caller gives, and with counts that a damaged reply claims.
#include <panelkit/bridge/command_stream.h>
#include <panelkit/certs/cert_records.h>
#include <panelkit/tokens/token_records.h>

#include "../../support/bytes.h"
#include "../../support/test.h"

namespace {

// In a byte string without spare capacity, in one with some, and in one that lives in the object itself.
TEST(CommandStreamOut, AppendsItsOwnStringAsItWasBefore) {
    using Append = std::function<void(CommandStreamOut&, std::string&)>;
    struct Row {
        const char* name;
        Append append;
        std::function<std::string(const std::string& before)> expected;
    };
    const auto once = [](const std::string& before) { return before + encoded(before); };
    const Row rows[] = {
        {"the string", [](auto& out, auto& bytes) { out << bytes; }, once},
        {"a view of it", [](auto& out, auto& bytes) { out << std::string_view(bytes); }, once},
        {"a view of its end", [](auto& out, auto& bytes) { out << std::string_view(bytes).substr(bytes.size() / 2); },
         [](const std::string& before) { return before + encoded(before.substr(before.size() / 2)); }},
        {"after another field", [](auto& out, auto& bytes) { out.append(true, bytes, bytes); },
         [](const std::string& before) { return before + encoded(true, before, before); }},
    };
    for (const Row& row : rows) {
        for (const std::size_t size : {0U, 5U, 100U}) {
            for (const std::size_t room : {0U, 4096U}) {
                const std::string before(size, 'b');
                std::string bytes = before;
                bytes.reserve(size + room);
                CommandStreamOut out(bytes);
                row.append(out, bytes);
                EXPECT_EQ(toHex(bytes), toHex(row.expected(before))) << row.name << ", " << size << " + " << room;
            }
        }
    }
}

TEST(CommandStreamOut, AppendsWhatItsStringIsAPartOf) {
    PKCS11::TokenInfo token{1, "label", "serial", "", "provider", 7};
    const std::string record = encoded(token);
    CommandStreamOut(token.text2) << token;
    EXPECT_EQ(token.text2, "serial" + record);

    std::vector<std::string> texts{"first", "second"};
    const std::string list = encoded(texts);
    CommandStreamOut(texts[1]) << texts;
    EXPECT_EQ(texts[1], "second" + list);

    StringPairs pairs{{"name", "value"}};
    const std::string listed = encoded(pairs);
    CommandStreamOut(pairs.front().second) << pairs;
    EXPECT_EQ(pairs.front().second, "value" + listed);
}

// A reply as large as this could hold so many elements only if each took one byte.
TEST(CommandStreamIn, MakesNoElementsThatDidNotArriveWhenTheyTakeMoreThan16MiB) {
    struct Row {
        std::size_t count, bytesAfter;
        bool areMade;
    };
    constexpr std::size_t most = (std::size_t{16} << 20) / sizeof(CertInfo);
    const Row rows[] = {{3, 0, true}, {most, 8, true}, {most + 1, 8, false}, {3U << 20, 3U << 20, false}};
    for (const Row& row : rows) {
        const std::string reply = encoded(static_cast<std::uint32_t>(row.count)) + std::string(row.bytesAfter, '\0');
        std::vector<CertInfo> certificates(2);
        EXPECT_TRUE(throwsStreamError([&] { CommandStreamIn(reply) >> certificates; }));
        EXPECT_EQ(certificates.size(), row.areMade ? row.count : 2) << row.count;
    }
    // A count that fits is never refused, however much memory it takes.
    constexpr std::size_t many = most + 1;
    const std::string reply =
        encoded(static_cast<std::uint32_t>(many)) + std::string(many * leastWireSize<CertInfo>(), '\0');
    std::vector<CertInfo> certificates;
    CommandStreamIn(reply) >> certificates;
    EXPECT_EQ(certificates.size(), many);
}

} // namespace
