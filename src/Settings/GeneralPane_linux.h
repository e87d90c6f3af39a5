#pragma once

#include "Preferences/HotkeyRecorderModel.h"
#include "Settings/SettingsViewModel.h"

#include <QWidget>
#include <memory>
#include <vector>

class QCheckBox;
class QComboBox;
class QGroupBox;
class QLabel;
class QPushButton;
class QVBoxLayout;

namespace kestrelle {

class QtStatusLine;

// The General pane: the shortcut recorder and the shortcut's status, the approval reuse period,
// the accessibility permission and launch at login. Controls are updated in place, so that the
// permission poll's redraws leave the keyboard focus alone.
class QtGeneralPane final : public QWidget {
public:
    QtGeneralPane(std::shared_ptr<SettingsViewModel> model,
                  std::shared_ptr<HotkeyRecorderModel> recorder, QWidget* parent);

private:
    struct NoticeWidgets {
        QWidget* notice;
        QtStatusLine* status;
        QLabel* explanation;
        QPushButton* button;
    };

    QGroupBox* makeShortcutSection();
    QGroupBox* makeApprovalSection();
    QGroupBox* makePermissionsSection();
    QGroupBox* makeStartupSection();
    NoticeWidgets makeNotice(std::size_t index);
    void noticeButtonClicked(std::size_t index);
    void redraw();
    void redrawRecorder();

    std::shared_ptr<SettingsViewModel> model_;
    std::shared_ptr<HotkeyRecorderModel> recorder_;
    GeneralPanePresentation shown_;
    QPushButton* reset_ = nullptr;
    QLabel* recorderLine_ = nullptr;
    QtStatusLine* shortcutStatus_ = nullptr;
    QGroupBox* approvalBox_ = nullptr;
    QLabel* reuseWindowLabel_ = nullptr;
    QComboBox* reuseWindow_ = nullptr;
    QtStatusLine* accessibilityStatus_ = nullptr;
    QPushButton* grantAccess_ = nullptr;
    QWidget* troubleshooting_ = nullptr;
    QCheckBox* launchAtLogin_ = nullptr;
    bool refocusLaunchAtLogin_ = false;
    QLabel* launchAtLoginCaption_ = nullptr;
    QVBoxLayout* noticesLayout_ = nullptr;
    std::vector<NoticeWidgets> notices_;
    std::vector<Subscription> subscriptions_;
};

} // namespace kestrelle
