// What the window around the console is called: the recorder and what of it is to be seen.
#pragma once

#include <optional>
#include <string>

namespace kvmon {

class ClientSite;
class Desk;
class RecorderList;
class ViewController;

// User interface thread only.
class WallTitle {
public:
    WallTitle(const Desk& desk, ClientSite& site, ViewController& view, const RecorderList& recorders)
        : m_desk(desk), m_site(site), m_view(view), m_recorders(recorders) {}

    // A view with a name of its own is on show; without one the arrangement's name stands for it.
    void SetViewName(const std::string& name);
    // Tells the site when the title is another one than it was.
    void Update();

private:
    std::string Compose() const;

    const Desk& m_desk;
    ClientSite& m_site;
    ViewController& m_view;
    const RecorderList& m_recorders;
    std::string m_viewName;
    std::optional<std::string> m_told;
};

}  // namespace kvmon
