#include "App/SettingsWindow_linux.h"

#include "Settings/GeneralPane_linux.h"
#include "Settings/PasswordsPane_linux.h"
#include "Settings/SettingsPane.h"
#include "Settings/SettingsWidgets_linux.h"

#include <QApplication>
#include <QCloseEvent>
#include <QScreen>
#include <QShortcut>
#include <QTabWidget>
#include <QVBoxLayout>
#include <algorithm>

namespace kestrelle {

namespace {

// The top-level widget. Closing only hides it, so that every opening reuses it.
class QtSettingsWindowWidget final : public QWidget {
public:
    explicit QtSettingsWindowWidget(std::function<void()> willClose)
        : willClose_(std::move(willClose)) {}

protected:
    void closeEvent(QCloseEvent* event) override {
        if (willClose_) {
            willClose_();
        }
        event->accept();
    }

private:
    std::function<void()> willClose_;
};

class QtSettingsWindow final : public SettingsWindow {
public:
    explicit QtSettingsWindow(SettingsWindowContent content)
        : model_(content.model),
          widget_(std::make_unique<QtSettingsWindowWidget>(std::move(content.willClose))),
          panes_(new QTabWidget(widget_.get())) {
        const auto& appearance = content.appearance;
        widget_->setWindowTitle(toQString(appearance.title));
        widget_->setAccessibleName(toQString(appearance.title));
        widget_->resize(static_cast<int>(appearance.width), static_cast<int>(appearance.height));
        widget_->setMinimumSize(static_cast<int>(appearance.minimumWidth),
                                static_cast<int>(appearance.minimumHeight));
        for (const auto pane : allSettingsPanes) {
            auto* page = pane == SettingsPane::passwords
                             ? static_cast<QWidget*>(new QtPasswordsPane(content.model, panes_))
                             : new QtGeneralPane(content.model, content.recorder, panes_);
            page->setAccessibleName(toQString(title(pane)));
            panes_->addTab(page, toQString(title(pane)));
        }
        panes_->setAccessibleName(toQString(appearance.title));
        auto* layout = new QVBoxLayout(widget_.get());
        layout->addWidget(panes_);
        // Without a window manager there is no other way to close it from the keyboard.
        auto* close = new QShortcut(QKeySequence::Close, widget_.get());
        QObject::connect(close, &QShortcut::activated, widget_.get(), &QWidget::close);
    }

    void activateApplication() override { frontmost().activateWindow(); }

    void show() override {
        if (!widget_->isVisible()) {
            const auto first = firstSettingsPane(model_->permissions().accessibilityGranted());
            panes_->setCurrentIndex(static_cast<int>(std::ranges::find(allSettingsPanes, first) -
                                                     allSettingsPanes.begin()));
        }
        if (!placed_) {
            placed_ = true;
            if (const auto* screen = QApplication::primaryScreen()) {
                auto frame = widget_->frameGeometry();
                frame.moveCenter(screen->availableGeometry().center());
                widget_->move(frame.topLeft());
            }
        }
        widget_->show();
    }

    void makeKeyAndOrderFront() override {
        widget_->raise();
        frontmost().raise();
        frontmost().activateWindow();
    }

    bool isVisible() const override { return widget_->isVisible(); }

private:
    // A dialog open over the window (the editor, the delete confirmation) goes with it, as a
    // sheet does: it, not the window it blocks, takes the keyboard.
    QWidget& frontmost() const {
        auto* modal = QApplication::activeModalWidget();
        const bool overThis =
            modal && modal->parentWidget() && modal->parentWidget()->window() == widget_.get();
        return overThis ? *modal : *widget_;
    }

    std::shared_ptr<SettingsViewModel> model_;
    std::unique_ptr<QtSettingsWindowWidget> widget_;
    QTabWidget* panes_;
    // Centred the first time only; later openings reuse the position it was closed at.
    bool placed_ = false;
};

} // namespace

std::unique_ptr<SettingsWindow> makeQtSettingsWindow(SettingsWindowContent content) {
    return std::make_unique<QtSettingsWindow>(std::move(content));
}

} // namespace kestrelle
