#include "console/site/disk_status_dlg.h"

#include <QtGui/QKeyEvent>
#include <QtWidgets/QVBoxLayout>
#include <algorithm>

#include "channel/picture/captions.h"
#include "console/dialogs/message_box.h"
#include "persist/string_table.h"
#include "platform/text.h"
#include "skin/ns_chart_ctrl.h"
#include "skin/skin_colours.h"
#include "skin/xskin_static.h"

namespace kvmon {

namespace {

constexpr std::uint32_t kTextTitle = 1957;
constexpr std::uint32_t kTextState = 3541;
constexpr std::uint32_t kTextNormal = 3542;
constexpr std::uint32_t kTextAbnormal = 3543;
constexpr std::uint32_t kTextUsed = 4000;
constexpr std::uint32_t kTextFree = 4001;
constexpr std::uint32_t kTextTotal = 6611;
constexpr int kLineHeight = 26;

// "Status: %s, Used: %d %%" with its places filled.
std::string StateText(const DiskInfo& disk, int used) {
    QString text = QString::fromStdString(LoadString(kTextState));
    text.replace(QLatin1String("%%"), QLatin1String("%"));
    text.replace(QLatin1String("%d"), QString::number(used));
    text.replace(QLatin1String("%s"),
                 QString::fromStdString(LoadString(disk.IsNormal() ? kTextNormal : kTextAbnormal)));
    return text.toStdString();
}

}  // namespace

CDiskStatusDlg::CDiskStatusDlg(QWidget* owner)
    : WindowBase(owner),
      m_state(new CXSkinStatic(kCtlDiskState, this)),
      m_size(new CXSkinStatic(kCtlDiskSize, this)),
      m_chart(new CNSChartCtrl(this)) {
    setWindowFlags(Qt::Dialog | Qt::CustomizeWindowHint | Qt::WindowTitleHint | Qt::WindowCloseButtonHint);
    setAttribute(Qt::WA_StyledBackground);
    setAttribute(Qt::WA_DeleteOnClose);
    setObjectName(QStringLiteral("diskStatus"));
    setWindowTitle(QString::fromStdString(LoadString(kTextTitle)));
    m_chart->SetControlId(kCtlDiskChart);
    m_state->setFixedHeight(kLineHeight);
    m_size->setFixedHeight(kLineHeight);
    auto* const layout = new QVBoxLayout(this);
    layout->setContentsMargins(20, 14, 20, 16);
    layout->setSpacing(4);
    layout->addWidget(m_state);
    layout->addWidget(m_size);
    layout->addSpacing(8);
    layout->addWidget(m_chart, 1);
    resize(360, 300);
}

void CDiskStatusDlg::ShowDisk(const DiskInfo& disk) {
    const int used = std::clamp(disk.nUsed, 0, 100);
    m_state->SetWindowText(StateText(disk, used));
    m_state->SetTextColor(disk.IsNormal() ? &SkinColours::captionWhite : &SkinColours::record);
    const std::string size =
        disk.size.empty() ? std::string()
                          : FormatText("%s: %s %s", LoadString(kTextTotal).c_str(),
                                       std::string(TrimRight(disk.size, " ")).c_str(), disk.unit.c_str());
    m_size->SetWindowText(size);
    m_size->SetTextColor(&SkinColours::ink);
    const std::string name = DisplayLine(disk.server);
    setWindowTitle(QString::fromStdString(name.empty() ? LoadString(kTextTitle)
                                                       : LoadString(kTextTitle) + " - " + name));
    // The chart cannot draw a slice of size 0.
    if (used == 0 || used == 100) {
        m_chart->SetColors({used == 0 ? &SkinColours::edgeHover : &SkinColours::accent});
        m_chart->SetData(100, LoadString(used == 0 ? kTextFree : kTextUsed), kChartPie);
        return;
    }
    m_chart->SetColors({&SkinColours::accent, &SkinColours::edgeHover});
    m_chart->SetData(used, LoadString(kTextUsed), 100 - used, LoadString(kTextFree), kChartPie);
}

void CDiskStatusDlg::closeEvent(QCloseEvent* event) {
    WindowBase::closeEvent(event);
    GiveKeyboardBack(*this);
}

void CDiskStatusDlg::keyPressEvent(QKeyEvent* event) {
    if (event->key() == Qt::Key_Escape) {
        close();
        return;
    }
    WindowBase::keyPressEvent(event);
}

}  // namespace kvmon
