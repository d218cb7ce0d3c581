#!/bin/sh
# The version that CMakeLists.txt names is the one that the library tells, that the change log ends with, that the manual
# pages and the packages' descriptions carry, and that the simulator prints.
. "$(dirname "$0")/install.sh"

is() {
    [ "$2" = "$VERSION" ] || fail "$1 says '$2', CMakeLists.txt says '$VERSION'"
}
is api/memory.cpp "$(sed -n 's/.*"Vela Quor v\([0-9.]*\)\.000".*/\1/p' "$SOURCE/api/memory.cpp")"
is CHANGELOG.md "$(grep '^## ' "$SOURCE/CHANGELOG.md" | grep -oE '[0-9]+(\.[0-9]+)+' | head -n 1)"
for page in "$SOURCE"/man/man*/*; do
    grep -q '^\.so ' "$page" || is "$page" "$(sed -n 's/^\.Os libqel_api //p' "$page")"
done
is qel_api.pc "$(sed -n 's/^Version: //p' "$BUILD/qel_api.pc")"
is "qel-sim --version" "$("$BUILD/bin/qel-sim" --version | sed 's/^qel-sim //')"

file_version=$(sed -n 's/^set(QEL_FILE_VERSION \(.*\))$/\1/p' "$SOURCE/CMakeLists.txt")
[ -f "$BUILD/lib/libqel_api.so.$file_version" ] || fail "there is no libqel_api.so.$file_version"
