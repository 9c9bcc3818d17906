// The recorders that answer on the network.
#pragma once

#include <QtWidgets/QDialog>
#include <functional>
#include <memory>
#include <vector>

#include "server/recorder_search.h"

class QLabel;
class QProgressBar;
class QPushButton;
class QTreeWidget;

namespace kvmon {

class EmptyHint;

// Begins with a search. User interface thread only.
class RecorderSearchDialog final : public QDialog {
public:
    // `chosen` gets the one that the user wants; the dialog then closes.
    RecorderSearchDialog(const SearchPlace& place, std::function<void(const FoundRecorder&)> chosen,
                         QWidget* parent);
    ~RecorderSearchDialog() override;

private:
    class Receiver;

    void MakeList();
    void Search();
    void StopSearch();
    void OnNews();
    void End(const std::string& word, const QString& hint);
    void Show(const std::vector<FoundRecorder>& found);
    void Choose();
    int Selected() const;

    const SearchPlace m_place;
    const std::function<void(const FoundRecorder&)> m_chosen;
    const std::unique_ptr<Receiver> m_receiver;
    RecorderSearch m_search;
    std::uint32_t m_number = 0;          // of the search that runs; 0 for none
    std::vector<FoundRecorder> m_found;  // in the order of the rows
    QTreeWidget* m_list;
    EmptyHint* m_hint;
    QProgressBar* m_progress;
    QLabel* m_message;
    QPushButton* m_choose;
    QPushButton* m_again;  // stops while a search runs
};

}  // namespace kvmon
