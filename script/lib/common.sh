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

# Puts ccache in front of the compilers, by options for CMake. Directories that hold the same project share results:
# paths below them are taken as relative, and the build directory is ignored.
use_ccache() {
    export CCACHE_BASEDIR=$project_dir CCACHE_NOHASHDIR=1
    # shellcheck disable=SC2034  # read by the scripts that configure
    ccache_options=(-DCMAKE_C_COMPILER_LAUNCHER=ccache -DCMAKE_CXX_COMPILER_LAUNCHER=ccache)
}
