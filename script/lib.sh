# Shared by the scripts, which source it first: strict mode, the checkout as the current directory, the packages, and
# how progress is shown. It starts nothing by itself.
# shellcheck shell=bash
set -euo pipefail

cd "$(dirname "${BASH_SOURCE[0]}")/.."
script=${0##*/}

# Everything that is installed on a fresh machine, here and nowhere else; the benchmarks' peers are script/bench's.
# shellcheck disable=SC2034 # for the scripts that source this file
{
    build_packages=(g++ cmake ninja-build nlohmann-json3-dev libcli11-dev libfmt-dev libgtest-dev libgmock-dev pkg-config python3)
    check_packages=(clang clang-tidy clang-format shellcheck mandoc mypy pyflakes3)
    cross_packages=(g++-arm-linux-gnueabihf g++-arm-linux-gnueabi qemu-user googletest)
    abi_packages=(abigail-tools)
    package_packages=(dpkg-dev lintian debootstrap)
}

export CMAKE_BUILD_PARALLEL_LEVEL=${CMAKE_BUILD_PARALLEL_LEVEL:-$(nproc)}
# More than there are processors: the tests of the time-outs only sleep.
export CTEST_PARALLEL_LEVEL=${CTEST_PARALLEL_LEVEL:-8}

bold='' red='' plain=''
if [[ -t 1 && -z ${NO_COLOR-} ]]; then
    bold=$'\e[1m' red=$'\e[31m' plain=$'\e[0m'
fi

# One line for each step, with the time since the first of the scripts was started.
export QEL_STARTED=${QEL_STARTED:-$EPOCHSECONDS}
step() {
    local seconds=$((EPOCHSECONDS - QEL_STARTED))
    printf '%s[%d:%02d] %s%s\n' "$bold" $((seconds / 60)) $((seconds % 60)) "$*" "$plain"
}

fail() {
    printf '%s%s: %s%s\n' "$red" "$script" "$1" "$plain" >&2
    exit "${2:-1}"
}

# Runs a command without its output, which is shown when the command fails.
quietly() {
    local log status=0
    log=$(mktemp)
    "$@" >"$log" 2>&1 || status=$?
    if ((status != 0)); then
        cat "$log" >&2
        printf '%s%s: failed (%d): %s%s\n' "$red" "$script" "$status" "$*" "$plain" >&2
    fi
    rm -f "$log"
    return "$status"
}

# The same for a command that shows its own progress on a terminal.
with_progress() {
    if [[ -t 1 ]]; then "$@"; else quietly "$@"; fi
}

# Installs the packages that are missing, or ends with status 3 after printing the command that installs them.
ensure_packages() {
    local package missing=()
    command -v dpkg-query >/dev/null || return 0 # not Debian: the build says what it lacks
    for package in "$@"; do
        [[ $(dpkg-query -W -f '${db:Status-Status}' "$package" 2>/dev/null) == installed ]] || missing+=("$package")
    done
    ((${#missing[@]} == 0)) && return

    local install="apt-get install -y --no-install-recommends ${missing[*]}"
    if ((EUID != 0)); then
        local as_root="su -c '%s'"
        command -v sudo >/dev/null && as_root="sudo sh -c '%s'"
        # shellcheck disable=SC2059 # the format is one of the two above
        fail "packages are missing. Install them with this command, then start again:
  $(printf "$as_root" "apt-get update && $install")" 3
    fi
    step "Installing ${missing[*]}"
    export DEBIAN_FRONTEND=noninteractive
    # The mirror may be out of reach for a moment, and a new machine's own update holds the lists' lock.
    local attempt
    for attempt in 1 2 3 4 5; do
        ((attempt == 1)) || sleep $((attempt * 15))
        quietly apt-get -o DPkg::Lock::Timeout=300 update || true
        # shellcheck disable=SC2086 # a list of words
        quietly ${install/apt-get/apt-get -o DPkg::Lock::Timeout=300} && return
    done
    fail "the packages could not be installed"
}

# What ctest prints, without the lines of tests that pass. There are many: in a log only the others are worth theirs.
without_passed() {
    grep --line-buffered -vE '^ *(Start +[0-9]+:|[0-9]+/[0-9]+ Test +#[0-9]+: .* Passed )'
}

# Configures and builds a preset, or some of its targets.
build() {
    local preset=$1
    shift
    quietly cmake --preset "$preset"
    with_progress cmake --build --preset "$preset" ${1+--target "$@"}
}
