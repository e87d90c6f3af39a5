#include "Invocation/AlertPresenting_linux.h"

#include <QApplication>
#include <QMessageBox>
#include <QPushButton>

namespace kestrelle {

namespace {

void run(const AlertContent& alert) {
    QMessageBox box(QMessageBox::Warning, QApplication::applicationDisplayName(),
                    QString::fromStdString(alert.messageText));
    box.setInformativeText(QString::fromStdString(alert.informativeText));
    box.setDefaultButton(
        box.addButton(QString::fromStdString(alert.buttonTitle), QMessageBox::AcceptRole));
    box.setWindowModality(Qt::ApplicationModal);
    // X11 has no application to bring forward: the box itself is raised and given the focus
    // (Qt waits for it to be mapped), or it would open behind the window the user typed in.
    box.show();
    box.raise();
    box.activateWindow();
    box.exec();
}

} // namespace

void MessageBoxAlerts::present(const AlertContent& alert) {
    QMetaObject::invokeMethod(
        QCoreApplication::instance(), [alert] { run(alert); }, Qt::QueuedConnection);
}

} // namespace kestrelle
