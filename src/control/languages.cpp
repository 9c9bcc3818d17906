#include "control/languages.h"

#include <algorithm>
#include <iterator>

namespace kvmon {

namespace {

struct LanguageRow {
    int number;
    std::uint16_t langid;
    const char* suffix;
};

constexpr LanguageRow kLanguageRows[] = {
    {0, 0x0409, "eng"},  {1, 0x0404, "cht"},  {2, 0x0804, "chs"},  {3, 0x0411, "jpn"},  {4, 0x0415, "pol"},
    {5, 0x040C, "fre"},  {6, 0x0407, "ger"},  {7, 0x0410, "ita"},  {8, 0x0419, "rus"},  {9, 0x0406, "dan"},
    {10, 0x040B, "fin"}, {11, 0x0C0A, "spa"}, {12, 0x0814, "nor"}, {13, 0x0412, "kor"}, {14, 0x0413, "dut"},
    {15, 0x041D, "swe"}, {16, 0x0816, "por"}, {17, 0x0416, "por"}, {18, 0x040E, "hun"}, {19, 0x0405, "csy"},
    {20, 0x041F, "trk"},
};

static_assert(std::size(kLanguageRows) == kLanguageCount);

constexpr int kPrimaryChinese = 4;
constexpr int kPrimaryPortuguese = 22;

constexpr int Primary(std::uint16_t langid) {
    return langid & 0x3FF;
}

constexpr int Sub(std::uint16_t langid) {
    return langid >> 10;
}

const LanguageRow* FindPrimary(int primary) {
    const LanguageRow* const row = std::find_if(
        std::begin(kLanguageRows), std::end(kLanguageRows),
        [primary](const LanguageRow& candidate) { return Primary(candidate.langid) == primary; });
    return row != std::end(kLanguageRows) ? row : nullptr;
}

}  // namespace

std::uint16_t LanguageFromNumber(int number) {
    const LanguageRow* const row =
        std::find_if(std::begin(kLanguageRows), std::end(kLanguageRows),
                     [number](const LanguageRow& candidate) { return candidate.number == number; });
    return row != std::end(kLanguageRows) ? row->langid : kLanguageEnglish;
}

int NumberFromLanguage(std::uint16_t langid) {
    const int primary = Primary(langid);
    if (primary < 4 || primary > 31) {
        return 0;
    }
    if (primary == kPrimaryChinese) {
        return Sub(langid) == 1 ? 1 : Sub(langid) == 2 ? 2 : 0;
    }
    if (primary == kPrimaryPortuguese) {
        return Sub(langid) == 1 ? 17 : 16;
    }
    const LanguageRow* const row = FindPrimary(primary);
    return row != nullptr ? row->number : 0;
}

const char* HelpSuffix(std::uint16_t langid) {
    const int primary = Primary(langid);
    if (primary == kPrimaryChinese) {
        return Sub(langid) == 2 ? "chs" : "cht";
    }
    const LanguageRow* const row = FindPrimary(primary);
    return row != nullptr ? row->suffix : "eng";
}

}  // namespace kvmon
