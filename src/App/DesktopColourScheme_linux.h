#pragma once

class QApplication;

namespace kestrelle {

// Gives the application a dark palette while the desktop prefers a dark appearance (the
// freedesktop Settings portal's org.freedesktop.appearance color-scheme), and the style's own
// palette otherwise: read once at launch, then followed as it changes. Without the portal the
// palette stays as Qt chose it.
void followDesktopColourScheme(QApplication& application);

} // namespace kestrelle
