# SPDX-License-Identifier: Apache-2.0
# shellcheck shell=bash
# What every script of the project has in common. It is sourced, not run.
set -euo pipefail

project_dir=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
export project_dir

say() { printf '== %s\n' "$*"; }

die() {
    printf 'Error: %s\n' "$*" >&2
    exit 1
}

# The comment block at the top of a script, without its licence line, is its help text.
print_usage() {
    sed -n '2,/^[^#]/{/SPDX-License-Identifier/d;s/^# \{0,1\}//p;}' "$1"
}

known_preset() {
    grep -q "\"configurePreset\": \"$1\"" "$project_dir/CMakePresets.json"
}

# fresh_option BUILD_DIR VARIABLE VALUE: CMake's --fresh if the directory was configured with another value. What CMake
# found with that one would stay in its cache.
fresh_option() {
    local cache=$1/CMakeCache.txt
    [ -f "$cache" ] || return 0
    [ "$(sed -n "s/^$2:[^=]*=//p" "$cache")" = "$3" ] || echo --fresh
}

# Puts ccache in front of the compilers, by options for CMake. Directories that hold the same project share results:
# paths below them are taken as relative, and the build directory is ignored.
use_ccache() {
    export CCACHE_BASEDIR=$project_dir CCACHE_NOHASHDIR=1
    # shellcheck disable=SC2034  # read by the scripts that configure
    ccache_options=(-DCMAKE_C_COMPILER_LAUNCHER=ccache -DCMAKE_CXX_COMPILER_LAUNCHER=ccache)
}
