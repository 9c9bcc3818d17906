#include "console/dialogs/set_lang_dlg.h"

#include <QtWidgets/QComboBox>
#include <QtWidgets/QDialogButtonBox>
#include <QtWidgets/QFormLayout>
#include <algorithm>

#include "console/dialogs/dialog_parts.h"
#include "persist/language_module.h"
#include "persist/log_file.h"
#include "persist/string_table.h"
#include "platform/text.h"

namespace kvmon {

namespace {

// One language in several countries.
constexpr struct {
    std::uint16_t langid;
    std::uint32_t text;
} kNamed[] = {{1046, 3017}, {2070, 3016}, {3082, 3011}};

// The languages by their own names.
constexpr struct {
    std::uint16_t langid;
    const char* name;
} kNativeNames[] = {
    {0x0409, "English"}, {0x0404, "中文(台灣)"}, {0x0804, "中文(中国)"}, {0x0411, "日本語"},
    {0x0415, "polski"},  {0x040C, "français"},   {0x0407, "Deutsch"},    {0x0410, "italiano"},
    {0x0419, "русский"}, {0x0406, "dansk"},      {0x040B, "suomi"},      {0x0814, "norsk"},
    {0x0412, "한국어"},  {0x0413, "Nederlands"}, {0x041D, "svenska"},    {0x040E, "magyar"},
    {0x0405, "čeština"}, {0x041F, "Türkçe"},
};

}  // namespace

std::string LanguageName(std::uint16_t langid) {
    for (const auto& row : kNamed) {
        if (row.langid == langid) {
            return LoadString(row.text);
        }
    }
    for (const auto& row : kNativeNames) {
        if (row.langid == langid) {
            return row.name;
        }
    }
    return FormatText("%u - ???", static_cast<unsigned>(langid));
}

CSetLangDlg::CSetLangDlg(const std::vector<std::uint16_t>& languages, std::uint16_t current, QWidget* parent)
    : QDialog(parent), m_combo(new QComboBox(this)) {
    setObjectName(QStringLiteral("languageDialog"));
    setWindowTitle(Text(6205));
    m_combo->setObjectName(QStringLiteral("901"));
    m_combo->setAccessibleName(Text(6123));
    m_combo->setSizeAdjustPolicy(QComboBox::AdjustToContents);
    for (const std::uint16_t langid : languages) {
        m_combo->addItem(QString::fromStdString(LanguageName(langid)), langid);
    }
    m_combo->setCurrentIndex(m_combo->findData(current));
    m_combo->setEnabled(m_combo->count() >= 2);

    auto* const form = new QFormLayout(this);
    form->setContentsMargins(20, 18, 20, 16);
    form->setVerticalSpacing(18);
    form->setHorizontalSpacing(14);
    form->addRow(Text(6123), m_combo);
    form->addRow(AddDialogButtons(*this));
}

std::vector<std::uint16_t> CSetLangDlg::GetAvailableLanguages() {
    std::vector<std::uint16_t> languages;
    for (const LanguageModuleFile& file : ListLanguageModules(LanguageModuleFolders())) {
        Trace("CSetLangDlg::GetAvailableLanguages: finder.GetFilePath()=%s, nLanguageID=0x%04x...\n",
              file.path.c_str(), file.langid);
        if (file.langid != 0 &&
            std::find(languages.begin(), languages.end(), file.langid) == languages.end()) {
            languages.push_back(file.langid);
        }
    }
    return languages;
}

std::uint16_t CSetLangDlg::GetLanguage() const {
    return static_cast<std::uint16_t>(m_combo->currentIndex() >= 0 ? m_combo->currentData().toUInt() : 0);
}

}  // namespace kvmon
