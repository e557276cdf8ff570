#!/bin/sh
# An install of a PC build holds the station tools and nothing else (neither
# the simulator nor its daemon), and each tool tells the project's version.
#
#   install_test.sh CMAKE BUILD_DIR VERSION      (FTM_EMULATOR: cross builds)
set -eu
cmake=$1
build=$2
version=$3
stage=$(mktemp -d)
trap 'rm -rf "$stage"' EXIT
DESTDIR=$stage "$cmake" --install "$build" --prefix /usr >/dev/null
got=$(cd "$stage" && find . ! -type d | sort)
want=$(printf './usr/bin/ftmctl\n./usr/bin/ftmxml')
if [ "$got" != "$want" ]; then
  printf 'installed:\n%s\nexpected:\n%s\n' "$got" "$want"
  exit 1
fi
for tool in ftmctl ftmxml; do
  # The emulator's command line is words to split.
  # shellcheck disable=SC2086
  said=$(${FTM_EMULATOR:-} "$stage/usr/bin/$tool" --version)
  if [ "$said" != "$tool $version" ]; then
    echo "$tool --version says '$said', expected '$tool $version'"
    exit 1
  fi
done
echo "install: ftmctl and ftmxml $version, nothing else"
