#include "System/SystemWorkspace_linux.h"

#include "Runtime/Logger.h"

#include <QDesktopServices>
#include <QFileInfo>
#include <QUrl>

namespace kestrelle {

namespace {

const Logger logger{"SystemWorkspace"};

void open(const QUrl& url) {
    if (!QDesktopServices::openUrl(url)) {
        logger.error("The desktop could not open {}", PublicText(url.toString().toStdString()));
    }
}

} // namespace

void DesktopServicesWorkspace::openUrl(std::string_view url) {
    const QUrl parsed(QString::fromUtf8(url.data(), static_cast<qsizetype>(url.size())),
                      QUrl::StrictMode);
    if (parsed.isValid()) {
        open(parsed);
    }
}

void DesktopServicesWorkspace::revealInFileViewer(std::string_view path) {
    const QFileInfo file(QString::fromUtf8(path.data(), static_cast<qsizetype>(path.size())));
    open(QUrl::fromLocalFile(file.absolutePath()));
}

} // namespace kestrelle
