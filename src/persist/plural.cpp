#include "persist/plural.h"

namespace kvmon {

namespace {

// The primary languages of language identifiers.
enum Primary : std::uint16_t {
    kChinese = 0x04,
    kCzech = 0x05,
    kFrench = 0x0C,
    kHungarian = 0x0E,
    kJapanese = 0x11,
    kKorean = 0x12,
    kPolish = 0x15,
    kPortuguese = 0x16,
    kRussian = 0x19,
    kTurkish = 0x1F,
};
constexpr std::uint16_t kPrimaryLanguageMask = 0x3FF;
constexpr std::uint16_t kPortugueseBrazil = 0x0416;

bool IsFew(std::uint64_t number) {
    const std::uint64_t last = number % 10;
    const std::uint64_t lastTwo = number % 100;
    return last >= 2 && last <= 4 && (lastTwo < 12 || lastTwo > 14);
}

}  // namespace

std::size_t PluralForm(std::uint16_t language, std::uint64_t number) {
    const std::size_t one = number == 1 ? 0 : 1;
    switch (language & kPrimaryLanguageMask) {
        case kChinese:
        case kHungarian:
        case kJapanese:
        case kKorean:
        case kTurkish:
            return 0;  // a noun stays as it is behind a number
        case kFrench:
            return number < 2 ? 0 : 1;
        case kPortuguese:
            return language == kPortugueseBrazil && number == 0 ? 0 : one;
        case kCzech:
            return number >= 2 && number <= 4 ? 1 : 2 * one;
        case kPolish:
            return IsFew(number) ? 1 : 2 * one;
        case kRussian:
            return IsFew(number) ? 1 : number % 10 == 1 && number % 100 != 11 ? 0 : 2;
        default:
            return one;
    }
}

}  // namespace kvmon
