// Text from outside for Qt's own widgets.
#pragma once

#include <QtCore/QString>
#include <string_view>

namespace kvmon {

// The text as markup that shows exactly the text, for what would otherwise guess at markup. Empty stays
// empty.
inline QString MarkupOf(std::string_view text) {
    if (text.empty()) {
        return {};
    }
    const auto length = static_cast<qsizetype>(text.size());
    const QString escaped = QString::fromUtf8(text.data(), length).toHtmlEscaped();
    return "<p style='white-space:pre-wrap'>" + escaped + "</p>";
}

}  // namespace kvmon
