#include "Settings/GeneralPane_linux.h"

#include "Preferences/HotkeyRecorderButton_linux.h"
#include "Settings/SettingsWidgets_linux.h"

#include <QCheckBox>
#include <QComboBox>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QSignalBlocker>
#include <QVBoxLayout>
#include <utility>

namespace kestrelle {

namespace {

using Pane = GeneralPanePresentation;

} // namespace

QtGeneralPane::QtGeneralPane(std::shared_ptr<SettingsViewModel> model,
                             std::shared_ptr<HotkeyRecorderModel> recorder, QWidget* parent)
    : QWidget(parent), model_(std::move(model)), recorder_(std::move(recorder)),
      shown_(model_->generalPane()) {
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(makeShortcutSection());
    layout->addWidget(makeApprovalSection());
    layout->addWidget(makePermissionsSection());
    layout->addWidget(makeStartupSection());
    layout->addStretch();
    subscriptions_.push_back(model_->subscribePanes([this] { redraw(); }));
    subscriptions_.push_back(recorder_->subscribe([this] { redrawRecorder(); }));
    redraw();
}

QGroupBox* QtGeneralPane::makeShortcutSection() {
    auto* box = new QGroupBox(toQString(Pane::shortcutSectionTitle), this);
    auto* recorderButton = new QtHotkeyRecorderButton(recorder_, box);
    reset_ = new QPushButton(toQString(HotkeyRecorderModel::resetTitle), box);
    connect(reset_, &QPushButton::clicked, this, [this] { recorder_->reset(); });
    auto* buttons = new QHBoxLayout;
    buttons->addWidget(recorderButton);
    buttons->addWidget(reset_);
    buttons->addStretch();
    recorderLine_ = new QLabel(box);
    recorderLine_->setWordWrap(true);
    shortcutStatus_ = new QtStatusLine(box);
    auto* layout = new QVBoxLayout(box);
    layout->addLayout(buttons);
    layout->addWidget(recorderLine_);
    layout->addWidget(shortcutStatus_);
    layout->addWidget(makeCaption(shown_.shortcutCaption.text, box));
    return box;
}

QGroupBox* QtGeneralPane::makeApprovalSection() {
    approvalBox_ = new QGroupBox(this);
    reuseWindowLabel_ = new QLabel(approvalBox_);
    reuseWindow_ = new QComboBox(approvalBox_);
    reuseWindowLabel_->setBuddy(reuseWindow_);
    for (const auto& choice : shown_.reuseWindowChoices) {
        reuseWindow_->addItem(toQString(choice.title));
    }
    connect(reuseWindow_, &QComboBox::activated, this, [this](int index) {
        if (index >= 0 && static_cast<std::size_t>(index) < shown_.reuseWindowChoices.size()) {
            model_->settings().setBiometricReuseWindow(shown_.reuseWindowChoices[index].window);
        }
    });
    auto* row = new QHBoxLayout;
    row->addWidget(reuseWindowLabel_);
    row->addWidget(reuseWindow_);
    row->addStretch();
    auto* layout = new QVBoxLayout(approvalBox_);
    layout->addLayout(row);
    layout->addWidget(makeCaption(shown_.reuseWindowCaption.text, approvalBox_));
    return approvalBox_;
}

QGroupBox* QtGeneralPane::makePermissionsSection() {
    auto* box = new QGroupBox(toQString(Pane::permissionsSectionTitle), this);
    auto* title = new QLabel(toQString(Pane::accessibilityTitle), box);
    accessibilityStatus_ = new QtStatusLine(box);
    grantAccess_ = new QPushButton(box);
    connect(grantAccess_, &QPushButton::clicked, this,
            [this] { model_->permissions().requestAccess(); });
    auto* row = new QHBoxLayout;
    row->addWidget(title);
    row->addWidget(accessibilityStatus_, 1);
    row->addWidget(grantAccess_);

    troubleshooting_ = new QWidget(box);
    auto* reveal = new QPushButton(toQString(Pane::revealRunningCopyTitle), troubleshooting_);
    auto* openSettings =
        new QPushButton(toQString(Pane::openSystemSettingsTitle), troubleshooting_);
    connect(reveal, &QPushButton::clicked, this,
            [this] { model_->permissions().revealRunningApp(); });
    connect(openSettings, &QPushButton::clicked, this,
            [this] { model_->permissions().openAccessibilitySettings(); });
    auto* troubleshootingButtons = new QHBoxLayout;
    troubleshootingButtons->addWidget(reveal);
    troubleshootingButtons->addWidget(openSettings);
    troubleshootingButtons->addStretch();
    auto* troubleshootingLayout = new QVBoxLayout(troubleshooting_);
    troubleshootingLayout->setContentsMargins(0, 0, 0, 0);
    troubleshootingLayout->addWidget(makeCaption(Pane::troubleshootingText, troubleshooting_));
    troubleshootingLayout->addLayout(troubleshootingButtons);

    auto* layout = new QVBoxLayout(box);
    layout->addLayout(row);
    layout->addWidget(makeCaption(shown_.accessibilityCaption.text, box));
    layout->addWidget(troubleshooting_);
    return box;
}

QGroupBox* QtGeneralPane::makeStartupSection() {
    auto* box = new QGroupBox(toQString(Pane::startupSectionTitle), this);
    launchAtLogin_ = new QCheckBox(toQString(Pane::launchAtLoginTitle), box);
    // The box shows the login item's state, not the click: the model sets it when that changes.
    // Toggled, not clicked: assistive technology's toggle action changes the box without a click.
    connect(launchAtLogin_, &QCheckBox::toggled, this, [this](bool checked) {
        model_->setLaunchAtLogin(checked);
        const QSignalBlocker blocker(launchAtLogin_);
        launchAtLogin_->setChecked(shown_.launchAtLoginIsOn);
    });
    launchAtLoginCaption_ = makeCaption(shown_.launchAtLoginCaption.text, box);
    noticesLayout_ = new QVBoxLayout;
    auto* layout = new QVBoxLayout(box);
    layout->addWidget(launchAtLogin_);
    layout->addWidget(launchAtLoginCaption_);
    layout->addLayout(noticesLayout_);
    return box;
}

QtGeneralPane::NoticeWidgets QtGeneralPane::makeNotice(std::size_t index) {
    auto* notice = new QWidget(this);
    NoticeWidgets widgets{notice, new QtStatusLine(notice), makeCaption({}, notice),
                          new QPushButton(notice)};
    connect(widgets.button, &QPushButton::clicked, this,
            [this, index] { noticeButtonClicked(index); });
    auto* layout = new QVBoxLayout(notice);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(widgets.status);
    layout->addWidget(widgets.explanation);
    layout->addWidget(widgets.button, 0, Qt::AlignLeft);
    noticesLayout_->addWidget(notice);
    return widgets;
}

void QtGeneralPane::noticeButtonClicked(std::size_t index) {
    if (index >= shown_.startupNotices.size() || !shown_.startupNotices[index].button) {
        return;
    }
    model_->perform(shown_.startupNotices[index].button->action);
}

void QtGeneralPane::redraw() {
    shown_ = model_->generalPane();
    shortcutStatus_->setStatus(shown_.shortcutStatus);

    approvalBox_->setTitle(toQString(shown_.approvalSectionTitle));
    reuseWindowLabel_->setText(toQString(shown_.reuseWindowPickerLabel));
    reuseWindow_->setAccessibleName(toQString(shown_.reuseWindowPickerLabel));
    for (std::size_t index = 0; index < shown_.reuseWindowChoices.size(); ++index) {
        if (shown_.reuseWindowChoices[index].window == shown_.selectedReuseWindow) {
            const QSignalBlocker blocker(reuseWindow_);
            reuseWindow_->setCurrentIndex(static_cast<int>(index));
        }
    }

    accessibilityStatus_->setStatus(shown_.accessibilityStatus);
    grantAccess_->setText(toQString(shown_.grantAccessTitle));
    grantAccess_->setVisible(shown_.showsGrantAccessButton);
    troubleshooting_->setVisible(shown_.showsTroubleshooting);

    {
        const QSignalBlocker blocker(launchAtLogin_);
        launchAtLogin_->setChecked(shown_.launchAtLoginIsOn);
    }
    // Disabling the focused box moves the focus away; it comes back when the change is done.
    refocusLaunchAtLogin_ |= !shown_.launchAtLoginIsEnabled && launchAtLogin_->hasFocus();
    launchAtLogin_->setEnabled(shown_.launchAtLoginIsEnabled);
    if (shown_.launchAtLoginIsEnabled && std::exchange(refocusLaunchAtLogin_, false)) {
        launchAtLogin_->setFocus();
    }
    launchAtLoginCaption_->setText(toQString(shown_.launchAtLoginCaption.text));
    while (notices_.size() < shown_.startupNotices.size()) {
        notices_.push_back(makeNotice(notices_.size()));
    }
    for (std::size_t index = 0; index < notices_.size(); ++index) {
        const auto& widgets = notices_[index];
        widgets.notice->setVisible(index < shown_.startupNotices.size());
        if (index >= shown_.startupNotices.size()) {
            continue;
        }
        const auto& notice = shown_.startupNotices[index];
        widgets.status->setStatus(notice.status);
        widgets.explanation->setText(notice.explanation ? toQString(notice.explanation->text)
                                                        : QString());
        widgets.explanation->setVisible(notice.explanation.has_value());
        widgets.button->setText(notice.button ? toQString(notice.button->title) : QString());
        widgets.button->setVisible(notice.button.has_value());
    }
}

void QtGeneralPane::redrawRecorder() {
    const auto line = recorder_->line();
    recorderLine_->setText(line ? toQString(line->text) : QString());
    recorderLine_->setVisible(line.has_value());
    if (line) {
        applyTone(*recorderLine_, line->tone == HotkeyRecorderModel::LineTone::error
                                      ? SettingsTone::critical
                                      : SettingsTone::neutral);
    }
    reset_->setEnabled(recorder_->isResetEnabled());
}

} // namespace kestrelle
