#include "Settings/EntryEditorDialog_linux.h"

#include "Settings/SettingsWidgets_linux.h"
#include "Storage/SecureWipe.h"

#include <QAccessible>
#include <QAccessibleWidget>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QStyle>
#include <QVBoxLayout>

namespace kestrelle {

namespace {

// A password field with a class of its own, so that assistive technology gets the interface
// below instead of Qt's line edit one, which tells the length of the text.
class QtSecretField final : public QLineEdit {
    Q_OBJECT

public:
    explicit QtSecretField(QWidget* parent) : QLineEdit(parent) {
        setEchoMode(QLineEdit::Password);
    }
};

// An editable password text without a text interface: no content, no length, no text change
// events (the AT-SPI bridge drops those for objects without one). The name and description are
// the widget's, set from the editor's model.
class QtSecretFieldAccessible final : public QAccessibleWidget {
public:
    explicit QtSecretFieldAccessible(QWidget* widget)
        : QAccessibleWidget(widget, QAccessible::EditableText) {}

    QAccessible::State state() const override {
        auto state = QAccessibleWidget::state();
        state.editable = true;
        state.passwordEdit = true;
        return state;
    }
};

QAccessibleInterface* secretFieldAccessible(const QString& className, QObject* object) {
    if (className != QLatin1String(QtSecretField::staticMetaObject.className())) {
        return nullptr;
    }
    // Qt's accessibility cache owns what a factory makes.
    return new QtSecretFieldAccessible(static_cast<QWidget*>(object));
}

} // namespace

QtEntryEditorDialog::QtEntryEditorDialog(std::shared_ptr<EntryEditorModel> model, QWidget* parent)
    : QDialog(parent), model_(std::move(model)), title_(new QLabel(this)),
      subtitle_(new QLabel(this)), label_(new QLineEdit(this)), password_(new QtSecretField(this)),
      footerIcon_(new QLabel(this)), footerText_(new QLabel(this)), progress_(new QLabel(this)),
      cancel_(new QPushButton(toQString(EntryEditorModel::cancelTitle), this)),
      save_(new QPushButton(toQString(EntryEditorModel::saveTitle), this)) {
    static const bool factoryInstalled = [] {
        QAccessible::installFactory(secretFieldAccessible);
        return true;
    }();
    (void)factoryInstalled;

    setWindowModality(Qt::WindowModal);
    auto titleFont = title_->font();
    titleFont.setBold(true);
    titleFont.setPointSizeF(titleFont.pointSizeF() * 1.2);
    title_->setFont(titleFont);
    subtitle_->setWordWrap(true);

    label_->setText(toQString(model_->label()));
    label_->setAccessibleName(toQString(EntryEditorModel::labelTitle));
    password_->setAccessibleName(toQString(model_->passwordCaption()));
    auto* form = new QFormLayout;
    form->addRow(toQString(EntryEditorModel::labelTitle), label_);
    form->addRow(toQString(model_->passwordCaption()), password_);
    form->addRow(QString(), makeCaption(model_->passwordHint(), this));

    footerText_->setWordWrap(true);
    applyTone(*footerText_, SettingsTone::critical);
    applyTone(*progress_, SettingsTone::neutral);
    save_->setDefault(true);
    auto* footer = new QHBoxLayout;
    footer->addWidget(footerIcon_);
    footer->addWidget(footerText_, 1);
    footer->addWidget(progress_);
    footer->addWidget(cancel_);
    footer->addWidget(save_);

    auto* layout = new QVBoxLayout(this);
    layout->addWidget(title_);
    layout->addWidget(subtitle_);
    layout->addLayout(form);
    layout->addWidget(makeCaption(EntryEditorModel::characterRule, this));
    layout->addStretch();
    layout->addLayout(footer);
    resize(480, sizeHint().height());

    connect(label_, &QLineEdit::textEdited, this,
            [this](const QString& text) { model_->setLabel(text.toUtf8().toStdString()); });
    connect(password_, &QLineEdit::textEdited, this, [this] { passwordEdited(); });
    connect(cancel_, &QPushButton::clicked, this, [this] { model_->cancel(); });
    connect(save_, &QPushButton::clicked, this, [this] { model_->submit(); });
    subscription_ = model_->subscribe([this] { redraw(); });
}

QtEntryEditorDialog::~QtEntryEditorDialog() {
    clearPasswordField();
}

void QtEntryEditorDialog::dismiss() {
    subscription_ = {};
    clearPasswordField();
    hide();
    deleteLater();
}

void QtEntryEditorDialog::reject() {
    model_->cancel();
}

void QtEntryEditorDialog::redraw() {
    setWindowTitle(toQString(model_->title()));
    title_->setText(toQString(model_->title()));
    subtitle_->setText(toQString(model_->subtitle()));
    // Set only when the words change: a change event for every key would tell the length.
    const auto description = toQString(model_->passwordAccessibilityValue());
    if (password_->accessibleDescription() != description) {
        password_->setAccessibleDescription(description);
    }
    const auto message = model_->footerMessage();
    const auto icon = message ? symbolIcon(message->symbol, *this) : QIcon();
    const int size = style()->pixelMetric(QStyle::PM_SmallIconSize, nullptr, this);
    footerIcon_->setPixmap(icon.pixmap(size, size));
    footerIcon_->setVisible(!icon.isNull());
    footerText_->setText(message ? toQString(message->text) : QString());
    const auto progress = model_->progressText();
    progress_->setText(progress ? toQString(*progress) : QString());
    progress_->setVisible(progress.has_value());
    cancel_->setEnabled(model_->isCancelEnabled());
    save_->setEnabled(model_->isSaveEnabled());
}

void QtEntryEditorDialog::passwordEdited() {
    auto bytes = password_->text().toUtf8();
    model_->setPassword({bytes.constData(), static_cast<std::size_t>(bytes.size())});
    secureWipe(bytes.data(), static_cast<std::size_t>(bytes.size()));
}

void QtEntryEditorDialog::clearPasswordField() {
    // Once the field lets go of its text, this copy holds the last reference to it.
    auto text = password_->text();
    password_->setText(QString());
    if (!text.isEmpty()) {
        secureWipe(text.data(), static_cast<std::size_t>(text.capacity()) * sizeof(QChar));
    }
}

} // namespace kestrelle

#include "EntryEditorDialog_linux.moc"
