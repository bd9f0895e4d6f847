# shellcheck shell=bash
# What every script of the project begins with: source it, do not run it.
set -euo pipefail

project_dir=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
export project_dir

say() { printf '== %s\n' "$*"; }

die() {
    printf 'Error: %s\n' "$*" >&2
    exit 1
}

# The comment block at the top of a script is its help text.
print_usage() { sed -n '2,/^[^#]/{s/^# \{0,1\}//p;}' "$1"; }

known_preset() {
    grep -q "\"configurePreset\": \"$1\"" "$project_dir/CMakePresets.json"
}
