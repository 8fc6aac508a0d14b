# shellcheck shell=bash
# Sourced by the scripts of this folder: where things are, and how a step is done once.
# shellcheck disable=SC2034 # what is set here is used by whoever sources this

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
cache=${VANTOR_WINDOWS_CACHE:-$HOME/.cache/vantor/windows}
jobs=${VANTOR_WINDOWS_JOBS:-$(nproc)}
sources=$cache/src     # the distribution's source packages, unpacked
objects=$cache/build   # what compiling them leaves; may be deleted
stamps=$cache/stamps   # one file a finished step
prefix=$cache/root     # what they install: bin, include, lib, plugins
logs=$cache/log
target=x86_64-w64-mingw32

say() {
    echo "${0##*/}: $*"
}

die() {
    say "$*" >&2
    exit 1
}

# The first number of the version of the Wine that with-wine runs.
wine_version() {
    "$root/tools/windows/with-wine" --version | sed 's/^wine-\([0-9]*\).*/\1/'
}

# source_package <name>: the distribution's source package in $sources/<name>, with the distribution's patches.
source_package() {
    [ -d "$sources/$1" ] && return
    mkdir -p "$sources"
    (cd "$sources" && apt-get source -q --download-only "$1" && unpack "$1")
}

unpack() {
    rm -rf "$1.new"
    dpkg-source -x "$(newest "$1")" "$1.new" && mv "$1.new" "$1"
}

newest() {
    find . -maxdepth 1 -name "$1_*.dsc" | sort -V | tail -n 1
}

# once <step> [<file>...]: runs the function of that name, with its output in a file, unless it has run as it and the
# files stand.
once() {
    local step=$1 recipe start=$SECONDS
    recipe=$({ declare -f "$step"; [ $# -eq 1 ] || cat "${@:2}"; } | sha256sum)
    [ "$(cat "$stamps/$step" 2>/dev/null)" != "$recipe" ] || return 0
    mkdir -p "$stamps" "$logs" "$objects" "$prefix"
    say "$step (log: $logs/$step.log)"
    set +e # in a condition the shell would go on after the first failure inside the step
    (set -e; "$step") >"$logs/$step.log" 2>&1
    local status=$?
    set -e
    [ "$status" -eq 0 ] || { tail -n 20 "$logs/$step.log" >&2; die "$step failed"; }
    echo "$recipe" >"$stamps/$step"
    say "$step took $((SECONDS - start)) seconds"
}

# in_fresh_folder <step>: makes the step's own folder for objects, empty, and goes there.
in_fresh_folder() {
    rm -rf "${objects:?}/$1"
    mkdir -p "$objects/$1"
    cd "$objects/$1" || exit
}
