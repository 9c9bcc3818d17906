#include "web/session/page_text.h"

#include <QtGui/QClipboard>
#include <QtGui/QGuiApplication>
#include <QtGui/QInputMethodQueryEvent>
#include <utility>

#include "web/platform/remote_display.h"
#include "web/session/page_keys.h"
#include "web/session/page_protocol.h"

namespace kvmon {

namespace {

constexpr qsizetype kMostCopied = 16 * 1024;  // characters; more is not the work of a user

bool TakesText(QObject* object) {
    if (object == nullptr) {
        return false;
    }
    QInputMethodQueryEvent query(Qt::ImEnabled);
    QCoreApplication::sendEvent(object, &query);
    return query.value(Qt::ImEnabled).toBool();
}

}  // namespace

PageText::PageText(RemoteDisplay& display, std::function<void(std::vector<std::uint8_t>)> send)
    : m_display(display), m_send(std::move(send)) {
    connect(qGuiApp, &QGuiApplication::focusObjectChanged, this,
            [this](QObject* object) { OnFocus(object); });
    connect(QGuiApplication::clipboard(), &QClipboard::dataChanged, this, [this] { OnClipboard(); });
}

void PageText::OnFocus(QObject* object) {
    const bool bWanted = TakesText(object);
    if (std::exchange(m_bWanted, bWanted) != bWanted) {
        m_send(TextWantedMessage(bWanted));
    }
}

void PageText::OnClipboard() {
    const QString text = QGuiApplication::clipboard()->text();
    if (!m_bPasting && !text.isEmpty() && text.size() <= kMostCopied) {
        m_send(ClipboardMessage(text.toStdString()));
    }
}

void PageText::Commit(const std::string& text) {
    if (TakesText(QGuiApplication::focusObject())) {
        m_display.TypeText(QString::fromStdString(text));
        return;
    }
    for (const char32_t letter : QString::fromStdString(text).toStdU32String()) {
        const PageKey key = KeyOfName(QString::fromUcs4(&letter, 1).toStdString());
        if (key.key != 0) {
            m_display.PressKey(key.key, PressKind::Down, Qt::NoModifier, key.text);
            m_display.PressKey(key.key, PressKind::Up, Qt::NoModifier, key.text);
        }
    }
}

void PageText::Paste(const std::string& text) {
    m_bPasting = true;
    QGuiApplication::clipboard()->setText(QString::fromStdString(text));
    m_bPasting = false;
    for (const PressKind press : {PressKind::Down, PressKind::Up}) {
        m_display.PressKey(Qt::Key_V, press, Qt::ControlModifier, {});
    }
}

}  // namespace kvmon
