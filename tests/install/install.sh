# shellcheck shell=sh
# Sourced by the tests: a directory of its own that goes with the test, and installing into it.
set -eu
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

fail() {
    printf '%s\n' "$*" >&2
    exit 1
}

# Shows a command's output only when it fails.
quietly() {
    "$@" >"$work/log" 2>&1 || { cat "$work/log" >&2; fail "failed: $*"; }
}

install_into() {
    quietly "$CMAKE" --install "$BUILD" --prefix "$1"
}
