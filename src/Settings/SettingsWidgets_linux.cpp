#include "Settings/SettingsWidgets_linux.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QStyle>
#include <array>
#include <optional>

namespace kestrelle {

namespace {

struct SymbolIcon {
    std::string_view symbol;
    // A name from the freedesktop icon naming rules.
    const char* themeName;
    std::optional<QStyle::StandardPixmap> fallback;
};

constexpr std::array symbolIcons{
    SymbolIcon{"key.fill", "dialog-password", std::nullopt},
    SymbolIcon{"key.slash.fill", "action-unavailable", std::nullopt},
    SymbolIcon{"chevron.up", "go-up", QStyle::SP_ArrowUp},
    SymbolIcon{"chevron.down", "go-down", QStyle::SP_ArrowDown},
    SymbolIcon{"pencil", "document-edit", std::nullopt},
    SymbolIcon{"trash", "user-trash", QStyle::SP_TrashIcon},
    SymbolIcon{"plus", "list-add", std::nullopt},
    SymbolIcon{"checkmark.circle", "emblem-ok", QStyle::SP_DialogApplyButton},
    SymbolIcon{"checkmark.circle.fill", "emblem-ok", QStyle::SP_DialogApplyButton},
    SymbolIcon{"touchid", "emblem-ok", QStyle::SP_DialogApplyButton},
    SymbolIcon{"faceid", "emblem-ok", QStyle::SP_DialogApplyButton},
    SymbolIcon{"exclamationmark.triangle.fill", "dialog-warning", QStyle::SP_MessageBoxWarning},
    SymbolIcon{"exclamationmark.circle.fill", "dialog-information",
               QStyle::SP_MessageBoxInformation},
    SymbolIcon{"xmark.circle.fill", "dialog-error", QStyle::SP_MessageBoxCritical},
    SymbolIcon{"questionmark.circle", "dialog-question", QStyle::SP_MessageBoxQuestion},
    SymbolIcon{"lock.fill", "changes-prevent", QStyle::SP_MessageBoxCritical},
};

QColor toneColour(SettingsTone tone, const QPalette& palette) {
    // Lighter shades on a dark window, so that the text keeps its contrast.
    const bool dark = palette.color(QPalette::Window).lightness() < 128;
    switch (tone) {
    case SettingsTone::positive:
        return dark ? QColor(0x57, 0xc7, 0x6e) : QColor(0x1a, 0x7f, 0x37);
    case SettingsTone::caution:
        return dark ? QColor(0xe3, 0xb3, 0x41) : QColor(0x9a, 0x67, 0x00);
    case SettingsTone::critical:
        return dark ? QColor(0xff, 0x7b, 0x72) : QColor(0xcf, 0x22, 0x2e);
    case SettingsTone::neutral:
        break;
    }
    return palette.color(QPalette::PlaceholderText);
}

} // namespace

QString toQString(std::string_view text) {
    return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

QIcon symbolIcon(std::string_view symbol, const QWidget& widget) {
    for (const auto& row : symbolIcons) {
        if (row.symbol == symbol) {
            const auto fallback =
                row.fallback ? widget.style()->standardIcon(*row.fallback, nullptr, &widget)
                             : QIcon();
            return QIcon::fromTheme(QString::fromLatin1(row.themeName), fallback);
        }
    }
    return {};
}

void applyTone(QLabel& label, SettingsTone tone) {
    auto palette = label.palette();
    palette.setColor(QPalette::WindowText, toneColour(tone, label.palette()));
    label.setPalette(palette);
}

QLabel* makeCaption(std::string_view text, QWidget* parent) {
    auto* caption = new QLabel(toQString(text), parent);
    caption->setWordWrap(true);
    auto font = caption->font();
    font.setPointSizeF(font.pointSizeF() * 0.9);
    caption->setFont(font);
    applyTone(*caption, SettingsTone::neutral);
    return caption;
}

QtStatusLine::QtStatusLine(QWidget* parent)
    : QWidget(parent), icon_(new QLabel(this)), text_(new QLabel(this)) {
    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(icon_);
    layout->addWidget(text_, 1);
    text_->setWordWrap(true);
    text_->setTextInteractionFlags(Qt::TextSelectableByMouse);
}

void QtStatusLine::setStatus(const SettingsStatusLabel& status) {
    const auto icon = symbolIcon(status.symbol, *this);
    const int size = style()->pixelMetric(QStyle::PM_SmallIconSize, nullptr, this);
    icon_->setPixmap(icon.pixmap(size, size));
    icon_->setVisible(!icon.isNull());
    text_->setText(toQString(status.text));
    applyTone(*text_, status.tone);
}

} // namespace kestrelle
