#include "shortage_hooks.h"

#include <dlfcn.h>
#include <link.h>
#include <pthread.h>
#include <sys/prctl.h>

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <thread>

#include "support/own_new/own_new.h"

namespace kvtest {

namespace {

std::atomic<const char*> poorThread{nullptr};
std::atomic<std::uint64_t> failedNews{0};
std::atomic<pthread_t> countedThread{};
std::uint64_t failingNew = 0;
std::uint64_t countedNews = 0;
std::size_t countedSize = 0;
bool (*isInside)() = nullptr;
std::atomic<pthread_t> refusedStarter{};
std::atomic<std::uint64_t> failedStarts{0};

bool HasNoMemory() {
    const char* const name = poorThread;
    char own[16] = {};
    if (name == nullptr || ::prctl(PR_GET_NAME, own) != 0 || std::strcmp(own, name) != 0) {
        return false;
    }
    ++failedNews;
    return true;
}

// Ours, or the standard library on our behalf: the toolkit's own needs are its own affair.
bool IsOurs(const void* caller) {
    struct Search {
        std::uintptr_t address;
        int modules = 0;
        bool bOurs = false;
    } search{reinterpret_cast<std::uintptr_t>(caller)};
    ::dl_iterate_phdr(
        [](dl_phdr_info* info, std::size_t, void* data) {
            Search& wanted = *static_cast<Search*>(data);
            const bool bProgram = wanted.modules++ == 0;
            for (int i = 0; i < info->dlpi_phnum; ++i) {
                const auto& part = info->dlpi_phdr[i];
                const std::uintptr_t begin = info->dlpi_addr + part.p_vaddr;
                if (part.p_type == PT_LOAD && wanted.address >= begin &&
                    wanted.address < begin + part.p_memsz) {
                    wanted.bOurs = bProgram || std::strstr(info->dlpi_name, "libstdc++") != nullptr;
                    return 1;
                }
            }
            return 0;
        },
        &search);
    return search.bOurs;
}

bool IsTheOne(std::size_t size, const void* caller) {
    return countedThread != pthread_t{} && countedThread == pthread_self() && isInside() &&
           (countedSize == 0 || countedSize == size) && IsOurs(caller) && ++countedNews == failingNew;
}

}  // namespace

void* AllocateOrNull(std::size_t size, const void* caller) noexcept {
    return HasNoMemory() || IsTheOne(size, caller) ? nullptr : std::malloc(size != 0 ? size : 1);
}

NoMemoryOn::NoMemoryOn(const char* threadName) {
    failedNews = 0;
    poorThread = threadName;
}

NoMemoryOn::~NoMemoryOn() {
    poorThread = nullptr;
}

std::uint64_t NoMemoryOn::Failures() {
    return failedNews;
}

OneNewFails::OneNewFails(std::uint64_t n, bool (*inside)(), std::size_t size) {
    countedSize = size;
    failingNew = n;
    countedNews = 0;
    isInside = inside;
    countedThread = pthread_self();
}

OneNewFails::~OneNewFails() {
    countedThread = pthread_t{};
}

std::uint64_t OneNewFails::Asked() {
    return countedNews;
}

NoThreads::NoThreads() {
    failedStarts = 0;
    refusedStarter = pthread_self();
}

NoThreads::~NoThreads() {
    refusedStarter = pthread_t{};
}

std::uint64_t NoThreads::Failures() {
    return failedStarts;
}

}  // namespace kvtest

// In front of the system's own.
extern "C" int pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*start)(void*),
                              void* argument) {
    using Create = int (*)(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*);
    static const auto create = reinterpret_cast<Create>(::dlsym(RTLD_NEXT, "pthread_create"));
    if (kvtest::refusedStarter != pthread_t{} && kvtest::refusedStarter == pthread_self()) {
        ++kvtest::failedStarts;
        return EAGAIN;
    }
    return create(thread, attributes, start, argument);
}
