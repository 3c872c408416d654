// SPDX-License-Identifier: MIT
//
// A shared library that is loaded at run time.
#pragma once

#include <string>

namespace platform {

class DynamicLibrary {
public:
    // What the destructor does with the library. With `keep`, the library stays in memory until the process ends: a
    // thread that ends later may still call into it, or into a library that it has loaded. When such a library is
    // loaded again, it still has its earlier state.
    enum class AtEnd : unsigned char { unload, keep };

    // Loads the library at a UTF-8 path, with all its symbols bound at once and not visible to other libraries. Throws
    // std::runtime_error with the message of the system's loader.
    explicit DynamicLibrary(const std::string& path, AtEnd atEnd = AtEnd::unload);
    ~DynamicLibrary();
    DynamicLibrary(const DynamicLibrary&) = delete;
    DynamicLibrary& operator=(const DynamicLibrary&) = delete;

    // Returns the address of an exported function as a pointer of type F; null when there is no function of that name.
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
