#!/usr/bin/env bash
# Installs every Debian package that the build, the tests and the application need.
# Idempotent: does nothing when all packages are present, and refreshes the package
# lists only when something is missing. Works as root or through sudo.
set -euo pipefail

packages=(
  build-essential cmake ninja-build pkg-config git ccache
  qt6-base-dev qt6-base-dev-tools qcoro-qt6-dev
  qt6-declarative-dev qml6-module-qtquick qml6-module-qtquick-controls
  qml6-module-qtquick-templates qml6-module-qtquick-window qml6-module-qtquick-layouts
  qml6-module-qtqml qml6-module-qtqml-models qml6-module-qtqml-workerscript
  fonts-dejavu-core libqt6svg6
  libsqlite3-dev libsqlitecpp-dev sqlite3
  libutf8proc-dev uuid-dev
  libgtest-dev libgmock-dev googletest libbenchmark-dev
  qt6-multimedia-dev gstreamer1.0-plugins-good gstreamer1.0-plugins-bad
  pulseaudio pulseaudio-utils
  procps tmux
)

missing=()
for p in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed'; then
    missing+=("$p")
  fi
done

if [ ${#missing[@]} -eq 0 ]; then
  exit 0
fi

sudo=()
if [ "$(id -u)" -ne 0 ]; then
  sudo=(sudo)
fi

echo "[setup] installing: ${missing[*]}"
export DEBIAN_FRONTEND=noninteractive
"${sudo[@]}" env DEBIAN_FRONTEND=noninteractive apt-get update -qq
"${sudo[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends "${missing[@]}"
