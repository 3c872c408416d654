// SPDX-License-Identifier: MIT
#include <platform/system/dynamic_library.h>

#include <dlfcn.h>

#include <stdexcept>

namespace platform {

DynamicLibrary::DynamicLibrary(const std::string& path, AtEnd atEnd)
    : handle_(::dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL | (atEnd == AtEnd::keep ? RTLD_NODELETE : 0))) {
    if (!handle_) throw std::runtime_error(::dlerror());
}

DynamicLibrary::~DynamicLibrary() { ::dlclose(handle_); }

DynamicLibrary::Function DynamicLibrary::address(const char* name) const {
    return reinterpret_cast<Function>(::dlsym(handle_, name));
}

} // namespace platform
