// Text between a page and the window that has the focus: composed letters, and the clipboard both ways.
#pragma once

#include <QtCore/QObject>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace kvmon {

class RemoteDisplay;

// User interface thread only.
class PageText final : public QObject {
public:
    // `send` takes a message for the page.
    PageText(RemoteDisplay& display, std::function<void(std::vector<std::uint8_t>)> send);

    // What an input method made: for the text field that has the focus, else as keys.
    void Commit(const std::string& text);
    // Puts the text on the clipboard and lets the focus window paste it.
    void Paste(const std::string& text);

private:
    void OnFocus(QObject* object);
    void OnClipboard();

    RemoteDisplay& m_display;
    const std::function<void(std::vector<std::uint8_t>)> m_send;
    bool m_bWanted = false;
    bool m_bPasting = false;  // the page knows this text
};

}  // namespace kvmon
