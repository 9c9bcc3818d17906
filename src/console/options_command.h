// The commands that open the settings, the recorders' list and the languages, and what follows from them.
#pragma once

#include <QtCore/QPointer>

class QDialog;
class QWidget;

namespace kvmon {

class CameraList;
class CellPool;
class ClientSite;
struct ConsoleOptions;
struct ConsoleSettings;
class Desk;
class EventCenter;
class ServerBinding;
class ViewController;

// A dialog that is open already comes to the front. Nothing here waits. User interface thread only.
class OptionsCommand {
public:
    OptionsCommand(Desk& desk, ClientSite& site, ConsoleSettings& settings, ServerBinding& binding,
                   ViewController& view, CellPool& cells, const CameraList& cameras, EventCenter& events)
        : m_desk(desk),
          m_site(site),
          m_settings(settings),
          m_binding(binding),
          m_view(view),
          m_cells(cells),
          m_cameras(cameras),
          m_events(events) {}

    // Command kCtlOptions. There are options only after the first connection.
    void OpenSettings();
    // Above the given window.
    void OpenRecorders(QWidget& above);
    // They were stored anew by another console.
    void Follow();
    // At the end of a session: closes the list, with what a user was about to enter.
    void CloseRecorders();
    // Command kCtlLanguage.
    void OpenLanguages();

private:
    bool Raise() const;
    void Apply(const ConsoleOptions& wanted);
    void Take(const ConsoleOptions& wanted);

    Desk& m_desk;
    ClientSite& m_site;
    ConsoleSettings& m_settings;
    ServerBinding& m_binding;
    ViewController& m_view;
    CellPool& m_cells;
    const CameraList& m_cameras;
    EventCenter& m_events;
    QPointer<QDialog> m_dialog;
    QPointer<QDialog> m_recorders;
};

}  // namespace kvmon
