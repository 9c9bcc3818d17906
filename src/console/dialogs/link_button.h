// A word that does something, as a link looks.
#pragma once

#include <QtWidgets/QAbstractButton>

namespace kvmon {

// User interface thread only.
class LinkButton final : public QAbstractButton {
public:
    LinkButton(const QString& text, QWidget* parent);

    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
};

}  // namespace kvmon
