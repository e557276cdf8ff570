#!/bin/sh
# Proves the board build's shape: no simulator code inside, and the only
# symbols left for the board to provide, besides the C and C++ runtimes, are
# those of its configuration-store and INI libraries.
set -eu
binary=${1:?usage: check-board-link.sh FTMD}
nm=mips-linux-gnu-nm
allowed='^(cfg_startSession|cl_cfg_getTable|cfg_findCol|cfg_setField|cfg_startTransaction|cfg_commitTransaction|cfg_abortTransaction|cfg_freeTable|cfg_endSession|cfg_resetCfg|ParseIniFile)$'

undefined=$($nm -D --undefined-only "$binary" | awk '{print $NF}')
# Runtime symbols carry a version of the C library, libstdc++ or libgcc.
foreign=$(echo "$undefined" | grep -v '@' | sed 's/@.*//' | grep -Ev "$allowed" | grep -Ev '^(_ITM_|__gmon_start__|_Jv_RegisterClasses|__cxa_finalize)' || true)
if [ -n "$foreign" ]; then
  echo "board link: unexpected unresolved symbols:"; echo "$foreign"; exit 1
fi
if $nm -C "$binary" | grep -Eq ' (Sim[A-Z]|SimPlatform)'; then
  echo "board link: simulator code in the board build"; exit 1
fi
board=$(echo "$undefined" | grep -Ec "$allowed" || true)
echo "board link: ok ($board symbols left to the board's libraries, $(stat -c %s "$binary") bytes)"
