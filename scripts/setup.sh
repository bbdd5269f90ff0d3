#!/usr/bin/env bash
# Installs every Debian package that the build, the tests, the application and its packaging
# (dpkg-shlibdeps, icon rendering, desktop entry and AppStream validators) need, and the
# test-only Node.js packages pinned under tools/ (PouchDB Server, the phone companion's PouchDB
# browser build, and playwright-core that drives Debian's Chromium in the companion's tests).
# Idempotent: does nothing when all packages are present, and refreshes the package
# lists only when something is missing. Works as root or through sudo.
set -euo pipefail
cd "$(dirname "$0")/.."

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
  qtkeychain-qt6-dev
  qt6-multimedia-dev gstreamer1.0-plugins-good gstreamer1.0-plugins-bad
  pulseaudio pulseaudio-utils
  procps tmux
  dbus-bin dbus-daemon dbus-session-bus-common
  dpkg-dev file librsvg2-bin desktop-file-utils appstream curl
  pocketsphinx pocketsphinx-en-us ffmpeg espeak-ng
  libqrencode-dev chromium
)
# Node.js and npm run the test servers. A machine that already has both (from any source) keeps
# them: Debian's npm would not install beside another vendor's nodejs.
if ! command -v node >/dev/null || ! command -v npm >/dev/null; then
  packages+=(nodejs npm)
fi

missing=()
for p in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed'; then
    missing+=("$p")
  fi
done

if [ ${#missing[@]} -gt 0 ]; then
  sudo=()
  if [ "$(id -u)" -ne 0 ]; then
    sudo=(sudo)
  fi
  echo "[setup] installing: ${missing[*]}"
  export DEBIAN_FRONTEND=noninteractive
  "${sudo[@]}" env DEBIAN_FRONTEND=noninteractive apt-get update -qq
  "${sudo[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends "${missing[@]}"
fi

# The pinned Node.js packages, again only when they are missing or the lockfile changed. Their
# optional native modules and install scripts are not needed.
stamp=tools/node_modules/.installed-lock.sha256
lock_sum=$(sha256sum tools/package-lock.json | cut -d' ' -f1)
if [ ! -f "$stamp" ] || [ "$(cat "$stamp")" != "$lock_sum" ]; then
  echo "[setup] installing the test servers in tools/ (npm ci)"
  (cd tools && npm ci --omit=optional --ignore-scripts --no-audit --no-fund --loglevel=error)
  echo "$lock_sum" > "$stamp"
fi
