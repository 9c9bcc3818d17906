#include "console/set_lang_dlg.h"

#include <QtCore/QLocale>
#include <QtWidgets/QComboBox>
#include <QtWidgets/QDialogButtonBox>
#include <QtWidgets/QFormLayout>
#include <QtWidgets/QPushButton>

#include "console/dialog_parts.h"
#include "persist/string_table.h"
#include "platform/text.h"

namespace kvmon {

namespace {

// Those that the platform's names do not tell apart.
constexpr struct {
    std::uint16_t langid;
    std::uint32_t text;
} kNamed[] = {{1046, 3017}, {2070, 3016}, {3082, 3011}};

constexpr struct {
    std::uint16_t langid;
    const char* locale;
} kLocales[] = {
    {0x0409, "en_US"}, {0x0404, "zh_TW"}, {0x0804, "zh_CN"}, {0x0411, "ja_JP"}, {0x0415, "pl_PL"},
    {0x040C, "fr_FR"}, {0x0407, "de_DE"}, {0x0410, "it_IT"}, {0x0419, "ru_RU"}, {0x0406, "da_DK"},
    {0x040B, "fi_FI"}, {0x0C0A, "es_ES"}, {0x0414, "nb_NO"}, {0x0814, "nn_NO"}, {0x0412, "ko_KR"},
    {0x0413, "nl_NL"}, {0x041D, "sv_SE"}, {0x040E, "hu_HU"}, {0x0405, "cs_CZ"}, {0x041F, "tr_TR"},
};

}  // namespace

std::string LanguageName(std::uint16_t langid) {
    for (const auto& row : kNamed) {
        if (row.langid == langid) {
            return LoadString(row.text);
        }
    }
    for (const auto& row : kLocales) {
        if (row.langid != langid) {
            continue;
        }
        const QLocale locale{QString(row.locale)};
        QString name = locale.nativeLanguageName();
        if (name.isEmpty()) {
            name = QLocale::languageToString(locale.language());
        }
        if (!name.isEmpty()) {
            name[0] = name[0].toUpper();
            return name.toStdString();
        }
    }
    return FormatText("%u - ???", static_cast<unsigned>(langid));
}

CSetLangDlg::CSetLangDlg(const std::vector<std::uint16_t>& languages, std::uint16_t current, QWidget* parent)
    : QDialog(parent), m_combo(new QComboBox(this)) {
    setObjectName(QStringLiteral("languageDialog"));
    setWindowTitle(Text(6122));
    m_combo->setObjectName(QStringLiteral("901"));
    m_combo->setAccessibleName(Text(6123));
    m_combo->setSizeAdjustPolicy(QComboBox::AdjustToContents);
    for (const std::uint16_t langid : languages) {
        if (m_combo->findData(langid) < 0) {
            m_combo->addItem(QString::fromStdString(LanguageName(langid)), langid);
        }
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
    return {0x0409};
}

std::uint16_t CSetLangDlg::GetLanguage() const {
    return static_cast<std::uint16_t>(m_combo->currentIndex() >= 0 ? m_combo->currentData().toUInt() : 0);
}

}  // namespace kvmon
