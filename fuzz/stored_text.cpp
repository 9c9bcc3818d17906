// Files of text that a site's own hands may have made: language modules, and settings as an ini file. The
// first byte chooses.
#include "fuzz_input.h"
#include "persist/ini_text.h"
#include "persist/language_module.h"
#include "platform/text.h"

using namespace kvmon;
using kvfuzz::Check;

namespace {

void ReadModule(std::string_view text) {
    if (const auto module = ParseLanguageModule(text)) {
        Check(module->langid != 0);
        for (const auto& [id, display] : module->texts) {
            Check(!display.empty() && IsValidUtf8(display));
        }
    }
}

void ReadIni(std::string_view text) {
    std::vector<IniEntry> entries = ParseIni(text);
    std::stable_sort(entries.begin(), entries.end(),
                     [](const IniEntry& a, const IniEntry& b) { return a.section < b.section; });
    Check(ParseIni(FormatIni(entries)) == entries);
}

// What may be kept reads back as it was, and as nothing beside it.
void KeepIni(kvfuzz::Input input) {
    const std::string section = input.Text(input.Byte() % 32);
    const std::string name = input.Text(input.Byte() % 32);
    const std::string value = KeptIniValue(input.RestText());
    if (CanIniKeep(section, name)) {
        const auto entries = ParseIni(FormatIni({{section, name, value}}));
        Check(entries.size() == 1 && entries[0].section == section && entries[0].name == name);
        Check(value.find(entries[0].value) != std::string::npos);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    kvfuzz::Input input(data, size);
    switch (input.Byte() % 3) {
        case 0:
            ReadModule(input.RestText());
            break;
        case 1:
            ReadIni(input.RestText());
            break;
        default:
            KeepIni(input);
    }
    return 0;
}
