#!/bin/sh
# An install of a PC build holds the station tools and nothing else (neither
# the simulator nor its daemon), and each tool tells the project's version.
#
#   install_test.sh CMAKE BUILD_DIR VERSION      (FTM_EMULATOR: cross builds)
set -eu
stage=$(mktemp -d)
trap 'rm -rf "$stage"' EXIT
DESTDIR=$stage "$1" --install "$2" --prefix /usr >/dev/null
# The files installed, then what each tool says of its version. The
# emulator's command line is words to split.
# shellcheck disable=SC2086
got=$(cd "$stage" && find . ! -type d | sort && ${FTM_EMULATOR:-} usr/bin/ftmctl --version &&
  ${FTM_EMULATOR:-} usr/bin/ftmxml --version)
want=$(printf './usr/bin/ftmctl\n./usr/bin/ftmxml\nftmctl %s\nftmxml %s' "$3" "$3")
if [ "$got" != "$want" ]; then
  printf 'installed, and --version:\n%s\nexpected:\n%s\n' "$got" "$want"
  exit 1
fi
echo "install: ftmctl and ftmxml $3, nothing else"
