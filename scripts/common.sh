# Shared by the commands; sourced, not run. Leaves the caller in the project's folder.
set -euo pipefail
caller_folder="$PWD"
cd "$(dirname "${BASH_SOURCE[0]}")/.."

jobs="$(nproc)"

say() { printf '== %s\n' "$*"; }

fail() {
    printf 'run: %s\n' "$*" >&2
    exit 1
}

# Prints the comment block below the first line of the script that calls it, as its help.
print_help() { sed -n '2,/^[^#]/s/^# \{0,1\}//p' "$1"; }

# What it takes to configure the project, and so what every command that builds needs.
build_packages=(
    g++ cmake ninja-build ccache mold
    pkgconf libdbus-1-dev libpipewire-0.3-dev libcli11-dev libcairo2-dev gettext locales
    libavformat-dev libavcodec-dev libavutil-dev libsoxr-dev libsoundtouch-dev
    libgtest-dev libgmock-dev libglib2.0-dev dbus-daemon pipewire pipewire-bin wireplumber ffmpeg
    git python3 binutils mandoc
)
# For the tests of the packages and of completion.
package_packages=(dpkg-dev debhelper lintian bash zsh fish)
bench_packages=(
    libbenchmark-dev
    libboost-dev libjack-jackd2-dev portaudio19-dev libsndfile1-dev
)
# For the examples with a window, which are left out without them, and for the tests of those.
window_packages=(libgtk-4-dev qt6-base-dev xvfb libxtst6)

# Headers that are compiled once for many tests may be kept by the compiler's cache.
export CCACHE_SLOPPINESS="${CCACHE_SLOPPINESS:-pch_defines,time_macros}"
# A clone finds what another clone has compiled.
export CCACHE_BASEDIR="${CCACHE_BASEDIR:-$PWD}" CCACHE_NOHASHDIR="${CCACHE_NOHASHDIR:-1}"

missing_packages() {
    local package
    for package in "$@"; do
        if [[ "$(dpkg-query -W -f '${db:Status-Status}' "$package" 2>/dev/null)" != installed ]]; then
            echo "$package"
        fi
    done
}

# Exit status for what the project can do nothing about.
cannot_install=77

# Installs those of the named Debian packages that are missing; asks nothing and touches nothing when none is.
need_packages() {
    if ! command -v dpkg-query >/dev/null; then
        say "Not a Debian system: taking for granted what these packages hold: $*"
        return
    fi
    local missing
    mapfile -t missing < <(missing_packages "$@")
    ((${#missing[@]})) || return 0

    local as_root=()
    if ((EUID != 0)); then
        if ! command -v sudo >/dev/null || { [[ ! -t 0 ]] && ! sudo -n true 2>/dev/null; }; then
            fail "these Debian packages are missing and only root can install them: apt-get install ${missing[*]}"
        fi
        as_root=(sudo)
    fi
    say "Installing what is missing to build and check: ${missing[*]}"
    {
        "${as_root[@]}" apt-get -qq update &&
            "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get -qq install --no-install-recommends -y "${missing[@]}"
    } || exit "$cannot_install"
}

# configure PRESET: writes build/PRESET unless that is there already; ninja itself notices later changes to CMake files.
configure() {
    local preset="$1" faster=()
    if command -v ccache >/dev/null; then
        faster+=(-DCMAKE_C_COMPILER_LAUNCHER=ccache -DCMAKE_CXX_COMPILER_LAUNCHER=ccache)
    fi
    # What is shipped is linked as it is wherever it is packaged; test programs take this linker a tenth of the time.
    if [[ " dev asan tsan fuzz " == *" $preset "* ]] && command -v mold >/dev/null; then
        faster+=(-DCMAKE_EXE_LINKER_FLAGS=-fuse-ld=mold)
    fi
    if [[ ! -f "build/$preset/build.ninja" || CMakePresets.json -nt "build/$preset/build.ninja" ]]; then
        say "Configuring build/$preset"
        cmake --preset "$preset" "${faster[@]}"
    fi
}

# build PRESET [TARGET]...
build() {
    local preset="$1"
    shift
    configure "$preset"
    say "Building build/$preset"
    cmake --build "build/$preset" --parallel "$jobs" ${@:+--target "$@"}
}

# run_tool SUBCOMMAND [ARGUMENTS]...: becomes the tool, built first, in the folder where the caller was, so that names of files
# mean what they meant there; only what the tool prints goes to the standard output. The help is that of the script that calls.
run_tool() {
    local argument
    for argument in "$@"; do
        case "$argument" in
        -h | --help)
            print_help "${BASH_SOURCE[1]}"
            exit
            ;;
        esac
    done
    {
        need_packages "${build_packages[@]}"
        configure dev
        # Shows what is built, and nothing when there is nothing to build.
        cmake --build build/dev --parallel "$jobs" --target braq |
            sed -u -e '/Re-checking globbed directories/d' -e '/^ninja: no work to do/d'
    } >&2
    local tool="$PWD/build/dev/bin/braq" loopback=()
    cd "$caller_folder"
    # A machine without sound may try everything all the same: what is played there is recorded there.
    if [[ " $* " != *" --device"* ]] && "$tool" devices --json 2>/dev/null | grep -q '"uid": "BRAQAudio.loopback"'; then
        case "$1 ${2:-}" in
        "play "* | "record "*) loopback=(--device BRAQAudio.loopback) ;;
        "meter " | "meter -"*) loopback=(BRAQAudio.loopback) ;;
        esac
    fi
    exec "$tool" "$1" "${loopback[@]}" "${@:2}"
}

# run_tests PRESET [CTEST ARGUMENTS]...: fails if a test fails, and says at the end which ones showed nothing.
run_tests() {
    local preset="$1" results status=0 at_once=$((jobs + 1))
    shift
    results="$PWD/build/$preset/tests.xml"
    rm -rf "$results" "build/$preset/shards" "build/$preset/again.xml"
    # One more than there are processors, because the test that has the sound server to itself mostly waits for it. With a
    # sanitizer it does not wait, and with the linter beside it a program may come too late for a cycle of the server.
    if [[ "$preset" == [at]san ]]; then at_once=$jobs; fi
    # ctest's closing line counts tests that did not run as passed; the summary below takes its place.
    "${test_launcher[@]}" ctest --test-dir "build/$preset" --output-on-failure --no-tests=error --parallel "$at_once" \
        --output-junit "$results" "$@" | sed -u '/tests passed, .* tests failed out of/d' || status=$?
    [[ -f "$results" ]] || fail "the tests of build/$preset did not run"
    local again=()
    # Tests failed, and nothing worse has happened.
    if ((status == 8)) && [[ "$preset" == [at]san ]]; then
        run_again "$preset" "$results"
        if [[ -f "build/$preset/again.xml" ]]; then again=("build/$preset/again.xml"); fi
        status=0
    fi
    python3 scripts/summarise_tests.py "$results" "build/$preset/shards" "${again[@]}" || status=$?
    return "$status"
}

# run_again PRESET RESULTS: runs the tests with a sound server that have failed once more, with nothing beside them. A
# sanitizer, and the linter beside it on a busy machine, can take a cycle of 21 milliseconds from the server, which is heard as
# a gap; a fault is one without them, too. Without a sanitizer no test is run twice.
run_again() {
    local preset="$1" failed
    failed="$(python3 scripts/summarise_tests.py --failed "$2")"
    say "Running the tests with a sound server that failed again, by themselves"
    if [[ -n "${BRAQ_LINTER:-}" ]]; then kill -STOP -- "-$BRAQ_LINTER" 2>/dev/null || true; fi
    "${test_launcher[@]}" ctest --test-dir "build/$preset" --output-on-failure --parallel 1 -L '^pipewire$' -R "$failed" \
        --output-junit "$PWD/build/$preset/again.xml" | sed -u '/tests passed, .* tests failed out of/d' || true
    if [[ -n "${BRAQ_LINTER:-}" ]]; then kill -CONT -- "-$BRAQ_LINTER" 2>/dev/null || true; fi
}
test_launcher=()
