#include "console/dialogs/settings_dlg.h"

#include <QtWidgets/QDialogButtonBox>
#include <QtWidgets/QMessageBox>
#include <QtWidgets/QPushButton>
#include <QtWidgets/QTabBar>
#include <QtWidgets/QTabWidget>
#include <QtWidgets/QVBoxLayout>

#include "console/dialogs/dialog_parts.h"
#include "console/dialogs/message_box.h"
#include "console/dialogs/settings_pages.h"

namespace kvmon {

namespace {

constexpr std::uint32_t kPageTitles[] = {2610, 2613, 2614};
constexpr int kNoPage = static_cast<int>(std::size(kPageTitles));

}  // namespace

CSettingsDlg::CSettingsDlg(const ConsoleOptions& options, int nTab, SnapshotFolder folder, Actions actions,
                           QWidget* parent)
    : QDialog(parent), m_start(options), m_actions(std::move(actions)), m_tabs(new QTabWidget(this)) {
    setObjectName(QStringLiteral("settingsDialog"));
    setWindowTitle(Text(6100));
    m_tabs->setObjectName(QStringLiteral("4202"));
    m_tabs->setAccessibleName(Text(6100));
    // The dialog is as wide as the titles of all tabs.
    m_tabs->setUsesScrollButtons(false);

    m_compare.setSingleShot(true);
    m_compare.setInterval(0);
    connect(&m_compare, &QTimer::timeout, this, &CSettingsDlg::Compare);
    const auto changed = [this] { m_compare.start(); };
    m_pages = {new GeneralPage(
                   changed, [this] { OnResetOrder(); }, m_actions.openRecorders),
               new VideoWindowPage(changed), new SnapshotPage(changed, folder)};
    for (std::size_t i = 0; i < m_pages.size(); ++i) {
        m_pages[i]->Show(options);
        m_tabs->addTab(m_pages[i], Text(kPageTitles[i]));
    }
    m_tabs->addTab(new QWidget, QString());
    m_tabs->setTabVisible(kNoPage, false);
    m_tabs->setTabEnabled(kNoPage, false);  // the arrow keys would find it
    m_tabs->setCurrentIndex(nTab >= 0 && nTab < kNoPage ? nTab : kNoPage);

    m_buttons = AddDialogButtons(*this);
    auto* const layout = new QVBoxLayout(this);
    layout->setContentsMargins(16, 16, 16, 14);
    layout->setSpacing(14);
    layout->addWidget(m_tabs);
    layout->addWidget(m_buttons);
    layout->setSizeConstraint(QLayout::SetMinimumSize);
    Compare();
}

ConsoleOptions CSettingsDlg::GetOptions() const {
    ConsoleOptions options = m_start;
    for (const SettingsPage* const page : m_pages) {
        page->Read(options);
    }
    return options;
}

int CSettingsDlg::GetTab() const {
    return m_tabs->currentIndex() < kNoPage ? m_tabs->currentIndex() : -1;
}

void CSettingsDlg::OnResetOrder() {
    m_actions.resetOrder();
    auto* const box =
        new QMessageBox(QMessageBox::Information, windowTitle(), Text(1110), QMessageBox::Ok, this);
    box->button(QMessageBox::Ok)->setText(Text(6120));
    OpenDialog(box);
}

void CSettingsDlg::Compare() {
    m_buttons->button(QDialogButtonBox::Ok)->setEnabled(GetOptions() != m_start);
}

}  // namespace kvmon
