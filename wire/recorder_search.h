// How kvmon finds kvrecorders: a question to a group of the local network, and an answer to whoever asked.
// Both are datagrams; docs/recorder.md tells their fields.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace wire {

inline constexpr const char* kSearchGroup = "239.255.80.91";  // stays within a site
inline constexpr std::uint16_t kSearchPort = 8091;

inline constexpr std::string_view kSearchQuestion = "KVFIND1?";
inline constexpr std::string_view kSearchAnswer = "KVFIND1!";
inline constexpr std::size_t kSearchMark = 8;  // that the asker makes up, and finds in the answer
inline constexpr std::size_t kSearchMostName = 255;

// The question is filled up to this size: no answer is longer, so that who asks in another's name gains
// nothing.
inline constexpr std::size_t kSearchQuestionSize = 320;
// Word, mark, port with the high byte first, length of the name, name.
inline constexpr std::size_t kSearchMostAnswer = kSearchAnswer.size() + kSearchMark + 2 + 1 + kSearchMostName;
static_assert(kSearchMostAnswer <= kSearchQuestionSize);

}  // namespace wire
