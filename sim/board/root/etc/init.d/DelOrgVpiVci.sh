#!/bin/sh
# Simulated: removes the ATM circuit 0.<vpi>.<vci> given as the only
# argument. The board's shell event already records the command line; the
# simulated board keeps no circuit of its own.
case "$#:$1" in
  1:0.[0-9]*.[0-9]*) exit 0 ;;
esac
echo "usage: DelOrgVpiVci.sh 0.VPI.VCI" >&2
exit 1
