#include "allocation_count.h"

#include <dlfcn.h>
#include <link.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <new>

// The C library's own entries, which the functions below stand in front of.
extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* memory, std::size_t size);
void* __libc_memalign(std::size_t alignment, std::size_t size);
}

namespace kvbench {

namespace {

enum Owner { kCodec, kScaling, kOther, kOwners };

struct Library {
    std::uintptr_t begin = 0;
    std::uintptr_t end = 0;
    Owner owner = kOther;
};

struct KnownName {
    const char* part;
    Owner owner;
};

constexpr KnownName kKnownNames[] = {
    {"libavcodec", kCodec}, {"libavutil", kCodec}, {"libjpeg", kCodec}, {"libyuv", kScaling}};

std::array<Library, 16> libraries;
std::size_t libraryCount = 0;
std::atomic<bool> counting{false};
std::array<std::atomic<std::uint64_t>, kOwners> counts;

int NoteLibrary(dl_phdr_info* info, std::size_t /*size*/, void* /*data*/) {
    for (const KnownName& known : kKnownNames) {
        if (std::strstr(info->dlpi_name, known.part) == nullptr || libraryCount == libraries.size()) {
            continue;
        }
        Library& library = libraries[libraryCount++];
        library = {UINTPTR_MAX, 0, known.owner};
        for (int i = 0; i < info->dlpi_phnum; ++i) {
            const auto& segment = info->dlpi_phdr[i];
            if (segment.p_type == PT_LOAD) {
                const std::uintptr_t begin = info->dlpi_addr + segment.p_vaddr;
                library.begin = begin < library.begin ? begin : library.begin;
                library.end = begin + segment.p_memsz > library.end ? begin + segment.p_memsz : library.end;
            }
        }
    }
    return 0;
}

void Note(const void* caller) {
    if (!counting.load(std::memory_order_relaxed)) {
        return;
    }
    const auto address = reinterpret_cast<std::uintptr_t>(caller);
    Owner owner = kOther;
    for (std::size_t i = 0; i < libraryCount; ++i) {
        if (address >= libraries[i].begin && address < libraries[i].end) {
            owner = libraries[i].owner;
        }
    }
    counts[owner].fetch_add(1, std::memory_order_relaxed);
}

}  // namespace

void StartCounting() {
    if (libraryCount == 0) {
        dl_iterate_phdr(NoteLibrary, nullptr);
    }
    for (auto& count : counts) {
        count = 0;
    }
    counting = true;
}

AllocationCount StopCounting() {
    counting = false;
    return {counts[kCodec], counts[kScaling], counts[kOther]};
}

}  // namespace kvbench

extern "C" {

void* malloc(std::size_t size) {
    kvbench::Note(__builtin_return_address(0));
    return __libc_malloc(size);
}

void* calloc(std::size_t count, std::size_t size) {
    kvbench::Note(__builtin_return_address(0));
    return __libc_calloc(count, size);
}

void* realloc(void* memory, std::size_t size) {
    kvbench::Note(__builtin_return_address(0));
    return __libc_realloc(memory, size);
}

void* memalign(std::size_t alignment, std::size_t size) {
    kvbench::Note(__builtin_return_address(0));
    return __libc_memalign(alignment, size);
}

void* aligned_alloc(std::size_t alignment, std::size_t size) {
    kvbench::Note(__builtin_return_address(0));
    return __libc_memalign(alignment, size);
}

int posix_memalign(void** memory, std::size_t alignment, std::size_t size) {
    kvbench::Note(__builtin_return_address(0));
    *memory = __libc_memalign(alignment, size);
    return *memory != nullptr ? 0 : ENOMEM;
}

}  // extern "C"
