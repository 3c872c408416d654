// SPDX-License-Identifier: MIT
//
// The service reads of each request what the command's row says: no byte less, no byte more.
#include "../support/bytes.h"
#include "certs_fixture.h"

#include <panelkit/bridge/payload.h>
#include <panelkit/certs/cert_imports.h>
#include <panelkit/lsp/lsp_records.h>
#include <panelkit/monitor/monitor_records.h>

namespace {

// Requests of the row with values that are zero or empty: up to the fields that may be missing, and with these.
class EmptyValues {
public:
    template <class... Types>
    explicit EmptyValues(panelkit::Fields<Types...>) : requests(1) {
        (append(panelkit::Fields<Types>()), ...);
    }

    std::vector<std::string> requests;

private:
    template <class Type>
    void append(panelkit::Fields<Type>) {
        requests.back() += encoded(Type());
    }
    template <class Type>
    void append(panelkit::Fields<panelkit::Optional<Type>>) {
        requests.push_back(requests.back() + encoded(Type()));
    }
    void append(panelkit::Fields<panelkit::Bytes>) {}
};

// Whether the service misses a field of the request.
bool endsEarly(const panelkit::CommandRow& row, const std::string& request) {
    const bool answered = sendOver(SessionsPool::GetSession(row.session), row, request);
    return !answered && bridge::lastFailure().phrases == std::vector{Loc::makePhrase("the request ends early")};
}

// The number of requests that could be cut.
int expectThatItReads(const panelkit::CommandRow& row, const std::vector<std::string>& requests) {
    int cut = 0;
    for (const std::string& request : requests) {
        EXPECT_FALSE(endsEarly(row, request)) << row.name << " reads more than " << toHex(request);
        if (request.empty()) continue;
        ++cut;
        EXPECT_TRUE(endsEarly(row, request.substr(0, request.size() - 1))) << row.name << " reads less";
    }
    return cut;
}

class TheServicesHandlers : public WithCertificates {};

TEST_F(TheServicesHandlers, ReadTheFieldsOfTheirRow) {
    const auto readAll = []<std::size_t... place>(std::index_sequence<place...>) {
        return (0 + ... +
                expectThatItReads(panelkit::commandTable[place],
                                  EmptyValues(panelkit::RequestOf<static_cast<Command>(place)>()).requests));
    };
    EXPECT_GT(readAll(std::make_index_sequence<panelkit::commandTable.size()>()), 30);
}

// The others would only keep the service busy.
TEST_F(TheServicesHandlers, TakeMoreThanAMebibyteOnlyWhereARequestCarriesAFile) {
    const std::set<Command> carriers{Command::ParseCertFile, Command::ActivateSystem, Command::ActivateUser,
                                     Command::WriteGroup};
    const auto isTooLarge = [](const panelkit::CommandRow& row, std::size_t size) {
        if (send(row, std::string(size, '\xFF'))) return false;
        return bridge::lastFailure().text().starts_with("the request is too large");
    };
    for (const panelkit::CommandRow& row : panelkit::commandTable) {
        EXPECT_FALSE(isTooLarge(row, 1 << 20)) << row.name;
        EXPECT_EQ(isTooLarge(row, (1 << 20) + 1), !carriers.contains(row.command)) << row.name;
    }
}

} // namespace
