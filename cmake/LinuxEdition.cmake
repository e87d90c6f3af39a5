# The Linux (X11) program: the portable libraries plus the adapters in src/**/*_linux.cpp,
# on the Qt event loop. Only this target sees Qt, X11, AT-SPI, libsecret and D-Bus.
find_package(Qt6 6.4 REQUIRED COMPONENTS Widgets DBus)
find_package(PkgConfig REQUIRED)
pkg_check_modules(KESTRELLE_DESKTOP REQUIRED IMPORTED_TARGET
    atspi-2 libsecret-1 glib-2.0 gio-2.0 x11 x11-xcb xtst xi xcb xcb-xfixes)

file(GLOB_RECURSE linux_adapters CONFIGURE_DEPENDS "${PROJECT_SOURCE_DIR}/src/*_linux.cpp")
list(FILTER linux_adapters EXCLUDE REGEX "/main_linux\\.cpp$")

add_library(kestrelle_linux STATIC ${linux_adapters})
target_link_libraries(kestrelle_linux PUBLIC kestrelle_app Qt6::Widgets Qt6::DBus
    PkgConfig::KESTRELLE_DESKTOP)
# Qt's signals and slots keywords clash with GLib's headers.
target_compile_definitions(kestrelle_linux PUBLIC QT_NO_KEYWORDS)
set_target_properties(kestrelle_linux PROPERTIES AUTOMOC ON)

if(EXISTS "${PROJECT_SOURCE_DIR}/src/App/main_linux.cpp")
    add_executable(kestrelle "${PROJECT_SOURCE_DIR}/src/App/main_linux.cpp")
    target_link_libraries(kestrelle PRIVATE kestrelle_linux)
    target_compile_definitions(kestrelle PRIVATE KESTRELLE_VERSION="${PROJECT_VERSION}")
    install(TARGETS kestrelle RUNTIME DESTINATION bin)
    install(FILES "${PROJECT_SOURCE_DIR}/packaging/linux/kestrelle.1" DESTINATION share/man/man1)
endif()

# What a desktop needs beside the program: its menu entry and icon, and the polkit action of the
# password approval (see packaging/linux/README.md for where polkit looks).
set(packaging "${PROJECT_SOURCE_DIR}/packaging/linux")
install(FILES "${packaging}/app.kestrelle.Kestrelle.desktop" DESTINATION share/applications)
install(FILES "${packaging}/app.kestrelle.Kestrelle.svg"
    DESTINATION share/icons/hicolor/scalable/apps)
install(FILES "${packaging}/app.kestrelle.Kestrelle.policy" DESTINATION share/polkit-1/actions)

# A Debian package of the installed files (scripts/package; cpack in a configured build folder).
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME kestrelle)
set(CPACK_PACKAGE_VENDOR Kestrelle)
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "types saved passwords into other applications")
set(CPACK_PACKAGE_DESCRIPTION "A tray utility for X11 desktops: press Ctrl+Alt+Space in a text
field, approve with a fingerprint or the account password, pick a password, and it is typed into
that very field, which is checked before every key. Without a field the password is copied,
marked as secret for clipboard managers, and cleared after 60 seconds. Passwords live in the
login keyring through the Secret Service.")
set(CPACK_DEBIAN_PACKAGE_MAINTAINER "Kestrelle developers <developers@kestrelle.app>")
set(CPACK_DEBIAN_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# The services it talks to at run time, which no library link names.
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS "at-spi2-core, gnome-keyring")
set(CPACK_DEBIAN_PACKAGE_SUGGESTS "fprintd")
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
include(CPack)
