# SPDX-License-Identifier: Apache-2.0
# shellcheck shell=bash
# Where OpenWrt's own libraries lie, if script/openwrt-libraries has built them. It is sourced, not run.
openwrt_prefix=${XDG_CACHE_HOME:-$HOME/.cache}/zephran/openwrt
openwrt_stamp=$openwrt_prefix/sources.sha256

has_openwrt_libraries() { [ -f "$openwrt_stamp" ]; }
