#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
# The daemon prints no version. If it prints its options, it runs on the target with all its
# libraries.

help=$(/usr/sbin/zephran --help) || exit 1
case $help in
	*--hawkbit-server*) exit 0 ;;
esac
echo "zephran --help does not list its options" >&2
exit 1
