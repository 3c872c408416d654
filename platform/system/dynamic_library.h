// SPDX-License-Identifier: MIT
//
// A shared library that is loaded at run time.
#pragma once

#include <string>

namespace platform {

class DynamicLibrary {
public:
    // Loads the library at a UTF-8 path, with all its symbols bound at once and visible to nobody else. Throws
    // std::runtime_error with the loader's own words.
    explicit DynamicLibrary(const std::string& path);
    ~DynamicLibrary(); // unloads it
    DynamicLibrary(const DynamicLibrary&) = delete;
    DynamicLibrary& operator=(const DynamicLibrary&) = delete;

    // The address of an exported function as a pointer of type F; null when there is none of that name.
    template <class F>
    F function(const char* name) const {
        return reinterpret_cast<F>(address(name));
    }

private:
    using Function = void (*)();
    Function address(const char* name) const;

    void* handle_;
};

} // namespace platform
