#include "app/desktop_browser.h"

#include <QtCore/QFileInfo>
#include <QtCore/QTimer>
#include <QtGui/QDesktopServices>
#include <QtWidgets/QWidget>
#include <algorithm>

#include "app/display_walls.h"
#include "console/site/web_page.h"
#include "persist/help_pages.h"
#include "platform/outside_text.h"

namespace kvmon {

namespace {

constexpr qsizetype kMaxTitle = 512;

// The system's browser: its windows are its own affair, so that a page is all that can be asked for.
class SystemBrowserWindow final : public BrowserWindow {
public:
    explicit SystemBrowserWindow(DesktopBrowser& browser) : m_browser(browser) {}

    bool IsWindow() const override { return true; }
    void HideBars() override {}
    void Navigate(const std::string& url) override { m_url = url; }
    void Show() override { m_browser.OpenHelp(m_url); }

private:
    DesktopBrowser& m_browser;
    std::string m_url;
};

// One line of plain text; Qt has a use of its own for one sequence.
QString WindowTitle(const std::string& title) {
    QString text = QString::fromStdString(OutsideLine(title)).simplified().left(kMaxTitle);
    return text.replace(QLatin1String("[*]"), QLatin1String("[*][*]"));
}

}  // namespace

DesktopBrowser::DesktopBrowser(QWidget& window)
    : DesktopBrowser(window, [](const QUrl& url) { QDesktopServices::openUrl(url); }) {}

DesktopBrowser::DesktopBrowser(QWidget& window, Opener open) : m_window(window), m_open(std::move(open)) {}

// The control may be in the middle of the call.
void DesktopBrowser::Quit() {
    QTimer::singleShot(0, &m_window, &QWidget::close);
}

LookChoice DesktopBrowser::GetLook() const {
    return m_looks != nullptr ? m_looks->Choice() : LookChoice::Desktop;
}

void DesktopBrowser::ChooseLook(LookChoice choice) {
    if (m_looks != nullptr) {
        m_looks->Choose(choice);
    }
}

bool DesktopBrowser::HasWalls() const {
    return m_walls != nullptr && m_walls->IsOffered();
}

bool DesktopBrowser::AreWallsOn() const {
    return HasWalls() && m_walls->AreAllOn();
}

void DesktopBrowser::TurnWalls() {
    if (HasWalls()) {
        m_walls->Turn();
    }
}

void DesktopBrowser::TellOthers(SharedThing thing) {
    if (m_walls != nullptr) {
        m_walls->OnFirstTells(thing);
    }
}

void DesktopBrowser::KeepAwake(bool on) {
    m_awake.Set(on || (m_walls != nullptr && m_walls->IsLive()));
}

void DesktopBrowser::SetState(BrowserState state) {
    switch (state) {
        case BrowserState::Restored:
            m_window.showNormal();
            break;
        case BrowserState::Maximized:
            m_window.showMaximized();
            break;
        case BrowserState::Minimized:
            m_window.showMinimized();
            break;
    }
}

void DesktopBrowser::ShowWindow(bool bShow) {
    m_window.setVisible(bShow);
}

void DesktopBrowser::RemoveClose() {
    m_dress.bClose = false;
    Apply();
}

void DesktopBrowser::RemoveSizing() {
    m_dress.bSizing = false;
    Apply();
}

void DesktopBrowser::RestoreSystemMenu() {
    m_dress.bClose = true;
    m_dress.bSizing = true;
    Apply();
}

void DesktopBrowser::SetCaption(bool bOn) {
    m_dress.bCaption = bOn;
    Apply();
}

Qt::WindowFlags DesktopBrowser::Flags() const {
    Qt::WindowFlags flags = m_dress.bToolWindow && !m_dress.bAppWindow ? Qt::Tool : Qt::Window;
    if (!m_dress.bCaption) {
        return flags | Qt::FramelessWindowHint;  // what stands in the caption goes with it
    }
    flags |= Qt::CustomizeWindowHint | Qt::WindowTitleHint | Qt::WindowSystemMenuHint;
    flags.setFlag(Qt::WindowMinMaxButtonsHint, m_dress.bSizing);
    flags.setFlag(Qt::WindowCloseButtonHint, m_dress.bClose);
    return flags;
}

void DesktopBrowser::Apply() {
    const Qt::WindowFlags flags = Flags();
    if (m_window.windowFlags() == flags) {
        return;
    }
    // New flags hide the window, and forget its place.
    const bool bVisible = m_window.isVisible();
    const QRect place = m_window.geometry();
    m_window.setWindowFlags(flags);
    m_window.setAttribute(Qt::WA_QuitOnClose);  // a tool's window, too
    if ((m_window.windowState() & (Qt::WindowMaximized | Qt::WindowFullScreen)) == 0) {
        m_window.setGeometry(place);
    }
    m_window.setVisible(bVisible);
}

void DesktopBrowser::FitToControl(const QSize& control) {
    const QRect frame = m_window.frameGeometry();
    const QRect inside = m_window.geometry();
    const QSize whole = FittedBrowserSize(control, inside.topLeft() - frame.topLeft());
    m_window.resize(whole - (frame.size() - inside.size()));
    m_window.move(0, 0);
}

void DesktopBrowser::PutTitle(const std::string& title) {
    m_window.setWindowTitle(WindowTitle(title));
}

void DesktopBrowser::ShowTitle(const std::string& text) {
    PutTitle(text.empty() ? std::string("kvmon") : text);
}

void DesktopBrowser::OpenPage(const std::string& url) {
    if (IsWebPage(url)) {
        m_open(QUrl(QString::fromStdString(url), QUrl::StrictMode));
    }
}

std::unique_ptr<BrowserWindow> DesktopBrowser::CreateBrowserWindow() {
    return std::make_unique<SystemBrowserWindow>(*this);
}

std::string DesktopBrowser::OwnHelp(const std::string& suffix) const {
    const auto page = FindHelpFile(HelpFolder(), suffix + "/help.html");
    return page
               ? QUrl::fromLocalFile(QString::fromStdString(*page)).toString(QUrl::FullyEncoded).toStdString()
               : std::string();
}

void DesktopBrowser::OpenHelp(const std::string& url) {
    const QUrl page(QString::fromStdString(url), QUrl::StrictMode);
    // Whatever way the address takes.
    const QString file = QFileInfo(page.toLocalFile()).canonicalFilePath();
    const bool bOwn = page.isLocalFile() && page.host().isEmpty() && !HelpFolder().empty() &&
                      file.startsWith(QString::fromStdString(HelpFolder()) + QLatin1Char('/'));
    if (bOwn) {
        m_open(page);
    } else {
        OpenPage(url);
    }
}

}  // namespace kvmon
