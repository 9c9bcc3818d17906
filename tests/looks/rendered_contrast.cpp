#include "rendered_contrast.h"

#include <QtWidgets/QAbstractItemView>
#include <QtWidgets/QAbstractSpinBox>
#include <QtWidgets/QCheckBox>
#include <QtWidgets/QComboBox>
#include <QtWidgets/QGroupBox>
#include <QtWidgets/QHeaderView>
#include <QtWidgets/QLabel>
#include <QtWidgets/QLineEdit>
#include <QtWidgets/QMenu>
#include <QtWidgets/QPushButton>
#include <QtWidgets/QRadioButton>
#include <QtWidgets/QStyleOptionButton>
#include <QtWidgets/QTabBar>
#include <algorithm>
#include <cmath>
#include <map>

#include "console/dialogs/link_button.h"
#include "skin/skin_colours.h"
#include "skin/xskin_static.h"

namespace kvtest {

namespace {

using namespace kvmon;

constexpr double kText = 4.5;
constexpr double kOutline = 3.0;

class Look {
public:
    explicit Look(QWidget& window) : m_window(window), m_image(window.grab().toImage()) {}

    void Text(const QWidget& part, const QRect& place, const QString& text) {
        const QRect seen = Seen(part, place);
        if (!text.trimmed().isEmpty() && seen.width() > 4 && seen.height() > 4) {
            Note(part, text, ContrastIn(m_image, InPixels(seen)), kText);
        }
    }
    // In the middle of the left side; what is beside it there is the ground.
    void Outline(const QWidget& part, const QRect& place) {
        const QRect seen = Seen(part, place);
        const double y = seen.center().y() + 0.5;
        const QRgb ground = At({seen.left() - 2.0, y});
        if (seen.left() < 2 || seen.height() != place.height()) {
            return;
        }
        double best = 1;
        for (const double x : {0.5, 1.5}) {
            best = std::max(best, ContrastOf(At({seen.left() + x, y}), ground));
        }
        Note(part, QStringLiteral("its outline"), best, kOutline);
    }

    std::vector<std::string> faint;

private:
    QRect Seen(const QWidget& part, const QRect& place) const {
        return QRect(part.mapTo(&m_window, place.topLeft()), place.size()) & m_window.rect();
    }
    QRect InPixels(const QRect& place) const {
        const double scale = m_image.devicePixelRatio();
        return QRectF(place.x() * scale, place.y() * scale, place.width() * scale, place.height() * scale)
            .toAlignedRect();
    }
    QRgb At(QPointF point) const {
        const QPointF pixel = point * m_image.devicePixelRatio();
        const QPoint at(static_cast<int>(std::floor(pixel.x())), static_cast<int>(std::floor(pixel.y())));
        return m_image.rect().contains(at) ? m_image.pixel(at) : 0;
    }
    void Note(const QWidget& part, const QString& what, double contrast, double least) {
        if (contrast < least) {
            faint.push_back(std::string(part.metaObject()->className()) + " " +
                            part.objectName().toStdString() + (part.isEnabled() ? "" : " (disabled)") + " '" +
                            what.toStdString() + "' " + std::to_string(contrast));
        }
    }

    QWidget& m_window;
    const QImage m_image;
};

void LookAtRows(const QAbstractItemView& view, Look& look) {
    const QAbstractItemModel& model = *view.model();
    for (int row = 0; row < model.rowCount(); ++row) {
        for (int column = 0; column < model.columnCount(); ++column) {
            const QModelIndex index = model.index(row, column);
            look.Text(*view.viewport(),
                      view.visualRect(index).adjusted(3, 3, -3, -3) & view.viewport()->rect(),
                      index.data().toString());
        }
    }
}

void LookAtHeader(const QHeaderView& header, Look& look) {
    for (int i = 0; header.orientation() == Qt::Horizontal && i < header.count(); ++i) {
        look.Text(*header.viewport(),
                  QRect(header.sectionViewportPosition(i), 0, header.sectionSize(i), header.height())
                      .adjusted(3, 3, -3, -3),
                  header.model()->headerData(i, Qt::Horizontal).toString());
    }
}

template <typename Button>
void LookAtCheck(const Button& button, QStyle::SubElement mark, QStyle::SubElement text, Look& look) {
    QStyleOptionButton option;
    option.initFrom(&button);
    option.text = button.text();
    look.Outline(button, button.style()->subElementRect(mark, &option, &button));
    look.Text(button, button.style()->subElementRect(text, &option, &button), button.text());
}

void LookAt(const QWidget& part, Look& look) {
    const QRect all = part.rect();
    const QRect inner = all.adjusted(4, 4, -4, -4);
    if (const auto* const label = qobject_cast<const QLabel*>(&part)) {
        look.Text(part, label->contentsRect(), label->text());
    } else if (const auto* const push = qobject_cast<const QPushButton*>(&part)) {
        look.Outline(part, all);
        look.Text(part, inner, push->text());
    } else if (const auto* const check = qobject_cast<const QCheckBox*>(&part)) {
        LookAtCheck(*check, QStyle::SE_CheckBoxIndicator, QStyle::SE_CheckBoxContents, look);
    } else if (const auto* const radio = qobject_cast<const QRadioButton*>(&part)) {
        LookAtCheck(*radio, QStyle::SE_RadioButtonIndicator, QStyle::SE_RadioButtonContents, look);
    } else if (const auto* const link = dynamic_cast<const LinkButton*>(&part)) {
        look.Text(part, all.adjusted(2, 2, -2, -2), link->text());
    } else if (const auto* const edit = qobject_cast<const QLineEdit*>(&part)) {
        const bool bOwn = qobject_cast<const QAbstractSpinBox*>(part.parentWidget()) == nullptr;
        if (bOwn) {
            look.Outline(part, all);
        }
        look.Text(part, inner, edit->text().isEmpty() ? edit->placeholderText() : edit->displayText());
    } else if (const auto* const box = qobject_cast<const QComboBox*>(&part)) {
        look.Outline(part, all);
        look.Text(part, inner.adjusted(0, 0, -24, 0), box->currentText());
    } else if (qobject_cast<const QAbstractSpinBox*>(&part) != nullptr) {
        look.Outline(part, all);
    } else if (const auto* const header = qobject_cast<const QHeaderView*>(&part)) {
        LookAtHeader(*header, look);
    } else if (const auto* const view = qobject_cast<const QAbstractItemView*>(&part)) {
        look.Outline(part, all);
        LookAtRows(*view, look);
    } else if (const auto* const tabs = qobject_cast<const QTabBar*>(&part)) {
        for (int i = 0; i < tabs->count(); ++i) {
            look.Text(part, tabs->tabRect(i).adjusted(6, 3, -6, -6), tabs->tabText(i));
        }
    } else if (const auto* const group = qobject_cast<const QGroupBox*>(&part)) {
        look.Text(part, QRect(0, 0, part.width(), part.fontMetrics().height()), group->title());
    } else if (const auto* const line = dynamic_cast<const CXSkinStatic*>(&part)) {
        look.Text(part, all, QString::fromStdString(line->GetWindowText()));
    } else if (const auto* const menu = qobject_cast<const QMenu*>(&part)) {
        for (QAction* const action : menu->actions()) {
            const QRect place = menu->actionGeometry(action).adjusted(24, 2, -4, -2);
            look.Text(part, place, action->isSeparator() ? QString() : action->text());
        }
    }
}

}  // namespace

double ContrastIn(const QImage& image, const QRect& place) {
    std::map<QRgb, int> counts;
    const QRect seen = place & image.rect();
    for (int y = seen.top(); y <= seen.bottom(); ++y) {
        for (int x = seen.left(); x <= seen.right(); ++x) {
            ++counts[image.pixel(x, y)];
        }
    }
    if (counts.empty()) {
        return 1;
    }
    const QRgb ground = std::max_element(counts.begin(), counts.end(), [](const auto& a, const auto& b) {
                            return a.second < b.second;
                        })->first;
    double best = 1;
    for (const auto& [colour, count] : counts) {
        best = std::max(best, ContrastOf(colour, ground));
    }
    return best;
}

std::vector<std::string> FaintParts(QWidget& window) {
    Look look(window);
    LookAt(window, look);
    for (const QWidget* const part : window.findChildren<QWidget*>()) {
        if (part->isVisible() && part->window() == window.window()) {
            LookAt(*part, look);
        }
    }
    return look.faint;
}

}  // namespace kvtest
