#include "console/views/view_list.h"

#include <algorithm>
#include <map>

#include "console/views/view_file.h"
#include "persist/log_file.h"
#include "persist/orvo_registry.h"
#include "platform/text.h"

namespace kvmon {

namespace {

constexpr const char* kSection = "Views";
constexpr const char* kEntry = "List";
constexpr int kKeptAside = 9;  // the oldest stay, the last one's place is used again

void KeepAside(const QByteArray& stored) {
    int number = 1;
    while (number < kKeptAside &&
           Registry().GetProfileBinarySize(kSection, "Aside" + std::to_string(number)) > 0) {
        ++number;
    }
    Registry().WriteProfileBinary(
        kSection, "Aside" + std::to_string(number),
        {reinterpret_cast<const std::uint8_t*>(stored.constData()), static_cast<std::size_t>(stored.size())});
}

}  // namespace

bool ViewList::Load() {
    m_views.clear();
    const std::size_t size = Registry().GetProfileBinarySize(kSection, kEntry);
    if (size == 0) {
        return true;
    }
    QByteArray stored(static_cast<qsizetype>(std::min<std::size_t>(size, kMaxViewFile + 1)), '\0');
    Registry().GetProfileBinary(
        kSection, kEntry,
        {reinterpret_cast<std::uint8_t*>(stored.data()), static_cast<std::size_t>(stored.size())});
    ParsedViews parsed = ReadViews(stored);
    if (parsed.fault != ViewFileFault::None) {
        Trace("ViewList::Load: the stored views cannot be read...\n");
        KeepAside(stored);
        Store();
        return false;
    }
    m_views = std::move(parsed.views);
    return true;
}

const NamedView* ViewList::Find(const std::string& name) const {
    const auto found = std::find_if(m_views.begin(), m_views.end(),
                                    [&name](const NamedView& view) { return view.name == name; });
    return found != m_views.end() ? &*found : nullptr;
}

void ViewList::Set(std::vector<NamedView> views) {
    m_views = std::move(views);
    Store();
}

bool ViewList::Put(NamedView view) {
    const auto found = std::find_if(m_views.begin(), m_views.end(),
                                    [&view](const NamedView& each) { return each.name == view.name; });
    if (found != m_views.end()) {
        *found = std::move(view);
    } else if (m_views.size() < kMaxViews) {
        m_views.push_back(std::move(view));
    } else {
        return false;
    }
    Store();
    return true;
}

void ViewList::Store() const {
    const QByteArray text = WriteViews(m_views);
    Registry().WriteProfileBinary(
        kSection, kEntry,
        {reinterpret_cast<const std::uint8_t*>(text.constData()), static_cast<std::size_t>(text.size())});
}

bool AddViews(std::vector<NamedView>& views, std::vector<NamedView> more) {
    if (views.size() + more.size() > kMaxViews) {
        return false;
    }
    std::map<std::string, std::string> renamed;
    const std::size_t first = views.size();
    for (NamedView& view : more) {
        const std::string name = FreeViewName(views, view.name);
        renamed[view.name] = name;
        view.name = name;
        views.push_back(std::move(view));
    }
    for (std::size_t i = first; i < views.size(); ++i) {
        for (ViewStep& step : views[i].steps) {
            const auto found = renamed.find(step.view);
            step.view = found != renamed.end() ? found->second : step.view;
        }
    }
    return true;
}

std::string FreeViewName(const std::vector<NamedView>& views, const std::string& name) {
    const auto isTaken = [&views](const std::string& candidate) {
        return std::any_of(views.begin(), views.end(),
                           [&candidate](const NamedView& view) { return view.name == candidate; });
    };
    std::string candidate = name;
    for (int number = 2; isTaken(candidate); ++number) {
        const std::string suffix = " (" + std::to_string(number) + ")";
        candidate = Utf16Left(name, kMaxViewName - suffix.size()) + suffix;
    }
    return candidate;
}

}  // namespace kvmon
