// "Disk Status": the recorder's disk as text and chart.
#pragma once

#include <string>

#include "skin/window_base.h"

namespace kvmon {

class CNSChartCtrl;
class CXSkinStatic;

inline constexpr int kCtlDiskState = 237;
inline constexpr int kCtlDiskSize = 238;
inline constexpr int kCtlDiskChart = 1971;

struct DiskInfo {
    std::string server;
    int nStatus = 0;  // as the recorder tells it
    int nUsed = 0;    // percent
    std::string size;
    std::string unit;

    bool IsNormal() const { return nStatus == 0 || nStatus == -7; }
    friend bool operator==(const DiskInfo&, const DiskInfo&) = default;
};

// User interface thread only. Deletes itself when it closes.
class CDiskStatusDlg : public WindowBase {
public:
    explicit CDiskStatusDlg(QWidget* owner);

    void ShowDisk(const DiskInfo& disk);

protected:
    void closeEvent(QCloseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;

private:
    CXSkinStatic* m_state;
    CXSkinStatic* m_size;
    CNSChartCtrl* m_chart;
};

}  // namespace kvmon
