// Shared libraries that are loaded when they are needed.
#pragma once

#include <bit>
#include <string>

namespace kvmon {

// It stays for the life of the process, since threads of its own may do so. Any thread.
class LoadedLibrary {
public:
    LoadedLibrary() = default;  // none
    // By a path, or by a name that the system looks for. What fails is told by Diagnose().
    explicit LoadedLibrary(const std::string& file);
    explicit operator bool() const { return m_handle != nullptr; }

    // Sets the call, a pointer to a function; null and false if the library, or those that it needs, has none
    // of this name.
    template <typename Call>
    bool Bind(const char* name, Call& call) const {
        call = std::bit_cast<Call>(Find(name));
        return call != nullptr;
    }

private:
    void* Find(const char* name) const;

    void* m_handle = nullptr;
    std::string m_file;
};

}  // namespace kvmon
