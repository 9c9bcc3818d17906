#include "torture/faults.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <link.h>
#include <sys/mman.h>
#include <unistd.h>
#include <unwind.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

extern "C" __attribute__((weak)) void __sanitizer_print_stack_trace();

namespace torture {

namespace {

enum Module : unsigned { kOther = 0, kProgram, kStandard, kReporting, kSelf };

struct Range {
    std::uintptr_t begin;
    std::uintptr_t end;
    std::uintptr_t base;
    Module module;
    unsigned rule;  // the line in kRules, for kReporting
};

// Libraries whose own calls of a class may fail: they report it to us, or to whoever reports it to us.
struct Rule {
    const char* library;
    unsigned classes;
};

constexpr unsigned Bit(Class c) {
    return 1u << static_cast<unsigned>(c);
}

constexpr Rule kRules[] = {
    {"libsqlite3.", Bit(Class::LibraryMemory) | Bit(Class::File)},
    {"libjpeg.", Bit(Class::LibraryMemory)},
    {"libavutil.", Bit(Class::LibraryMemory)},
    {"libavcodec.", Bit(Class::LibraryMemory) | Bit(Class::Thread)},
    {"libavformat.", Bit(Class::LibraryMemory) | Bit(Class::File)},
    {"libswscale.", Bit(Class::LibraryMemory)},
    {"libcurl", Bit(Class::LibraryMemory) | Bit(Class::Socket) | Bit(Class::Thread)},
    {"libQt6Core.", Bit(Class::File)},
    {"libQt6XcbQpa.", Bit(Class::Display)},
    {"libX11.", Bit(Class::Display)},
};

constexpr int kMaxRanges = 512;
constexpr int kDepth = 24;

// Only grows: what looks on while a library comes in sees those before it.
Range ranges[kMaxRanges];
std::atomic<int> rangeCount{0};
std::atomic<unsigned long long> modulesSeen{0};
std::atomic_flag bAdding = ATOMIC_FLAG_INIT;
TortureRecord* record = nullptr;
std::atomic<bool> armed{false};
bool bBySite = false;
bool bTrace = false;
unsigned chosenClass = kClasses;
std::uint64_t chosenSite = 0;
std::uint64_t first = 0;
std::uint64_t last = 0;
thread_local bool bInside = false;

const Range* Find(std::uintptr_t address);

int AddModule(dl_phdr_info* info, std::size_t, void* count) {
    int& number = *static_cast<int*>(count);
    const char* const slash = std::strrchr(info->dlpi_name, '/');
    const char* const name = slash != nullptr ? slash + 1 : info->dlpi_name;
    Range range{0, 0, info->dlpi_addr, kOther, 0};
    if (number++ == 0) {
        range.module = kProgram;
        modulesSeen = info->dlpi_adds;
    } else if (std::strncmp(name, "libstdc++.", 10) == 0) {
        range.module = kStandard;
    } else if (std::strncmp(name, "libkvtorture", 12) == 0 || std::strncmp(name, "libasan.", 8) == 0) {
        range.module = kSelf;
    } else {
        for (unsigned i = 0; i < std::size(kRules); ++i) {
            if (std::strncmp(name, kRules[i].library, std::strlen(kRules[i].library)) == 0) {
                range.module = kReporting;
                range.rule = i;
            }
        }
    }
    for (int i = 0; i < info->dlpi_phnum && range.module != kOther && rangeCount < kMaxRanges; ++i) {
        const auto& part = info->dlpi_phdr[i];
        if (part.p_type == PT_LOAD && (part.p_flags & PF_X) != 0) {
            range.begin = info->dlpi_addr + part.p_vaddr;
            range.end = range.begin + part.p_memsz;
            if (Find(range.begin) == nullptr) {
                ranges[rangeCount] = range;
                ++rangeCount;
            }
        }
    }
    return 0;
}

void AddModules() {
    int number = 0;
    ::dl_iterate_phdr(AddModule, &number);
}

// The toolkit loads what speaks to a display when it starts.
void AddLaterModules() {
    unsigned long long present = 0;
    ::dl_iterate_phdr(
        [](dl_phdr_info* info, std::size_t, void* seen) {
            *static_cast<unsigned long long*>(seen) = info->dlpi_adds;
            return 1;
        },
        &present);
    if (present != modulesSeen && !bAdding.test_and_set()) {
        AddModules();
        bAdding.clear();
    }
}

const Range* Find(std::uintptr_t address) {
    for (int i = 0; i < rangeCount; ++i) {
        if (address >= ranges[i].begin && address < ranges[i].end) {
            return &ranges[i];
        }
    }
    return nullptr;
}

bool MayReport(const Range& range, Class callClass) {
    return range.module == kProgram ||
           (range.module == kReporting && (kRules[range.rule].classes & Bit(callClass)) != 0);
}

struct Walk {
    Class callClass;
    int frames = 0;
    int kept = 0;
    bool bOurs = false;
    bool bDecided = false;
    std::uint64_t offsets[kFrames] = {};
    std::uint64_t key = 1469598103934665603u + static_cast<std::uint64_t>(callClass);
};

_Unwind_Reason_Code Step(_Unwind_Context* context, void* data) {
    Walk& walk = *static_cast<Walk*>(data);
    const std::uintptr_t address = _Unwind_GetIP(context);
    const Range* const range = Find(address - 1);
    if (++walk.frames > kDepth || address == 0) {
        return _URC_END_OF_STACK;
    }
    if (range != nullptr && (range->module == kSelf || range->module == kStandard)) {
        return _URC_NO_REASON;
    }
    const bool bMay = range != nullptr && MayReport(*range, walk.callClass);
    if (!walk.bDecided) {
        walk.bDecided = true;
        walk.bOurs = bMay;
    }
    if (!walk.bOurs) {
        return _URC_END_OF_STACK;
    }
    if (bMay) {
        const std::uint64_t offset = address - range->base;
        walk.offsets[walk.kept++] = range->module == kProgram ? offset : 0;
        walk.key = (walk.key ^ offset) * 1099511628211u;
    }
    return walk.kept == kFrames ? _URC_END_OF_STACK : _URC_NO_REASON;
}

void CountSite(const Walk& walk, std::uint32_t& count) {
    for (std::uint32_t i = 0; i < kSites; ++i) {
        Site& site = record->sites[(walk.key + i) % kSites];
        std::uint64_t empty = 0;
        if (site.key.compare_exchange_strong(empty, walk.key) || empty == walk.key) {
            site.callClass = static_cast<std::uint32_t>(walk.callClass);
            count = ++site.count;
            return;
        }
    }
}

void Note(const Walk& walk, const char* name) {
    if (++record->fired == 1) {
        std::strncpy(record->firedCall, name, sizeof record->firedCall - 1);
        std::memcpy(record->firedAt, walk.offsets, sizeof walk.offsets);
    }
    if (bTrace && __sanitizer_print_stack_trace != nullptr) {
        std::fprintf(stderr, "torture: %s fails\n", name);
        __sanitizer_print_stack_trace();
    }
}

// CLASS[@SITE]:N[:TIMES]
void Choose(const char* text) {
    const std::size_t length = std::strcspn(text, "@:");
    for (unsigned i = 0; i < kClasses; ++i) {
        if (std::strlen(kClassNames[i]) == length && std::strncmp(kClassNames[i], text, length) == 0) {
            chosenClass = i;
        }
    }
    char* rest = const_cast<char*>(text) + length;
    if (*rest == '@') {
        bBySite = true;
        chosenSite = std::strtoull(rest + 1, &rest, 16);
    }
    first = *rest == ':' ? std::strtoull(rest + 1, &rest, 10) : 1;
    const std::uint64_t times = *rest == ':' ? std::strtoull(rest + 1, &rest, 10) : 1;
    last = times == 0 ? ~0ull : first + times - 1;
}

__attribute__((constructor)) void Prepare() {
    const char* const told = std::getenv("KV_TORTURE");
    char program[4096] = {};
    const ssize_t length = ::readlink("/proc/self/exe", program, sizeof program - 1);
    const char* const colon = told != nullptr ? std::strchr(told, ':') : nullptr;
    if (colon == nullptr || length <= 0) {
        return;
    }
    const char* const name = std::strrchr(program, '/') + 1;
    if (std::strlen(name) != static_cast<std::size_t>(colon - told) ||
        std::strncmp(name, told, std::strlen(name)) != 0) {
        return;
    }
    if (const char* const choice = std::getenv("KV_FAIL")) {
        Choose(choice);
    } else {
        bBySite = true;  // to tell the places
    }
    bTrace = std::getenv("KV_FAIL_TRACE") != nullptr;
    const int file = ::open(colon + 1, O_RDWR | O_CLOEXEC);
    void* const memory =
        file < 0 ? MAP_FAILED
                 : ::mmap(nullptr, sizeof(TortureRecord), PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
    if (memory == MAP_FAILED) {
        return;
    }
    ::close(file);
    AddModules();
    record = static_cast<TortureRecord*>(memory);
}

int (*programMain)(int, char**, char**) = nullptr;

// What fails before main() is the loader's and the compiler's affair.
int ArmedMain(int argc, char** argv, char** environment) {
    armed = record != nullptr;
    return programMain(argc, argv, environment);
}

}  // namespace

void* FindNext(const char* name) {
    void* const found = ::dlsym(RTLD_NEXT, name);
    if (found == nullptr) {
        std::fprintf(stderr, "torture: there is no %s\n", name);
        std::_Exit(99);
    }
    return found;
}

bool Fails(Class callClass, const char* name, const void* caller) {
    if (!armed.load(std::memory_order_relaxed) || bInside) {
        return false;
    }
    const auto number = static_cast<unsigned>(callClass);
    if (chosenClass != kClasses && chosenClass != number) {
        return false;
    }
    if (callClass == Class::Display) {
        AddLaterModules();
    }
    const Range* const direct = Find(reinterpret_cast<std::uintptr_t>(caller) - 1);
    // The standard library's own memory is counted where it is asked for.
    const bool bStandard =
        direct != nullptr && direct->module == kStandard && callClass != Class::LibraryMemory;
    if (direct == nullptr || (!bStandard && !MayReport(*direct, callClass))) {
        return false;
    }
    const int error = *__errno_location();
    bInside = true;
    Walk walk{callClass};
    if (bBySite || bStandard) {
        _Unwind_Backtrace(Step, &walk);
    } else {
        walk.bOurs = true;
    }
    bool bFails = false;
    if (walk.bOurs) {
        std::uint32_t count = ++record->counts[number];
        bool bMatch = true;
        if (bBySite) {
            bMatch = chosenSite == 0 || walk.key == chosenSite;
            if (bMatch) {
                CountSite(walk, count);
            }
        }
        bFails = chosenClass != kClasses && bMatch && count >= first && count <= last;
        if (bFails) {
            if (!bBySite) {
                walk = Walk{callClass};
                _Unwind_Backtrace(Step, &walk);
            }
            Note(walk, name);
        }
    }
    bInside = false;
    *__errno_location() = error;
    return bFails;
}

}  // namespace torture

using Main = int (*)(int, char**, char**);
extern "C" __attribute__((visibility("default"))) int __libc_start_main(Main start, int argc, char** argv,
                                                                        void (*init)(), void (*fini)(),
                                                                        void (*loader)(), void* stack) {
    using Start = int (*)(Main, int, char**, void (*)(), void (*)(), void (*)(), void*);
    torture::programMain = start;
    return reinterpret_cast<Start>(torture::FindNext("__libc_start_main"))(torture::ArmedMain, argc, argv,
                                                                           init, fini, loader, stack);
}
