#!/bin/sh
# Installs a board build as a board image would (DESTDIR, prefix /usr,
# stripped) into BUILD/stage and checks the tree: exactly the daemon, its
# start-up script and the factory-test-mode check; the daemon a stripped
# big-endian 32-bit MIPS program that carries the project's version and
# needs exactly the libraries of its runtime choice; the scripts' paths in
# the tree; and the packaging recipes consistent with it (their version,
# their options, every file the OpenWrt recipe copies).
#
#   check-board-install.sh BUILD_DIR      (a board build: build/board, ...)
#
# Paths and option names hold no blanks, so lists of them are split as words.
# shellcheck disable=SC2013
set -eu
top=$(cd "$(dirname "$0")/.." && pwd)
build=$1
stage=$build/stage
cache() { sed -n "s/^$1:[A-Z]*=//p" "$build/CMakeCache.txt"; }
version=$(cache CMAKE_PROJECT_VERSION)
static=$(cache FTM_STATIC_RUNTIME)
init=$(cache FTM_INIT)
problems=""
problem() { problems="$problems  $1\n"; }

rm -rf "$stage"
DESTDIR=$stage cmake --install "$build" --prefix /usr --strip >/dev/null

case $init in
  sysv) script=etc/init.d/S99ftmd ;;
  procd) script=etc/init.d/ftmd ;;
  *) script="" ;;
esac
want="usr/sbin/ftmd"
[ -z "$script" ] || want=$(printf '%s\n%s\n%s' "$script" "usr/libexec/ftmd/ftm-mode" "$want")
got=$(cd "$stage" && find . ! -type d | sed 's|^\./||' | sort)
[ "$got" = "$(echo "$want" | sort)" ] || problem "files: $(echo "$got" | tr '\n' ' ')(expected $(echo "$want" | tr '\n' ' '))"

daemon=$stage/usr/sbin/ftmd
header=$(mips-linux-gnu-readelf -h "$daemon")
for field in "Class: *ELF32" "Data: *2's complement, big endian" "Machine: *MIPS R3000" \
  "Type: *(EXEC|DYN) "; do
  echo "$header" | grep -Eq "^ *$field" || problem "ftmd: not '$field'"
done
mips-linux-gnu-readelf -S "$daemon" | grep -q '\.symtab' && problem "ftmd: not stripped"
strings "$daemon" | grep -qx "ftmd version $version" || problem "ftmd: no 'ftmd version $version'"
needed=$(mips-linux-gnu-readelf -d "$daemon" | sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p' | sort | tr '\n' ' ')
if [ "$static" = "ON" ]; then
  # ld.so.1 is glibc's dynamic linker (thread-local storage of the runtime).
  want_needed="ld.so.1 libIni.so libc.so.6 libcfg.so "
else
  want_needed="libIni.so libc.so.6 libcfg.so libgcc_s.so.1 libstdc++.so.6 "
fi
[ "$needed" = "$want_needed" ] || problem "ftmd needs: $needed(expected $want_needed)"

for file in $script usr/libexec/ftmd/ftm-mode; do
  [ -f "$stage/$file" ] || continue
  [ "$(stat -c %a "$stage/$file")" = 755 ] || problem "$file: mode $(stat -c %a "$stage/$file")"
  head -n 1 "$stage/$file" | grep -Eq '^#!/bin/sh( /etc/rc\.common)?$' || problem "$file: not a shell script"
  for path in $(grep -o '/usr/[A-Za-z0-9_./-]*' "$stage/$file" | sort -u); do
    [ -e "$stage$path" ] || problem "$file names $path, which is not installed"
  done
done

# The recipes carry the project's version and set only options it has; the
# OpenWrt recipe (procd, runtime linked in) copies files of this tree.
recipe_version() { sed -n "s/^$2 *:*= *//p" "$top/packaging/$1" | head -n 1; }
[ "$(recipe_version openwrt/ftmd/Makefile PKG_VERSION)" = "$version" ] || problem "openwrt: not version $version"
[ "$(recipe_version buildroot/ftmd/ftmd.mk FTMD_VERSION)" = "$version" ] || problem "buildroot: not version $version"
for option in $(grep -ho -- '-DFTM_[A-Z_]*' "$top/packaging/openwrt/ftmd/Makefile" \
  "$top/packaging/buildroot/ftmd/ftmd.mk" | sed 's/^-D//' | sort -u); do
  grep -q "^$option:" "$build/CMakeCache.txt" || problem "a recipe sets $option, which the project lacks"
done
if [ "$init" = procd ] && [ "$static" = ON ]; then
  for path in $(grep -o '(PKG_INSTALL_DIR)/[^ ]*' "$top/packaging/openwrt/ftmd/Makefile" | sed 's/^(PKG_INSTALL_DIR)//'); do
    [ -e "$stage$path" ] || problem "the OpenWrt recipe copies $path, which is not installed"
  done
fi

if [ -n "$problems" ]; then
  echo "board install ($build):"
  printf '%b' "$problems"
  exit 1
fi
echo "board install: $build: $(echo "$got" | tr '\n' ' ')ftmd needs $needed"
