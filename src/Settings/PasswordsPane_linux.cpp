#include "Settings/PasswordsPane_linux.h"

#include "Settings/EntryEditorDialog_linux.h"
#include "Settings/SettingsWidgets_linux.h"

#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QMessageBox>
#include <QPushButton>
#include <QScrollArea>
#include <QStyle>
#include <QToolButton>
#include <QVBoxLayout>

namespace kestrelle {

namespace {

using Pane = PasswordsPanePresentation;

QToolButton* makeActionButton(std::string_view symbol, std::string_view title, QWidget* parent) {
    auto* button = new QToolButton(parent);
    const auto icon = symbolIcon(symbol, *parent);
    if (icon.isNull()) {
        button->setText(toQString(title));
    } else {
        button->setIcon(icon);
    }
    button->setToolTip(toQString(title));
    button->setAccessibleName(toQString(title));
    button->setFocusPolicy(Qt::StrongFocus);
    return button;
}

void setIcon(QLabel& label, std::string_view symbol) {
    const auto icon = symbolIcon(symbol, label);
    const int size = label.style()->pixelMetric(QStyle::PM_SmallIconSize, nullptr, &label);
    label.setPixmap(icon.pixmap(size, size));
    label.setVisible(!icon.isNull());
}

} // namespace

QToolButton* QtPasswordsPane::RowWidgets::button(Action action) const {
    switch (action) {
    case Action::moveUp:
        return moveUp;
    case Action::moveDown:
        return moveDown;
    case Action::edit:
        return edit;
    case Action::remove:
        break;
    }
    return remove;
}

QtPasswordsPane::QtPasswordsPane(std::shared_ptr<SettingsViewModel> model, QWidget* parent)
    : QWidget(parent), model_(std::move(model)), biometricsBox_(new QGroupBox(this)),
      biometrics_(new QtStatusLine(biometricsBox_)),
      biometricSettings_(new QPushButton(toQString(Pane::biometricSettingsTitle), biometricsBox_)),
      protectionCaption_(makeCaption({}, biometricsBox_)), list_(new QScrollArea(this)),
      rowsLayout_(nullptr), emptyState_(new QWidget(this)),
      add_(new QPushButton(toQString(Pane::addTitle), this)), error_(new QtStatusLine(this)) {
    auto* biometricsLine = new QHBoxLayout;
    biometricsLine->addWidget(biometrics_, 1);
    biometricsLine->addWidget(biometricSettings_);
    auto* biometricsLayout = new QVBoxLayout(biometricsBox_);
    biometricsLayout->addLayout(biometricsLine);
    biometricsLayout->addWidget(protectionCaption_);
    connect(biometricSettings_, &QPushButton::clicked, this,
            [this] { model_->permissions().openBiometricSettings(); });

    auto* entriesBox = new QGroupBox(toQString(Pane::entriesSectionTitle), this);
    auto* rowsHolder = new QWidget;
    rowsLayout_ = new QVBoxLayout(rowsHolder);
    rowsLayout_->setContentsMargins(0, 0, 0, 0);
    rowsLayout_->addStretch();
    list_->setWidget(rowsHolder);
    list_->setWidgetResizable(true);
    list_->setFrameShape(QFrame::NoFrame);
    list_->setFocusPolicy(Qt::NoFocus);

    auto* emptyTitle = new QLabel(toQString(Pane::emptyTitle), emptyState_);
    auto emptyFont = emptyTitle->font();
    emptyFont.setBold(true);
    emptyTitle->setFont(emptyFont);
    auto* emptyText = makeCaption(Pane::emptyText, emptyState_);
    auto* emptyLayout = new QVBoxLayout(emptyState_);
    emptyLayout->addStretch();
    for (auto* label : {emptyTitle, emptyText}) {
        label->setAlignment(Qt::AlignHCenter);
        emptyLayout->addWidget(label);
    }
    emptyLayout->addStretch();

    const auto addIcon = symbolIcon(Pane::addSymbol, *add_);
    add_->setIcon(addIcon);
    connect(add_, &QPushButton::clicked, this, [this] { model_->beginAdd(); });
    auto* entriesLayout = new QVBoxLayout(entriesBox);
    entriesLayout->addWidget(list_, 1);
    entriesLayout->addWidget(emptyState_, 1);
    entriesLayout->addWidget(add_, 0, Qt::AlignLeft);

    auto* layout = new QVBoxLayout(this);
    layout->addWidget(biometricsBox_);
    layout->addWidget(entriesBox, 1);
    layout->addWidget(makeCaption(model_->passwordsPane().caption, this));
    layout->addWidget(error_);

    subscriptions_.push_back(model_->subscribePanes([this] { redraw(); }));
    subscriptions_.push_back(model_->subscribeEditor([this](const auto&) { followEditor(); }));
    subscriptions_.push_back(model_->subscribeDeleteCandidate(
        [this](const auto& candidate) { followDeleteCandidate(candidate); }));
    redraw();
}

QtPasswordsPane::~QtPasswordsPane() {
    subscriptions_.clear();
    if (editor_) {
        editor_->dismiss();
    }
}

QtPasswordsPane::RowWidgets QtPasswordsPane::makeRow(std::size_t index) {
    auto* row = new QWidget;
    RowWidgets widgets{
        .row = row,
        .symbol = new QLabel(row),
        .title = new QLabel(row),
        .badgeIcon = new QLabel(row),
        .badgeText = new QLabel(row),
        .moveUp = makeActionButton(Pane::moveUpSymbol, Pane::moveUpTitle, row),
        .moveDown = makeActionButton(Pane::moveDownSymbol, Pane::moveDownTitle, row),
        .edit = makeActionButton(Pane::editSymbol, Pane::editTitle, row),
        .remove = makeActionButton(Pane::deleteSymbol, Pane::deleteTitle, row),
    };
    auto* layout = new QHBoxLayout(row);
    layout->addWidget(widgets.symbol);
    layout->addWidget(widgets.title, 1);
    layout->addWidget(widgets.badgeIcon);
    layout->addWidget(widgets.badgeText);
    for (const auto action : {Action::moveUp, Action::moveDown, Action::edit, Action::remove}) {
        layout->addWidget(widgets.button(action));
        connect(widgets.button(action), &QToolButton::clicked, this,
                [this, index, action] { act(index, action); });
    }
    // Before the stretch that keeps the rows at the top.
    rowsLayout_->insertWidget(rowsLayout_->count() - 1, row);
    return widgets;
}

void QtPasswordsPane::act(std::size_t index, Action action) {
    if (index >= shownRows_.size()) {
        return;
    }
    const auto entry = shownRows_[index].entry;
    if (action == Action::moveUp || action == Action::moveDown) {
        focusAfterChange_ = {entry.id, action};
    }
    model_->perform(entry, action);
}

void QtPasswordsPane::redraw() {
    const auto pane = model_->passwordsPane();
    biometricsBox_->setTitle(toQString(pane.biometricsSectionTitle));
    biometrics_->setStatus(pane.biometrics);
    biometricSettings_->setVisible(pane.showsBiometricSettingsButton);
    protectionCaption_->setText(pane.protectionCaption ? toQString(pane.protectionCaption->text)
                                                       : QString());
    protectionCaption_->setVisible(pane.protectionCaption.has_value());

    // Rows are kept and refilled, so that redrawing keeps the keyboard focus where it was.
    while (rows_.size() < pane.rows.size()) {
        rows_.push_back(makeRow(rows_.size()));
    }
    for (std::size_t index = 0; index < rows_.size(); ++index) {
        const auto& widgets = rows_[index];
        widgets.row->setVisible(index < pane.rows.size());
        if (index >= pane.rows.size()) {
            continue;
        }
        const auto& row = pane.rows[index];
        widgets.row->setAccessibleName(toQString(row.entry.label));
        setIcon(*widgets.symbol, row.symbol);
        widgets.title->setText(toQString(row.entry.label));
        setIcon(*widgets.badgeIcon, row.badge.symbol);
        widgets.badgeIcon->setToolTip(toQString(row.badge.text));
        widgets.badgeText->setText(toQString(row.badge.text));
        widgets.badgeText->setVisible(!row.badge.text.empty());
        applyTone(*widgets.badgeText, row.badge.tone);
        widgets.moveUp->setEnabled(row.canMoveUp);
        widgets.moveDown->setEnabled(row.canMoveDown);
        widgets.edit->setEnabled(row.canEdit);
        widgets.remove->setEnabled(row.canDelete);
    }
    shownRows_ = pane.rows;
    list_->setVisible(!pane.showsEmptyState());
    emptyState_->setVisible(pane.showsEmptyState());
    error_->setVisible(pane.error.has_value());
    if (pane.error) {
        error_->setStatus(*pane.error);
    }
    restoreFocus();
}

void QtPasswordsPane::restoreFocus() {
    if (!focusAfterChange_ || model_->isBusy()) {
        return;
    }
    const auto [id, action] = *std::exchange(focusAfterChange_, std::nullopt);
    for (std::size_t index = 0; index < shownRows_.size(); ++index) {
        if (shownRows_[index].entry.id == id) {
            auto* button = rows_[index].button(action);
            (button->isEnabled() ? button : rows_[index].edit)->setFocus();
        }
    }
}

void QtPasswordsPane::takeBackFocus() {
    // Without a window manager nothing else gives the keyboard back to Settings.
    if (window()->isVisible()) {
        window()->activateWindow();
    }
}

void QtPasswordsPane::followEditor() {
    const auto& editorModel = model_->editorModel();
    if (editor_ && editor_->model() != editorModel) {
        std::exchange(editor_, nullptr)->dismiss();
        takeBackFocus();
    }
    if (editorModel && !editor_) {
        editor_ = new QtEntryEditorDialog(editorModel, window());
        editor_->open();
    }
}

void QtPasswordsPane::followDeleteCandidate(const std::optional<SettingsEntry>& candidate) {
    if (!candidate) {
        if (auto* box = confirmation_.data()) {
            confirmation_ = nullptr;
            box->disconnect(this);
            box->hide();
            box->deleteLater();
            takeBackFocus();
        }
        return;
    }
    if (confirmation_) {
        return;
    }
    const auto title = toQString(SettingsViewModel::deleteConfirmationTitle);
    auto* box =
        new QMessageBox(QMessageBox::Warning, title, title, QMessageBox::NoButton, window());
    box->setInformativeText(
        toQString(SettingsViewModel::deleteConfirmationMessage(candidate->label)));
    auto* cancel = box->addButton(toQString(Pane::deleteCancelTitle), QMessageBox::RejectRole);
    auto* remove =
        box->addButton(toQString(Pane::deleteConfirmTitle), QMessageBox::DestructiveRole);
    box->setDefaultButton(cancel);
    box->setEscapeButton(cancel);
    connect(box, &QMessageBox::finished, this, [this, box, remove] {
        // Either way the model clears the candidate, which closes the box.
        box->clickedButton() == remove ? model_->confirmDelete() : model_->cancelDelete();
    });
    confirmation_ = box;
    box->open();
}

} // namespace kestrelle
