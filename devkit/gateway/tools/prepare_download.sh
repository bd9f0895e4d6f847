#!/bin/sh
# Makes room for a firmware image on the real gateway.
echo "prepare_download.sh $*" >>"$GATEWAY_LOG/calls"
