// The cameras that answer on the recorder's network.
#pragma once

#include <QtCore/QJsonObject>
#include <QtCore/QTimer>
#include <QtWidgets/QDialog>
#include <functional>
#include <vector>

#include "console/admin/api_caller.h"
#include "console/admin/camera_row.h"

class QLabel;
class QPushButton;
class QTreeWidget;

namespace kvmon {

class EmptyHint;

// Begins with a search. User interface thread only.
class FoundDialog final : public QDialog {
public:
    // `add` gets a camera that the user wants, with the dialog that it was chosen in.
    FoundDialog(ApiCaller& api, std::function<void(const CameraRow&, QWidget& over)> add, QWidget* parent);

private:
    void Search();
    void OnAnswer(const ApiAnswer& answer);
    void Ask(const char* method);
    void AddSelected();
    int Selected() const;

    ApiCaller& m_api;
    const std::function<void(const CameraRow&, QWidget& over)> m_add;
    std::vector<CameraRow> m_found;
    QTreeWidget* m_list;
    EmptyHint* m_hint;
    QPushButton* m_addButton;
    QPushButton* m_again;
    QLabel* m_message;
    QTimer m_poll;
};

}  // namespace kvmon
