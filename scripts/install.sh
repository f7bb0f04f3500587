#!/usr/bin/env bash
# Installs what the build, the tests or the demo need from Debian's packages, and says what it installs.
# Usage: scripts/install.sh build|clang|bench|demo|metrics|servers|fuzz|package ...   (as root; without root it names
# what is missing)
set -euo pipefail

declare -A packages=(
  [build]="g++ cmake ninja-build pkg-config libicu-dev libfmt-dev libmicrohttpd-dev rapidjson-dev libcli11-dev libcurl4-openssl-dev libgtest-dev libgmock-dev curl ca-certificates"
  [bench]="libbenchmark-dev libprotobuf-dev protobuf-compiler"
  [clang]="clang clang-tidy"
  [fuzz]="clang libclang-rt-14-dev"
  [package]="dpkg-dev file adduser lintian systemd iproute2 default-jdk-headless tomcat10 curl"
  [demo]="default-jdk-headless libtomcat10-java libhsqldb-java libactivemq-java libslf4j-java libasm-java curl procps"
  [metrics]="prometheus curl"
  [servers]="default-jdk-headless tomcat10 libhsqldb-java libehcache-java libslf4j-java libjetty9-java libasm-java curl procps"
)

missing=()
for group in "$@"; do
  for package in ${packages[$group]:?"unknown group '$group': build, clang, bench, demo, metrics, servers, fuzz or package"}; do
    dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q 'ok installed' || missing+=("$package")
  done
done
[ ${#missing[@]} -eq 0 ] && exit 0

if [ "$(id -u)" -ne 0 ]; then
  echo "These Debian packages are missing: ${missing[*]}" >&2
  echo "Install them as root:  apt-get install ${missing[*]}" >&2
  exit 1
fi
echo "Installing from Debian's packages: ${missing[*]}"
export DEBIAN_FRONTEND=noninteractive
apt-get update -qq
apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
# The package starts a server of its own, which the tests do not use.
case " ${missing[*]} " in *" prometheus "*) systemctl disable --now prometheus 2>/dev/null || true ;; esac
