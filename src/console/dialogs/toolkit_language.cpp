#include "console/dialogs/toolkit_language.h"

#include <QtCore/QLibraryInfo>
#include <QtCore/QLocale>
#include <QtCore/QTranslator>
#include <QtGui/QFontDatabase>
#include <QtWidgets/QApplication>
#include <algorithm>
#include <cstring>
#include <iterator>

#include "console/dialogs/dialog_parts.h"

namespace kvmon {

namespace {

// The toolkit has no words in some languages; then those of a near one are taken.
constexpr struct {
    std::uint16_t langid;
    const char* locale;
    const char* words;
} kLocales[] = {
    {0x0409, "en_US", "en"}, {0x0404, "zh_TW", "zh_TW"}, {0x0804, "zh_CN", "zh_CN"},
    {0x0411, "ja_JP", "ja"}, {0x0415, "pl_PL", "pl"},    {0x040C, "fr_FR", "fr"},
    {0x0407, "de_DE", "de"}, {0x0410, "it_IT", "it"},    {0x0419, "ru_RU", "ru"},
    {0x0406, "da_DK", "da"}, {0x040B, "fi_FI", "fi"},    {0x0C0A, "es_ES", "es"},
    {0x0814, "nb_NO", "nn"}, {0x0412, "ko_KR", "ko"},    {0x0413, "nl_NL", "nl"},
    {0x041D, "sv_SE", "sv"}, {0x0816, "pt_PT", "pt_BR"}, {0x0416, "pt_BR", "pt_BR"},
    {0x040E, "hu_HU", "hu"}, {0x0405, "cs_CZ", "cs"},    {0x041F, "tr_TR", "tr"},
};

// The toolkit's words that a user meets here have texts of ours, so that they are the same in all dialogs and
// also stand where the toolkit's translations are not installed.
constexpr struct {
    const char* context;
    const char* words;
    std::uint32_t text;
} kOwn[] = {
    {"QPlatformTheme", "OK", 6120},          {"QPlatformTheme", "Cancel", 6121},
    {"QPlatformTheme", "Close", 6408},       {"QPlatformTheme", "Save", 6405},
    {"QFileDialog", "Look in:", 6302},       {"QFileDialog", "File &name:", 6303},
    {"QFileDialog", "Files of type:", 6304}, {"QFileDialog", "Directory:", 6112},
    {"QFileDialog", "&Save", 6405},          {"QFileDialog", "&Choose", 6120},
    {"QFileSystemModel", "Name", 6130},      {"QFileSystemModel", "Size", 6305},
    {"QFileSystemModel", "Type", 6306},      {"QFileSystemModel", "Date Modified", 6307},
};

// Chinese, Japanese and Korean write the same character in different shapes: the font decides.
constexpr struct {
    std::uint16_t langid;
    const char* family;
} kFamilies[] = {
    {0x0404, "Noto Sans CJK TC"},    {0x0404, "AR PL UMing TW"},   {0x0804, "Noto Sans CJK SC"},
    {0x0804, "WenQuanYi Micro Hei"}, {0x0411, "Noto Sans CJK JP"}, {0x0411, "IPAPGothic"},
    {0x0412, "Noto Sans CJK KR"},    {0x0412, "NanumGothic"},
};

class ToolkitWords final : public QTranslator {
public:
    explicit ToolkitWords(const char* language) {
        // Without them our own words stay.
        [[maybe_unused]] const bool bFound = m_rest.load(QStringLiteral("qtbase_") + QLatin1String(language),
                                                         QLibraryInfo::path(QLibraryInfo::TranslationsPath));
    }

    QString translate(const char* context, const char* words, const char* note, int n) const override {
        const auto* const own = std::find_if(std::begin(kOwn), std::end(kOwn), [&](const auto& row) {
            return std::strcmp(row.context, context) == 0 && std::strcmp(row.words, words) == 0;
        });
        return own != std::end(kOwn) ? Text(own->text) : m_rest.translate(context, words, note, n);
    }
    bool isEmpty() const override { return false; }

private:
    QTranslator m_rest;
};

void UseFont(std::uint16_t langid) {
    static const QFont plain = QApplication::font();
    QFont font = plain;
    QStringList families{plain.family()};
    const QStringList installed = QFontDatabase::families();
    for (const auto& row : kFamilies) {
        if (row.langid == langid && installed.contains(QLatin1String(row.family))) {
            families << QLatin1String(row.family);
        }
    }
    font.setFamilies(families);
    if (QApplication::font() != font) {
        QApplication::setFont(font);
    }
}

}  // namespace

void UseToolkitLanguage(std::uint16_t langid) {
    if (qobject_cast<QApplication*>(QCoreApplication::instance()) == nullptr) {
        return;
    }
    static ToolkitWords* words = nullptr;
    delete words;  // its destructor removes it from the application
    words = nullptr;
    const auto* const row = std::find_if(std::begin(kLocales), std::end(kLocales),
                                         [langid](const auto& known) { return known.langid == langid; });
    if (row == std::end(kLocales)) {
        QLocale::setDefault(QLocale::system());
        UseFont(0);
        return;
    }
    QLocale::setDefault(QLocale(QLatin1String(row->locale)));
    words = new ToolkitWords(row->words);
    QCoreApplication::installTranslator(words);
    UseFont(langid);
}

}  // namespace kvmon
