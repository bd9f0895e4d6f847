# SPDX-License-Identifier: Apache-2.0
# shellcheck shell=dash
# Stand-ins for procd's shell functions.
# uci_load_validate reads standin_validating.
# shellcheck disable=SC2034

standin_instance=''
standin_instances=0
standin_validating=''

procd_open_service() {
	standin_record open_service "$1"
}

procd_close_service() {
	[ -z "$standin_instance" ] || standin_fail "instance $standin_instance is not closed"
	standin_record close_service
}

procd_open_instance() {
	[ -z "$standin_instance" ] || standin_fail "instance $standin_instance is not closed"
	standin_instances=$((standin_instances + 1))
	standin_instance=${1:-instance$standin_instances}
	standin_record open_instance "$standin_instance"
}

procd_set_param() {
	[ -n "$standin_instance" ] || standin_fail "procd_set_param outside an instance"
	standin_record set "$@"
}

procd_append_param() {
	[ -n "$standin_instance" ] || standin_fail "procd_append_param outside an instance"
	standin_record append "$@"
}

procd_close_instance() {
	[ -n "$standin_instance" ] || standin_fail "procd_close_instance without an instance"
	standin_instance=''
	standin_record close_instance
}

procd_add_reload_trigger() {
	standin_record reload_trigger "$@"
}

procd_add_validation() {
	standin_validating=1
	"$@"
	standin_validating=''
}

# The services that run stand in OPENWRT_RUNNING, apart from each other by spaces. Instances are not known.
procd_running() {
	if [ $# -ne 1 ] || [ -z "$1" ]; then
		standin_fail "procd_running takes the name of a service"
	fi
	case " ${OPENWRT_RUNNING:-} " in
		*" $1 "*) return 0 ;;
	esac
	return 1
}
