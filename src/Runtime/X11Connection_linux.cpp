#include "Runtime/X11Connection_linux.h"

#include "Runtime/Check.h"

#include <QGuiApplication>
// Xlib's macros clash with Qt's names: Xlib comes last.
#include <X11/Xlib.h>

namespace kestrelle {

X11Connection X11Connection::ofQt() {
    auto* x11 = qGuiApp ? qGuiApp->nativeInterface<QNativeInterface::QX11Application>() : nullptr;
    KESTRELLE_CHECK(x11 != nullptr && x11->display() != nullptr, "Qt does not run on X11");
    return {.display = x11->display(),
            .connection = x11->connection(),
            .root = DefaultRootWindow(x11->display())};
}

} // namespace kestrelle
