#include "platform/loaded_library.h"

#include <dlfcn.h>

#include "platform/diagnostics.h"

namespace kvmon {

LoadedLibrary::LoadedLibrary(const std::string& file)
    : m_handle(::dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL)), m_file(file) {
    if (m_handle != nullptr) {
        Diagnose("library %s loaded\n", file.c_str());
    } else if (const char* const fault = ::dlerror(); fault != nullptr) {
        Diagnose("library: %s\n", fault);
    }
}

void* LoadedLibrary::Find(const char* name) const {
    void* const symbol = m_handle != nullptr ? ::dlsym(m_handle, name) : nullptr;
    if (symbol == nullptr) {
        Diagnose("library %s: no %s\n", m_file.c_str(), name);
    }
    return symbol;
}

}  // namespace kvmon
