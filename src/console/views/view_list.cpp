#include "console/views/view_list.h"

#include <QtCore/QCryptographicHash>
#include <algorithm>
#include <map>
#include <tuple>
#include <utility>

#include "console/views/view_file.h"
#include "persist/log_file.h"
#include "persist/orvo_registry.h"
#include "platform/text.h"

namespace kvmon {

namespace {

constexpr const char* kSection = "Views";
constexpr const char* kEach = "Views\\Each";
constexpr const char* kAside = "Views\\Aside";
constexpr const char* kView = "View";
constexpr const char* kPlace = "Place";
constexpr const char* kWall = "Wall";
constexpr const char* kTogether = "List";  // all views in one value, as they were kept once

std::string HashOf(const QByteArray& bytes) {
    return QCryptographicHash::hash(bytes, QCryptographicHash::Sha1).toHex().toStdString();
}

// No part of a name means something in a section's.
std::string SectionOf(const std::string& name) {
    return std::string(kEach) + "\\" + HashOf(QByteArray::fromStdString(name));
}

void WriteBytes(COrvoRegistry& settings, const std::string& section, const std::string& entry,
                const QByteArray& bytes) {
    settings.WriteProfileBinary(
        section, entry,
        {reinterpret_cast<const std::uint8_t*>(bytes.constData()), static_cast<std::size_t>(bytes.size())});
}

QByteArray ReadBytes(const COrvoRegistry& settings, const std::string& section, const std::string& entry) {
    QByteArray bytes(static_cast<qsizetype>(settings.GetProfileBinarySize(section, entry)), '\0');
    settings.GetProfileBinary(
        section, entry,
        {reinterpret_cast<std::uint8_t*>(bytes.data()), static_cast<std::size_t>(bytes.size())});
    return bytes;
}

// Once for the same bytes.
void KeepAside(COrvoRegistry& settings, const QByteArray& stored) {
    Trace("ViewList::Load: a stored view cannot be read...\n");
    WriteBytes(settings, std::string(kAside) + "\\" + HashOf(stored), kView, stored);
}

struct StoredView {
    std::uint32_t place;
    NamedView view;
};

}  // namespace

bool ViewList::Load() {
    m_views.clear();
    const COrvoRegistry::Batch together(m_settings);
    bool bRight = true;
    std::vector<StoredView> stored;
    for (const std::string& name : m_settings.GetSections(kEach)) {
        const std::string section = std::string(kEach) + "\\" + name;
        const QByteArray text = ReadBytes(m_settings, section, kView);
        ParsedViews parsed = ReadViews(text);
        if (parsed.views.size() == 1) {
            stored.push_back({m_settings.GetProfileInt(section, kPlace, 0), std::move(parsed.views.front())});
        } else if (parsed.fault != ViewFileFault::Newer) {  // what is newer is for a newer program
            KeepAside(m_settings, text);
            m_settings.DeleteSection(section);
            bRight = false;
        }
    }
    // Another program may have given the same places.
    std::sort(stored.begin(), stored.end(), [](const StoredView& a, const StoredView& b) {
        return std::tie(a.place, a.view.name) < std::tie(b.place, b.view.name);
    });
    for (StoredView& each : stored) {
        if (Find(each.view.name) == nullptr) {
            m_views.push_back(std::move(each.view));
        }
    }
    return LoadTogether() && bRight;
}

bool ViewList::LoadTogether() {
    const QByteArray text = ReadBytes(m_settings, kSection, kTogether);
    if (text.isEmpty()) {
        return true;
    }
    ParsedViews parsed = ReadViews(text);
    const bool bRight = parsed.fault == ViewFileFault::None;
    if (!bRight) {
        KeepAside(m_settings, text);
    }
    const std::vector<NamedView> before = m_views;
    for (NamedView& view : parsed.views) {
        if (Find(view.name) == nullptr) {
            m_views.push_back(std::move(view));
        }
    }
    Store(before);
    WriteBytes(m_settings, kSection, kTogether, {});
    return bRight;
}

const NamedView* ViewList::Find(const std::string& name) const {
    const auto found = std::find_if(m_views.begin(), m_views.end(),
                                    [&name](const NamedView& view) { return view.name == name; });
    return found != m_views.end() ? &*found : nullptr;
}

void ViewList::Set(std::vector<NamedView> views) {
    const std::vector<NamedView> before = std::exchange(m_views, std::move(views));
    Store(before);
}

bool ViewList::Put(NamedView view) {
    const std::vector<NamedView> before = m_views;
    const auto found = std::find_if(m_views.begin(), m_views.end(),
                                    [&view](const NamedView& each) { return each.name == view.name; });
    if (found != m_views.end()) {
        *found = std::move(view);
    } else if (m_views.size() < kMaxViews) {
        m_views.push_back(std::move(view));
    } else {
        return false;
    }
    Store(before);
    return true;
}

// What this program has not seen is another's, and stays.
void ViewList::Store(const std::vector<NamedView>& before) const {
    const COrvoRegistry::Batch together(m_settings);
    for (const NamedView& view : before) {
        if (Find(view.name) == nullptr) {
            m_settings.DeleteSection(SectionOf(view.name));
        }
    }
    for (std::size_t i = 0; i < m_views.size(); ++i) {
        const std::string section = SectionOf(m_views[i].name);
        const bool bKnown = std::any_of(before.begin(), before.end(), [this, i](const NamedView& view) {
            return view.name == m_views[i].name;
        });
        if (!bKnown) {
            const QByteArray stored = ReadBytes(m_settings, section, kView);
            if (ReadViews(stored).fault == ViewFileFault::Newer) {
                KeepAside(m_settings, stored);
            }
        }
        WriteBytes(m_settings, section, kView, WriteViews({m_views[i]}));
        m_settings.WriteProfileInt(section, kPlace, static_cast<std::uint32_t>(i));
    }
}

void StoreWall(COrvoRegistry& settings, const std::string& key, const std::optional<NamedView>& wall) {
    if (wall || settings.GetProfileBinarySize(key, kWall) > 0) {
        WriteBytes(settings, key, kWall, wall ? WriteViews({*wall}) : QByteArray());
    }
}

std::optional<NamedView> LoadWall(const COrvoRegistry& settings, const std::string& key) {
    ParsedViews parsed = ReadViews(ReadBytes(settings, key, kWall));
    if (parsed.views.size() != 1 || parsed.views.front().IsSequence()) {
        return std::nullopt;
    }
    return std::move(parsed.views.front());
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
        candidate = CleanViewName(Utf16Left(name, kMaxViewName - suffix.size())) + suffix;
    }
    return candidate;
}

}  // namespace kvmon
