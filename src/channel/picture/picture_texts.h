// The texts over a channel's picture: the caption in its middle and the lines of information.
#pragma once

#include <array>
#include <cstdint>
#include <string>

#include "channel/picture/captions.h"

namespace kvmon {

// Information lines: the index of a line, its mask bit is 1 << index.
enum class SubString {
    DigitalZoom = 0,
    FrameRate = 1,
    FrameCount = 2,
    View = 3,
    Stream = 4,
    Draw = 5,
    FixSize = 6,
    StreamFrom = 7,
    SysInfoFrom = 8,
    PtzCmdTo = 9,
    FrameType = 10,
    Deinterlace = 11,
    BitRate = 12,
    Codec = 13,
    Age = 14,
    Dropped = 15,
    Jitter = 16,
};
inline constexpr int kSubStringCount = 17;
inline constexpr std::uint32_t kDefaultOsdColor = 0x004891E5;  // red in the low byte

// How long a caption of the camera stays.
enum class CaptionStay {
    UntilPicture,  // it stands until the next picture
    ForAWhile,     // it covers the standing one until an empty text takes it away
};

// A plain value. What sets a part of it gives true when that is new.
class PictureTexts {
public:
    bool SetRecorderCaption(const std::string& text) { return Set(m_recorder, text); }
    bool SetCameraCaption(const std::string& text, CaptionStay stay);
    // The next picture has come. What stands for a while goes on.
    bool CleanCameraCaption() { return Set(m_camera, std::string()); }
    bool SetLine(SubString line, const std::string& text) { return Set(m_lines[Index(line)], text); }
    bool SetMask(std::uint32_t mask) { return Set(m_mask, mask); }
    bool SetColor(std::uint32_t color) { return Set(m_color, color); }

    // The recorder's caption goes before the camera's.
    const std::string& GetCaption() const;
    const std::string& GetLine(SubString line) const { return m_lines[Index(line)]; }
    std::uint32_t GetMask() const { return m_mask; }
    std::uint32_t GetColor() const { return m_color; }
    bool IsShown(SubString line) const;  // its bit is set, or the debug switch is on

    // What is to be seen of a version of the texts.
    struct Seen {
        CaptionTexts texts;
        std::uint64_t age = ~std::uint64_t{0};
        std::uint32_t mask = 0;
    };
    void Update(Seen& seen) const;

private:
    static constexpr std::size_t Index(SubString line) { return static_cast<std::size_t>(line); }
    template <typename Value>
    bool Set(Value& place, const Value& value) {
        if (place == value) {
            return false;
        }
        place = value;
        ++m_age;
        return true;
    }

    std::string m_recorder;
    std::string m_camera;
    std::string m_forAWhile;  // over the camera's
    std::array<std::string, kSubStringCount> m_lines;
    std::uint32_t m_mask = 0;
    std::uint32_t m_color = kDefaultOsdColor;
    std::uint64_t m_age = 0;  // counts the changes
};

}  // namespace kvmon
