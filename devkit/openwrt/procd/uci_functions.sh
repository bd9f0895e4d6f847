# SPDX-License-Identifier: Apache-2.0
# shellcheck shell=dash
# Stand-ins for the shell functions that read UCI.

config_load() {
	local exported
	exported=$(uci -q export "$1") || return 1
	standin_section=''
	eval "$exported"
}

# The exported text consists of calls of these four.
package() {
	:
}

config() {
	standin_section=$2
	eval "CONFIG_${2}_TYPE=\$1"
}

option() {
	eval "CONFIG_${standin_section}_$1=\$2"
}

list() {
	eval "CONFIG_${standin_section}_$1=\"\${CONFIG_${standin_section}_$1:+\$CONFIG_${standin_section}_$1 }\$2\""
}

# config_get VARIABLE SECTION OPTION [DEFAULT]
config_get() {
	eval "$1=\"\${CONFIG_${2}_$3:-\$4}\""
}

# uci_validate_section PACKAGE TYPE SECTION OPTION:DATATYPE[:DEFAULT] ...
# names what is invalid on standard error
uci_validate_section() {
	local standin_assignments standin_result
	standin_assignments=$(validate_data "$@" 2>/dev/null)
	standin_result=$?
	eval "$standin_assignments"
	[ "$standin_result" = 0 ] || validate_data "$@" >/dev/null
	return $standin_result
}

# uci_load_validate PACKAGE TYPE SECTION FUNCTION OPTION:DATATYPE[:DEFAULT] ...
# calls FUNCTION with the section and the result, 0 for a valid section
uci_load_validate() {
	local standin_package="$1" standin_type="$2" standin_name="$3" standin_function="$4"
	local standin_option standin_status
	shift 4
	if [ -n "$standin_validating" ]; then
		standin_record validation "$standin_package" "$standin_type" "$@"
		return 0
	fi
	for standin_option in "$@"; do
		eval "local ${standin_option%%:*}="
	done
	uci_validate_section "$standin_package" "$standin_type" "$standin_name" "$@"
	standin_status=$?
	[ -n "$standin_function" ] || return $standin_status
	"$standin_function" "$standin_name" "$standin_status"
}
