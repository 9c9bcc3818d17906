#include "shortage_hooks.h"

#include <dlfcn.h>
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

}  // namespace

void* AllocateOrNull(std::size_t size) noexcept {
    return HasNoMemory() ? nullptr : std::malloc(size != 0 ? size : 1);
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
