# SPDX-License-Identifier: Apache-2.0
# shellcheck shell=bash
# The checks of the Python code: ruff and mypy, with the settings of pyproject.toml; and hypothesis, which draws random
# histories. Debian 12 has no ruff, so they come from PyPI into a virtual environment of their own.

# shellcheck disable=SC2154  # common.sh sets it
python_tools=$project_dir/build/python-tools

# Leaves the environment alone when it already holds the pinned versions.
install_python_tools() {
    local pins=$project_dir/script/lib/python-tools.txt
    if cmp -s "$pins" "$python_tools/installed.txt"; then
        return 0
    fi
    say "installing the Python tools"
    /usr/bin/python3 -m venv --clear "$python_tools" &&
        "$python_tools/bin/pip" install --quiet --disable-pip-version-check -r "$pins" &&
        cp "$pins" "$python_tools/installed.txt"
}

# Where the packages lie, for other interpreters of the same version than that of the environment.
python_packages() {
    "$python_tools/bin/python3" -c 'import sysconfig; print(sysconfig.get_path("purelib"))'
}

# expect_refusal NAME CODE COMMAND ...: CODE on standard input must be refused
expect_refusal() {
    local name=$1 code=$2 faulty=$python_tools/faulty.py
    shift 2
    printf '%s\n' "$code" >"$faulty"
    if "$@" "$faulty" >/dev/null 2>&1; then
        echo "$name overlooks the fault in $faulty" >&2
        return 1
    fi
}

# check_python_style FILE ...
check_python_style() {
    local ruff=("$python_tools/bin/ruff" check --quiet --config "$project_dir/pyproject.toml"
        --cache-dir "$python_tools/ruff")
    expect_refusal ruff 'import os' "${ruff[@]}" || return 1
    "${ruff[@]}" --force-exclude "$@"
}

# Which modules are checked, and how strictly, stands in pyproject.toml.
check_python_types() {
    local mypy=("$python_tools/bin/mypy" --config-file "$project_dir/pyproject.toml" --cache-dir "$python_tools/mypy")
    expect_refusal mypy 'number: int = "text"' "${mypy[@]}" --no-error-summary || return 1
    "${mypy[@]}" --no-error-summary
}
