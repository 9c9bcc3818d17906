#include "web/page_keys.h"

#include <algorithm>
#include <iterator>

namespace kvmon {

namespace {

struct Row {
    std::string_view name;
    int key;
    const char* text;
};

constexpr Row kRows[] = {
    {"Backspace", Qt::Key_Backspace, "\b"},
    {"Tab", Qt::Key_Tab, "\t"},
    {"Enter", Qt::Key_Return, "\r"},
    {"Escape", Qt::Key_Escape, "\x1B"},
    {"Delete", Qt::Key_Delete, "\x7F"},
    {"Insert", Qt::Key_Insert, ""},
    {"Home", Qt::Key_Home, ""},
    {"End", Qt::Key_End, ""},
    {"PageUp", Qt::Key_PageUp, ""},
    {"PageDown", Qt::Key_PageDown, ""},
    {"ArrowLeft", Qt::Key_Left, ""},
    {"ArrowUp", Qt::Key_Up, ""},
    {"ArrowRight", Qt::Key_Right, ""},
    {"ArrowDown", Qt::Key_Down, ""},
    {"Shift", Qt::Key_Shift, ""},
    {"Control", Qt::Key_Control, ""},
    {"Alt", Qt::Key_Alt, ""},
    {"Meta", Qt::Key_Meta, ""},
    {"ContextMenu", Qt::Key_Menu, ""},
};

}  // namespace

PageKey KeyOfName(std::string_view name) {
    const auto* const row =
        std::find_if(std::begin(kRows), std::end(kRows), [name](const Row& r) { return r.name == name; });
    if (row != std::end(kRows)) {
        return {row->key, QString::fromLatin1(row->text)};
    }
    const QString text = QString::fromUtf8(name.data(), static_cast<qsizetype>(name.size()));
    const auto characters = text.toUcs4();
    if (characters.size() != 1 || !QChar::isPrint(characters[0])) {
        return {};
    }
    return {static_cast<int>(QChar::toUpper(characters[0])), text};
}

}  // namespace kvmon
