// The choice of the language.
#pragma once

#include <QtWidgets/QDialog>
#include <cstdint>
#include <string>
#include <vector>

class QComboBox;

namespace kvmon {

// The language's own name; the number for one that has none here.
std::string LanguageName(std::uint16_t langid);

// User interface thread only.
class CSetLangDlg final : public QDialog {
public:
    // `languages` are those that can be chosen, `current` the one that is loaded.
    CSetLangDlg(const std::vector<std::uint16_t>& languages, std::uint16_t current, QWidget* parent);

    // Those of the modules found, each once.
    static std::vector<std::uint16_t> GetAvailableLanguages();
    // 0 when there is none to choose.
    std::uint16_t GetLanguage() const;

private:
    QComboBox* m_combo;
};

}  // namespace kvmon
