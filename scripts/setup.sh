#!/bin/sh
# Installs what building and testing ftmd needs on a Debian 12 machine:
# compilers (host, clang for the fuzzers, big-endian MIPS), qemu for the MIPS
# tests, GoogleTest sources, and the real TFTP clients and reference server
# the tests and benchmarks talk to, the JSON library of ftmctl; for the
# station package pytest, SQLAlchemy with SQLite and PostgreSQL (the server
# too, for the tests), Flask for the live view and headless Chromium with
# Selenium to test it; shellcheck for the board's start-up scripts; and
# valgrind for the soak benchmark.
# Installs only what is missing.
set -eu

packages="cmake ninja-build g++ clang libclang-rt-14-dev clang-format
  g++-mips-linux-gnu qemu-user googletest python3 iproute2 util-linux
  curl tftp-hpa atftp tftpd-hpa libexpat1-dev libxml2-dev binutils-mips-linux-gnu
  libsimpleini-dev nlohmann-json3-dev python3-pytest python3-pytest-xdist
  python3-sqlalchemy python3-psycopg2 postgresql python3-flask chromium chromium-driver
  python3-selenium shellcheck valgrind"

missing=""
for p in $packages; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing="$missing $p"
done
[ -z "$missing" ] && exit 0

echo "setup: installing$missing"
if [ "$(id -u)" -eq 0 ]; then sudo=""; else sudo="sudo"; fi
export DEBIAN_FRONTEND=noninteractive
$sudo apt-get update -qq
# The TFTP server package must not start a system service on port 69.
$sudo sh -c 'printf "#!/bin/sh\nexit 101\n" > /usr/sbin/policy-rc.d && chmod +x /usr/sbin/policy-rc.d'
$sudo apt-get install -y -qq --no-install-recommends $missing >/dev/null
$sudo rm -f /usr/sbin/policy-rc.d
