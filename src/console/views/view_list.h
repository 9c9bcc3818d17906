// The named views of this user, as they are kept in the settings.
//
// Each view is a section of its own there, known by its name: of two programs that save views at the same
// time neither loses what the other has saved.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "console/views/named_view.h"

namespace kvmon {

class COrvoRegistry;

// User interface thread only. The settings bring changes to the disk by themselves.
class ViewList {
public:
    explicit ViewList(COrvoRegistry& settings) : m_settings(settings) {}

    // Reads what is stored. False if some of it cannot be read: that is kept aside, the others are there.
    bool Load();
    const std::vector<NamedView>& All() const { return m_views; }
    // Null when there is none of this name.
    const NamedView* Find(const std::string& name) const;
    // All of them anew, with their order.
    void Set(std::vector<NamedView> views);
    // Takes the place of the view of the same name, or stands last. False if there are as many as may be.
    bool Put(NamedView view);

private:
    void Store(const std::vector<NamedView>& before) const;
    bool LoadTogether();

    COrvoRegistry& m_settings;
    std::vector<NamedView> m_views;
};

// The wall as it was left, with cameras that were not there; nothing where its cells are known by numbers
// alone.
void StoreWall(COrvoRegistry& settings, const std::string& key, const std::optional<NamedView>& wall);
std::optional<NamedView> LoadWall(const COrvoRegistry& settings, const std::string& key);

// The views of a file behind those that are there. A name that is taken gets a number, also in the steps of
// the sequences that come along. False, with nothing changed, if they would be too many.
bool AddViews(std::vector<NamedView>& views, std::vector<NamedView> more);
// A name that none of the views has: this one, or with a number behind it.
std::string FreeViewName(const std::vector<NamedView>& views, const std::string& name);

}  // namespace kvmon
