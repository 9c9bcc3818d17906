#include "stream_lies.h"

#include <algorithm>
#include <cstdint>

#include "wire/frame_header.h"

namespace hostile {

namespace {

constexpr std::uint32_t kVideoCodes[] = {wire::kZIVG, wire::kZMP4, wire::kAVM4, wire::kZ264, wire::kZXPG,
                                         wire::kZV7K, wire::kZV6K, wire::kZV3K, 0x41414141u};
constexpr std::uint32_t kSoundCodes[] = {wire::kG726, wire::kZ726, wire::kG711, wire::kA711,
                                         wire::kPCM,  wire::kFAAC, wire::kF729, 0x42424242u};
constexpr std::uint32_t kNumbers[] = {0, 1, 2, 8, 15, 16, 352, 65535, 0x7FFFFFFFu, 0x80000000u, 0xFFFFFFFFu};

void SetWord(std::string& record, std::size_t offset, std::uint32_t word) {
    for (std::size_t i = 0; i < 4 && offset + i < record.size(); ++i) {
        record[offset + i] = static_cast<char>(word >> 8 * i);
    }
}

void SpoilBytes(std::string& bytes, std::size_t from, std::size_t times, Dice& dice) {
    for (std::size_t i = 0; i < times && from < bytes.size(); ++i) {
        bytes[from + dice.Below(bytes.size() - from)] = static_cast<char>(dice.Next());
    }
}

std::string Size(std::string record, Dice& dice) {
    const auto size = static_cast<std::uint32_t>(record.size() - wire::kFrameHeaderSize);
    const std::uint32_t sizes[] = {0,       size - 1, size + 1,    size + 5000,
                                   1 << 20, 15 << 20, 0x7FFFFFFFu, 0xFFFFFFFFu};
    SetWord(record, wire::kDataSizeOffset, dice.Of(sizes));
    return record;
}

std::string Code(std::string record, Dice& dice) {
    SetWord(record, wire::kFourccOffset, dice.OneIn(4) ? dice.Of(kSoundCodes) : dice.Of(kVideoCodes));
    return record;
}

std::string Key(std::string record, Dice& dice) {
    SetWord(record, wire::kKeyFlagOffset, dice.Of(kNumbers));
    return record;
}

std::string PictureSize(std::string record, Dice& dice) {
    SetWord(record, wire::kWidthOffset, dice.Of(kNumbers));
    SetWord(record, wire::kHeightOffset, dice.Of(kNumbers));
    return record;
}

std::string Reserved(std::string record, Dice& dice) {
    SetWord(record, wire::kReservedOffset, dice.Of(kNumbers));
    return record;
}

std::string Bits(std::string record, Dice& dice) {
    SpoilBytes(record, wire::kFrameHeaderSize, 1 + dice.Below(50), dice);
    return record;
}

std::string Filled(std::string record, Dice& dice) {
    SpoilBytes(record, wire::kFrameHeaderSize, record.size(), dice);
    return record;
}

std::string AnyByte(std::string record, Dice& dice) {
    SpoilBytes(record, 0, 1 + dice.Below(4), dice);
    return record;
}

std::string Twice(std::string record, Dice&) {
    return record + record;
}

std::string LeftOut(std::string, Dice&) {
    return {};
}

std::string Short(std::string record, Dice& dice) {
    return record.substr(0, dice.Below(record.size()));
}

// A record of sound before the picture's.
std::string Sound(std::string record, Dice& dice) {
    constexpr std::uint32_t kSizes[] = {0, 7, 8, 88, 4008, 100'000};
    const std::uint32_t size = dice.Of(kSizes);
    std::string sound(wire::kFrameHeaderSize + std::max(size, 8u), '\x55');
    SetWord(sound, wire::kFourccOffset, dice.Of(kSoundCodes));
    SetWord(sound, wire::kReservedOffset, wire::kAudioReserved);
    SetWord(sound, wire::kDataSizeOffset, size);
    SetWord(sound, wire::kFrameHeaderSize, dice.OneIn(2) ? 8000 : dice.Of(kNumbers));
    SetWord(sound, wire::kFrameHeaderSize + 4, dice.OneIn(2) ? 0x10010 : dice.Of(kNumbers));
    sound.resize(wire::kFrameHeaderSize + size);
    return sound + record;
}

constexpr std::string (*kLies[])(std::string, Dice&) = {
    Size, Size,   Code,    Key,   PictureSize, Reserved, Bits,  Bits,
    Bits, Filled, AnyByte, Twice, LeftOut,     Short,    Sound,
};

}  // namespace

std::string RecordLiar::Tell(std::string record) {
    if (m_dice.OneIn(8)) {
        // It comes behind its follower.
        std::swap(record, m_late);
        return record;
    }
    std::string told = m_dice.OneIn(3) ? std::move(record) : m_dice.Of(kLies)(std::move(record), m_dice);
    told += m_late;
    m_late.clear();
    return told;
}

std::string TellPart(std::string bytes, Dice& dice) {
    const auto replaceNumber = [&](const char* word) {
        const std::size_t at = bytes.find(word);
        if (at != std::string::npos) {
            const std::size_t from = bytes.find_first_of("0123456789", at);
            const std::size_t end = std::min(bytes.find_first_not_of("0123456789", from), bytes.size());
            if (from != std::string::npos) {
                bytes.replace(from, end - from, std::to_string(static_cast<std::int32_t>(dice.Of(kNumbers))));
            }
        }
    };
    switch (dice.Below(6)) {
        case 0:
            replaceNumber("ontent-");
            break;
        case 1:
            SpoilBytes(bytes, 0, 1 + dice.Below(20), dice);
            break;
        case 2:
            return bytes.substr(dice.Below(bytes.size() + 1));
        case 3:
            return bytes + bytes;
        default:
            break;
    }
    return bytes;
}

}  // namespace hostile
