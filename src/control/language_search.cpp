#include "control/language_search.h"

#include <QLocale>
#include <algorithm>
#include <iterator>
#include <memory>
#include <optional>
#include <string_view>
#include <utility>
#include <vector>

#include "console/dialogs/toolkit_language.h"
#include "persist/language_module.h"
#include "persist/log_file.h"
#include "persist/string_table.h"

namespace kvmon {

namespace {

struct Locale {
    std::string_view name;  // the beginning of a locale's name
    std::uint16_t langid;
};

// The longer names first.
constexpr Locale kLocales[] = {
    {"zh_Hant", 0x0404}, {"zh_TW", 0x0404}, {"zh_HK", 0x0404}, {"zh_MO", 0x0404}, {"zh", 0x0804},
    {"pt_BR", 0x0416},   {"pt", 0x0816},    {"en", 0x0409},    {"ja", 0x0411},    {"pl", 0x0415},
    {"fr", 0x040C},      {"de", 0x0407},    {"it", 0x0410},    {"ru", 0x0419},    {"da", 0x0406},
    {"fi", 0x040B},      {"es", 0x0C0A},    {"nb", 0x0814},    {"nn", 0x0814},    {"no", 0x0814},
    {"ko", 0x0412},      {"nl", 0x0413},    {"sv", 0x041D},    {"hu", 0x040E},    {"cs", 0x0405},
    {"tr", 0x041F},
};

}  // namespace

std::uint16_t LanguageOfLocale(const std::string& name) {
    const auto found = std::find_if(std::begin(kLocales), std::end(kLocales), [&name](const Locale& locale) {
        return name.starts_with(locale.name) &&
               (name.size() == locale.name.size() || name[locale.name.size()] == '_');
    });
    return found != std::end(kLocales) ? found->langid : std::uint16_t{0};
}

std::uint16_t UserLanguage() {
    return LanguageOfLocale(QLocale::system().name().toStdString());
}

std::uint16_t LoadLanguage(std::uint16_t wanted) {
    const std::vector<LanguageModuleFile> files = ListLanguageModules(LanguageModuleFolders());
    for (const LanguageModuleFile& file : files) {
        Trace("CSetLangDlg::GetAvailableLanguages: finder.GetFilePath()=%s, wLanguageID=0x%04x...\n",
              file.path.c_str(), file.langid);
    }
    const auto choice = ChooseLanguageModule(files, wanted, UserLanguage());
    auto module = choice ? LoadLanguageModule(files[*choice].path) : std::nullopt;
    if (!module) {
        UnloadLanguage();
        return 0;
    }
    const std::uint16_t langid = module->langid;
    UseLanguageModule(std::make_shared<const LanguageModule>(std::move(*module)));
    UseToolkitLanguage(langid);
    return langid;
}

void UnloadLanguage() {
    UseLanguageModule(nullptr);
    UseToolkitLanguage(0);
}

}  // namespace kvmon
