# Sourced by the scripts here, for what several of them need. Makes the top of the
# sources the current folder. --help prints the comment at the head of the script.
set -euo pipefail

called_from=$PWD
cd "$(dirname "${BASH_SOURCE[0]}")/.."
root=$PWD
jobs=$(nproc)
tools_to_build=(g++ cmake make libssl-dev)

print_help() {
    sed -n '2,/^[^#]/s/^# \{0,1\}//p' "$0"
}

usage() {
    print_help >&2
    exit 2
}

fail() {
    printf '%s: %s\n' "${0##*/}" "$*" >&2
    exit 1
}

# Runs a command, and shows what it has printed only when it fails.
quietly() {
    local output
    output=$("$@" 2>&1) || {
        printf '%s\n' "$output" >&2
        fail "failed: $*"
    }
}

# The path that the caller means by a relative one.
absolute() {
    case $1 in
    /*) printf '%s\n' "$1" ;;
    *) printf '%s\n' "$called_from/$1" ;;
    esac
}

heading() {
    printf '\n== %s\n' "$*"
}

# make_work_folder [PARENT]: sets $work to a folder that goes when the script ends.
make_work_folder() {
    work=$(mktemp -d ${1:+-p "$1"})
    trap 'rm -rf "$work"' EXIT
}

# copy_sources FOLDER: not as they are committed, but as they are; with the times of
# the copy.
copy_sources() {
    mkdir -p "$1"
    tar --exclude='./build*' --exclude=./.git -c . | tar -C "$1" -mx
}

build_default() {
    quietly cmake -S . -B build -DVORN_WERROR=ON
    quietly cmake --build build -j "$jobs"
}

# build_own TARGET...: builds in build-own, with the public development key. The
# folder build may have been configured with another key.
build_own() {
    scripts/prepare "${tools_to_build[@]}"
    mkdir -p build-own
    quietly flock build-own cmake -S . -B build-own -DBUILD_TESTING=OFF -DVORN_STORAGE_KEY_FILE=
    quietly flock build-own cmake --build build-own -j "$jobs" --target "$@"
}

case ${1:-} in
-h | --help)
    print_help
    exit
    ;;
esac
