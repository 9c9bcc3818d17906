// A system that has no more memory or threads, for chosen threads of this program.
#pragma once

#include <cstdint>

namespace kvtest {

// While it lives, operator new fails on all threads of this name.
class NoMemoryOn {
public:
    explicit NoMemoryOn(const char* threadName);
    ~NoMemoryOn();
    NoMemoryOn(const NoMemoryOn&) = delete;
    NoMemoryOn& operator=(const NoMemoryOn&) = delete;

    // How often it has failed.
    static std::uint64_t Failures();
};

// While it lives, of what this program's own code asks of operator new on the thread that made it, and while
// `inside` tells true, the n-th fails, counted from 1; 0: none. With a size only requests for so many bytes
// count.
class OneNewFails {
public:
    OneNewFails(std::uint64_t n, bool (*inside)(), std::size_t size = 0);
    ~OneNewFails();
    OneNewFails(const OneNewFails&) = delete;
    OneNewFails& operator=(const OneNewFails&) = delete;

    // How often it was asked.
    static std::uint64_t Asked();
};

// While it lives, the thread that made it can start no other.
class NoThreads {
public:
    NoThreads();
    ~NoThreads();
    NoThreads(const NoThreads&) = delete;
    NoThreads& operator=(const NoThreads&) = delete;

    static std::uint64_t Failures();
};

}  // namespace kvtest
