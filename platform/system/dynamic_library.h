// SPDX-License-Identifier: MIT
//
// A shared library that is loaded at run time.
#pragma once

#include <string>

namespace platform {

class DynamicLibrary {
public:
    // What becomes of a library that is not needed any more. One that is kept stays mapped until the process ends:
    // a thread that ends later may still call into it, or into a library that it brought along. Loaded again, it is the
    // same one, with the state it had.
    enum class AtEnd : unsigned char { unload, keep };

    // Loads the library at a UTF-8 path, with all its symbols bound at once and visible to nobody else. Throws
    // std::runtime_error with the loader's own words.
    explicit DynamicLibrary(const std::string& path, AtEnd atEnd = AtEnd::unload);
    ~DynamicLibrary();
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
