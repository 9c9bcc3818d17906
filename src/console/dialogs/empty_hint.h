// What an empty list says: what to do next.
#pragma once

#include <QtWidgets/QLabel>

class QAbstractScrollArea;

namespace kvmon {

// Over the middle of the list; an empty text hides it. User interface thread only.
class EmptyHint final : public QLabel {
public:
    explicit EmptyHint(QAbstractScrollArea& list);

    void Say(const QString& text);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void Place();

    QAbstractScrollArea& m_list;
};

}  // namespace kvmon
