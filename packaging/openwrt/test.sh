#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
# The feed runs this after it has installed the package: test.sh PACKAGE VERSION

fail() {
	echo "$1" >&2
	exit 1
}

[ "$1" = zephran ] || exit 0

# It prints no version. If it prints its options, it runs on the target with all its libraries.
help=$(/usr/sbin/zephran --help) || fail "zephran --help ends with status $?"
case $help in
	*--hawkbit-server*) ;;
	*) fail "zephran --help does not list its options" ;;
esac
# The daemon opens libuci by this very name, and without it has no configuration.
[ -e /lib/libuci.so ] || [ -e /usr/lib/libuci.so ] || fail "there is no libuci.so"
[ -x /etc/init.d/zephran ] || fail "there is no init script"
[ "$(uci -q get zephran.service.enabled)" = 0 ] || fail "the service is not installed switched off"
