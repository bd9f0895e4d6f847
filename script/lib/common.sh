# shellcheck shell=bash
# SPDX-License-Identifier: Apache-2.0
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
