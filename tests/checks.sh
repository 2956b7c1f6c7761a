# What the checks of the build have in common; sourced with
#     . checks.sh BUILD_FOLDER [EMULATOR...]
# where the folder says how to build. Programs of a cross build run in EMULATOR.

build=$(cd "$1" && pwd)
emulator=("${@:2}")
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
log=$work/log
faults=0

# expect WHAT ACTUAL WANTED
expect() {
    if [ "$2" != "$3" ]; then
        printf '%s: found "%s", wanted "%s"\n' "$1" "$2" "$3"
        faults=1
    fi
}

# Only a failed command is worth reading.
quietly() {
    if ! "$@" >"$log" 2>&1; then
        cat "$log"
        echo "${0##*/}: failed: $*"
        exit 1
    fi
}

# expect_refusal WHAT TEXT COMMAND...: it fails, and says TEXT.
expect_refusal() {
    if "${@:3}" >"$log" 2>&1; then
        expect "$1" "done" "refused"
    else
        # CMake breaks its lines.
        expect "$1" "$(tr -s ' \n' ' ' <"$log" | grep -oF "$2" | head -n 1)" "$2"
    fi
}

cached() {
    sed -n "s/^$1:[^=]*=//p" "$build/CMakeCache.txt"
}

build_type=$(cached CMAKE_BUILD_TYPE)
version=$(cached CMAKE_PROJECT_VERSION)
c_compiler=$(cached CMAKE_C_COMPILER)
toolchain=$(cached CMAKE_TOOLCHAIN_FILE)

# A cross build looks for packages below other roots. And both the linker and the
# loader have to be told where libcrypto is, which on a device they know.
cmake_options=(-DCMAKE_BUILD_TYPE="$build_type")
search_path=CMAKE_PREFIX_PATH
linker_options=()
environment=(VORN_DATA_DIR="$work/data")
if [ -n "$toolchain" ]; then
    c_compiler=$(sed -n 's/^set(CMAKE_C_COMPILER "\(.*\)")/\1/p' "$build"/CMakeFiles/*/CMakeCCompiler.cmake)
    libcrypto_dir=$(dirname "$(cached OPENSSL_CRYPTO_LIBRARY)")
    cmake_options+=(-DCMAKE_TOOLCHAIN_FILE="$toolchain" -DVORN_SYSROOT="$(cached VORN_SYSROOT)")
    search_path=CMAKE_FIND_ROOT_PATH
    linker_options+=("-Wl,-rpath-link,$libcrypto_dir")
    environment+=(LD_LIBRARY_PATH="$libcrypto_dir")
else
    cmake_options+=(-DCMAKE_C_COMPILER="$c_compiler" -DCMAKE_CXX_COMPILER="$(cached CMAKE_CXX_COMPILER)")
fi

needed() {
    readelf -d "$1" | sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p'
}

runpath() {
    readelf -d "$1" | sed -n 's/.*\(RPATH\|RUNPATH\)).*\[\(.*\)\]/\2/p'
}

# expect_use WHAT PROGRAM: it works, and nobody has asked for the library's own
# libraries to be linked with it.
expect_use() {
    local output
    output=$(env "${environment[@]}" "${emulator[@]}" "$2" 2>"$log") ||
        output+=" and status $?: $(<"$log")"
    expect "$1" "$output" "$version 0 13 13 \"from outside\" 0"
    expect "$1, NEEDED" "$(needed "$2" | grep -E 'vorn|crypto|dlog|app-common')" "libvorn.so.${version%%.*}"
}
