#pragma once

#include "Settings/SettingsTone.h"

#include <QIcon>
#include <QString>
#include <QWidget>
#include <string_view>

class QLabel;

namespace kestrelle {

QString toQString(std::string_view text);

// The icon this desktop draws for one of the core's symbol names: the icon theme's, else the
// style's own; null where neither has one.
QIcon symbolIcon(std::string_view symbol, const QWidget& widget);

// Shows `text` in the colour of `tone`.
void applyTone(QLabel& label, SettingsTone tone);

// Secondary text under a control: smaller, dimmed and wrapped.
QLabel* makeCaption(std::string_view text, QWidget* parent);

// A one-line status: its symbol, then its text in its tone's colour. Screen readers hear the
// text.
class QtStatusLine final : public QWidget {
public:
    explicit QtStatusLine(QWidget* parent);
    void setStatus(const SettingsStatusLabel& status);

private:
    QLabel* icon_;
    QLabel* text_;
};

} // namespace kestrelle
