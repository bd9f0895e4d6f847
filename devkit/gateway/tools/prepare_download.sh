#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
# Makes room for a firmware image on the real gateway; does nothing here.
# shellcheck source=simulated-tool
. /usr/sbin/simulated-tool
obey before
