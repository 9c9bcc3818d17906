// A page's names of keys.
#pragma once

#include <QtCore/QString>
#include <string_view>

namespace kvmon {

struct PageKey {
    int key = 0;   // as Qt numbers it; 0 for a name that is no key
    QString text;  // what it types
};

// By the name that the DOM gives the key: "Enter", "ArrowLeft", or the character itself.
PageKey KeyOfName(std::string_view name);

}  // namespace kvmon
