// SPDX-License-Identifier: MIT
//
// Requests and replies of every command, made from the command table, and their mutations.
#pragma once

#include <panelkit/bridge/payload.h>
#include <panelkit/certs/cert_imports.h>
#include <panelkit/certs/cert_records.h>
#include <panelkit/lsp/lsp_records.h>
#include <panelkit/monitor/monitor_records.h>
#include <panelkit/monitor/tunnel_records.h>
#include <panelkit/net/interface_records.h>
#include <panelkit/tokens/token_records.h>

#include <random>
#include <string>
#include <type_traits>
#include <vector>

namespace attack {

// Fills values of any type of the command table. Tokens become the given one, so that a request can reach it.
class Sampler {
public:
    explicit Sampler(PKCS11::TokenInfo token = {}) : token_(std::move(token)) {}

    template <class... Types>
    std::string bytesOf(panelkit::Fields<Types...>) const {
        std::string bytes;
        (append(bytes, panelkit::Fields<Types>()), ...);
        return bytes;
    }
    std::string bytesOf(panelkit::Unread) const { return std::string(1, '\1'); }

private:
    template <class Type>
    void append(std::string& bytes, panelkit::Fields<Type>) const {
        Type value{};
        fill(value);
        CommandStreamOut(bytes).append(value);
    }
    template <class Type>
    void append(std::string& bytes, panelkit::Fields<panelkit::Optional<Type>>) const {
        append(bytes, panelkit::Fields<Type>());
    }
    template <class Count, class First, class Second>
    void append(std::string& bytes, panelkit::Fields<panelkit::Pairs<Count, First, Second>>) const {
        CommandStreamOut(bytes).append(Count{2});
        for (int i = 0; i < 2; ++i) bytes += bytesOf(panelkit::Fields<First, Second>());
    }
    template <class First, class Second>
    void append(std::string& bytes, panelkit::Fields<panelkit::MorePairs<First, Second>>) const {
        for (int i = 0; i < 2; ++i) bytes += bytesOf(panelkit::Fields<First, Second>());
    }
    void append(std::string& bytes, panelkit::Fields<panelkit::Bytes>) const { bytes.append(40, '\1'); }

    template <class Type>
    void fill(Type& value) const {
        if constexpr (std::is_same_v<Type, PKCS11::TokenInfo>)
            value = token_;
        else if constexpr (Record<Type>)
            Type::fields(value, [this](auto&... fields) { (this->fill(fields), ...); });
        else if constexpr (std::is_arithmetic_v<Type> || std::is_enum_v<Type>)
            value = static_cast<Type>(1);
        else if constexpr (std::is_same_v<Type, std::string>)
            value = "text";
        else
            fillList(value);
    }
    template <class List>
    void fillList(List& list) const {
        list.resize(2);
        for (auto& element : list) fill(element);
    }
    void fillList(StringPairs& pairs) const { pairs.assign(2, {"name", "value"}); }

    PKCS11::TokenInfo token_;
};

// What is sent for each command, by Command.
std::vector<std::string> sampleRequests(const Sampler& sampler);
std::vector<std::string> sampleReplies(const Sampler& sampler);

// Changes the bytes in one to four places: bits, sizes, parts that are missing, doubled or new.
std::string mutated(std::string bytes, std::minstd_rand& random);

} // namespace attack
