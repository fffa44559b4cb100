#!/usr/bin/env bash
# Installs the Debian packages the build, the tests and the demo need, if any is missing.
set -euo pipefail

packages=(
    g++ cmake ninja-build pkg-config
    libgtest-dev libgmock-dev libbenchmark-dev
    qt6-base-dev qt6-svg-dev libshp-dev qt6-translations-l10n
    clang libclang-rt-14-dev
    fonts-dejavu-core xvfb xauth
    strace
    poppler-utils
)

missing=()
for p in "${packages[@]}"; do
    dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done

if [ ${#missing[@]} -gt 0 ]; then
    echo "installing: ${missing[*]}"
    sudo=""
    [ "$(id -u)" -ne 0 ] && sudo="sudo"
    $sudo apt-get update -qq
    DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq --no-install-recommends "${missing[@]}"
fi
