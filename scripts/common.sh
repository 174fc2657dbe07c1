# What the scripts share; sourced, not run.
# shellcheck shell=bash

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
cd "$root" || exit 1

say() { printf '\n==> %s\n' "$*"; }

# Debian's own interpreter: another one first on PATH lacks Debian's Python packages.
# shellcheck disable=SC2034
python=/usr/bin/python3

# Lists the tracked C and C++ sources that exist, newest ones too; -z ends each with a NUL.
sources() { git ls-files "$@" --cached --others --exclude-standard -- '*.c' '*.cpp' '*.h'; }

# Configures and builds a preset; both do nothing when nothing changed.
build() {
    local preset=$1
    shift
    local cache=build/$preset/CMakeCache.txt
    if [[ ! -f build/$preset/build.ninja || CMakePresets.json -nt $cache ]]; then
        say "Configuring build/$preset"
        cmake --preset "$preset"
        touch "$cache"
    fi
    say "Building build/$preset"
    cmake --build --preset "$preset" "$@"
}
