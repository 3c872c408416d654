// SPDX-License-Identifier: MIT
//
// Variables of this process's environment for as long as an object lives. No other thread may use the environment
// meanwhile.
#pragma once

#include <optional>
#include <string>

// UTF-8. Nullopt: the variable is not set, or is removed.
std::optional<std::string> environmentVariable(const std::string& name);
void setEnvironmentVariable(const std::string& name, const std::optional<std::string>& value);

class ScopedVariable {
public:
    ScopedVariable(std::string name, const std::optional<std::string>& value)
        : name_(std::move(name)), before_(environmentVariable(name_)) {
        setEnvironmentVariable(name_, value);
    }
    ~ScopedVariable() { setEnvironmentVariable(name_, before_); }
    ScopedVariable(const ScopedVariable&) = delete;
    ScopedVariable& operator=(const ScopedVariable&) = delete;

private:
    std::string name_;
    std::optional<std::string> before_;
};
