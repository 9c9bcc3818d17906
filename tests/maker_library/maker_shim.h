// What a library that stands for a maker's three has seen, and how it is to behave.
#pragma once

#include <dlfcn.h>

#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <string>
#include <vector>

namespace kvtest {

// A packet as this library's parser takes it: 24 bytes of head, the payload, and for sound with extra bytes
// those between. Bytes 0 to 3 are the length of all but themselves, 8 and 9 the media type, 10 the head's
// size.
inline std::string MakerPacket(std::uint16_t mediaType, const std::string& payload, std::size_t extra = 0) {
    std::string packet(24, '\0');
    const auto counted = static_cast<std::uint32_t>(payload.size() + 20);
    for (int i = 0; i < 4; ++i) {
        packet[static_cast<std::size_t>(i)] = static_cast<char>(counted >> (8 * i));
    }
    packet[8] = static_cast<char>(mediaType);
    packet[9] = static_cast<char>(mediaType >> 8);
    packet[10] = 24;
    return packet + std::string(extra, '\x55') + payload;
}
// A payload that it decodes to a picture of this size and value.
inline std::string MakerPicture(int width, int height, char value) {
    return {'P', static_cast<char>(width), static_cast<char>(height), value};
}
// A packet of this media type makes the broker answer by its status callback: first with 5, then with 6.
inline constexpr std::uint16_t kMakerNoPicture = 0x7001;

struct MakerShim {
    std::mutex cs;
    std::condition_variable changed;
    // Guarded by cs.
    std::vector<std::string> calls;   // in their order, but for those of the parser
    std::vector<std::string> faults;  // arguments that were wrong
    std::string failing;              // the call that fails
    bool silent = false;              // the broker keeps its answers to itself
    int acceptedByte = 3;             // which byte 9 a packet of the 7000 series has to have
    int searched = 0;                 // packets of that series that were refused
    std::vector<std::string> sound;   // the packets of sound, head and payload

    // Puts everything back to the start.
    void Reset() {
        const std::lock_guard lock(cs);
        calls.clear();
        faults.clear();
        sound.clear();
        failing.clear();
        silent = false;
        acceptedByte = 3;
        searched = 0;
    }
    // The answers that a silent broker owes, on a thread of its own, and waits for them to be over.
    void (*answerLate)() = nullptr;
};

// Of the library in this folder, KV_MAKER_LIBRARIES; null if it is not there.
inline MakerShim* FindMakerShim(const std::string& folder) {
    void* const library = dlopen((folder + "/libAVSynchronizer.so").c_str(), RTLD_NOW | RTLD_LOCAL);
    void* const find = library != nullptr ? dlsym(library, "kv_maker_shim") : nullptr;
    return find != nullptr ? reinterpret_cast<MakerShim* (*)()>(find)() : nullptr;
}

}  // namespace kvtest
