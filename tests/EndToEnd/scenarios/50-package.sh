# The Debian package of the build under test: exactly the installed files, a program that runs
# from where it was unpacked, and a menu entry that validates and names that program and icon.
build_dir=$(dirname "$KESTRELLE")
[[ -f $build_dir/CPackConfig.cmake ]] || fail "no CPack configuration in $build_dir"
package_dir=$E2E_DIR/package
check "CPack makes a package" \
    eval 'cpack --config "$build_dir/CPackConfig.cmake" -B "$package_dir" >"$E2E_LOG_DIR/cpack.log" 2>&1'
deb=$(echo "$package_dir"/kestrelle_*.deb)
[[ -f $deb ]] || fail "no kestrelle_*.deb in $package_dir"

field_is() { [[ $(dpkg-deb --field "$deb" "$1") == "$2" ]]; } # FIELD VALUE
check "it is named kestrelle" field_is Package kestrelle
check "its section is utils" field_is Section utils
check "it depends on the Qt and X libraries the program links" \
    eval 'dpkg-deb --field "$deb" Depends | grep -q "libqt6widgets6.*libx11"'

root=$E2E_DIR/unpacked
dpkg-deb -x "$deb" "$root"
expected=(usr/bin/kestrelle usr/share/applications/app.kestrelle.Kestrelle.desktop
    usr/share/icons/hicolor/scalable/apps/app.kestrelle.Kestrelle.svg usr/share/man/man1/kestrelle.1
    usr/share/polkit-1/actions/app.kestrelle.Kestrelle.policy)
(cd "$root" && find . -type f -printf '%P\n' | sort) >"$E2E_LOG_DIR/files"
check "it holds exactly the installed files" \
    diff <(printf '%s\n' "${expected[@]}" | sort) "$E2E_LOG_DIR/files"

version=$(sed -n 's/^project(Kestrelle VERSION \([0-9.]*\).*/\1/p' "$E2E_HARNESS/../../CMakeLists.txt")
check "the unpacked program runs and tells its version" \
    eval '[[ $("$root/usr/bin/kestrelle" --version) == "kestrelle $version" ]]'
check "the package's version is the program's" field_is Version "$version"

desktop=$root/usr/share/applications/app.kestrelle.Kestrelle.desktop
check "the menu entry validates" desktop-file-validate "$desktop"
exec=$(sed -n 's/^Exec=//p' "$desktop") icon=$(sed -n 's/^Icon=//p' "$desktop")
check "it starts the packaged program" test -x "$root/usr/bin/$exec"
check "its icon is the packaged one" test -f "$root/usr/share/icons/hicolor/scalable/apps/$icon.svg"
check "the man page formats without warnings" \
    eval '[[ -z $(LC_ALL=C.UTF-8 MANWIDTH=80 man --warnings -l "$root/usr/share/man/man1/kestrelle.1" 2>&1 >/dev/null) ]]'
