#!/usr/bin/env bash
# Builds the three Debian packages and checks one of them the way a person would use it: installs
# it into this machine (dpkg -i, then apt-get for missing dependencies), validates the installed
# desktop entry and AppStream metadata, starts the installed product offscreen against a scratch
# home, and purges it again, failing when anything is left in the system folders that was not
# there before. It installs into /usr, so it needs root (or sudo) and must not run beside other
# tests that look at /usr; scripts/test.sh runs it after the test suite.
#
#   scripts/package-test.sh [BUILD_DIR] [PRODUCT]     defaults: build tallo
set -euo pipefail
cd "$(dirname "$0")/.."
build=${1:-build}
product=${2:-tallo}

sudo=()
if [ "$(id -u)" -ne 0 ]; then
  sudo=(sudo)
fi

fail() {
  echo "[package-test] FAILED: $*" >&2
  exit 1
}
say() { echo "[package-test] $*"; }

# wait_for SECONDS WHAT COMMAND...: polls COMMAND until it succeeds, or says what it gave up on.
wait_for() {
  local seconds=$1 what=$2
  shift 2
  local deadline=$((SECONDS + seconds))
  until "$@"; do
    if [ $SECONDS -ge $deadline ]; then
      echo "[package-test] gave up waiting ${seconds}s for $what" >&2
      return 1
    fi
    sleep 0.2
  done
}

declare -A identifier=([mnemora]=ai.mnemora [voxlet]=vox.let [tallo]=tallo.ai)
declare -A desktop_id=([mnemora]=ai.mnemora.Mnemora [voxlet]=let.vox.Voxlet [tallo]=ai.tallo.Tallo)
declare -A display=([mnemora]=Mnemora [voxlet]=Voxlet [tallo]=Tallo)
[ -n "${identifier[$product]:-}" ] || fail "unknown product '$product' (mnemora, voxlet or tallo)"

# Two runs on one machine would install the same package; the second waits for the first.
exec 9>/tmp/mnemora-package-test.lock
flock 9

work=$(mktemp -d /tmp/package-test.XXXXXX)
app_pid=
cleanup() {
  if [ -n "$app_pid" ] && kill -0 "$app_pid" 2>/dev/null; then
    kill -KILL "$app_pid" 2>/dev/null || true
  fi
  if dpkg-query -W -f='${Status}' "$product" 2>/dev/null | grep -q 'ok installed'; then
    "${sudo[@]}" dpkg --purge "$product" >/dev/null || true
  fi
  rm -rf "$work"
}
trap cleanup EXIT

version=$(sed -n 's/^project(Mnemora VERSION \([0-9.]*\).*/\1/p' CMakeLists.txt)
arch=$(dpkg --print-architecture)
say "building the packages"
cmake --build "$build" --target package >"$work/cpack.log" 2>&1 || {
  cat "$work/cpack.log"
  fail "the package build failed"
}

# Each package: the bundle folder, the launcher, the desktop files, and its dependencies, both
# the ones scanned from the executables and the ones they load by name.
for name in mnemora voxlet tallo; do
  deb="$build/packages/${name}_${version}-1_${arch}.deb"
  [ -f "$deb" ] || fail "no package $deb"
  id=${desktop_id[$name]}
  contents=$(dpkg-deb -c "$deb" | awk '{print $6 ($7 == "->" ? " -> " $8 : "")}')
  for path in "./usr/bin/$name -> ../lib/$name/$name" "./usr/lib/$name/$name" \
    "./usr/lib/$name/$name-daemon" "./usr/lib/$name/Info.json" "./usr/lib/$name/Resources/" \
    "./usr/share/applications/$id.desktop" "./usr/share/metainfo/$id.metainfo.xml" \
    "./usr/share/icons/hicolor/scalable/apps/$id.svg" \
    "./usr/share/icons/hicolor/48x48/apps/$id.png"; do
    grep -qxF -- "$path" <<<"$contents" || fail "$deb lacks $path"
  done
  depends=$(dpkg-deb -f "$deb" Depends)
  for needed in 'libqt6core6 (>= ' 'libqt6quick6 (>= ' qml6-module-qtquick-controls libqt6svg6; do
    grep -qF -- "$needed" <<<"$depends" || fail "$deb does not depend on $needed: $depends"
  done
done

snapshot() {
  find /usr /opt /etc /var/lib/dpkg/info /var/lib/dpkg/alternatives -xdev 2>/dev/null | LC_ALL=C sort
}
snapshot >"$work/before"

deb="$build/packages/${product}_${version}-1_${arch}.deb"
say "installing $deb"
if ! "${sudo[@]}" dpkg -i "$deb" >"$work/install.log" 2>&1; then
  # Dependencies this machine lacks: apt-get fetches them and finishes the configuration, but
  # never by removing something that is installed.
  "${sudo[@]}" env DEBIAN_FRONTEND=noninteractive apt-get -f install -y -qq --no-remove \
    >>"$work/install.log" 2>&1 || true
fi
dpkg-query -W -f='${Status}' "$product" 2>/dev/null | grep -qx 'install ok installed' || {
  cat "$work/install.log"
  fail "$product is not installed"
}

id=${desktop_id[$product]}
desktop-file-validate "/usr/share/applications/$id.desktop" || fail "invalid desktop entry"
appstreamcli validate --no-net "/usr/share/metainfo/$id.metainfo.xml" ||
  fail "invalid AppStream metadata"
[ "$(command -v "$product")" = "/usr/bin/$product" ] || fail "$product is not on PATH"
grep -qx "Exec=$product" "/usr/share/applications/$id.desktop" ||
  fail "the desktop entry does not start /usr/bin/$product"
grep -qF "\"desktopEntry\": \"$id\"" "/usr/lib/$product/Info.json" ||
  fail "the installed bundle does not name its desktop entry $id"

# A daemon command word, given to the launcher, runs the daemon installed beside the application.
[ "$("$product" --version)" = "$product-daemon $version" ] ||
  fail "'$product --version' did not reach the installed daemon"

# Started from the menu's command in a scratch home: it opens its window offscreen, answers on
# its local port as the installed product, starts the installed daemon, and quits on SIGTERM.
home="$work/home"
mkdir -p "$home" "$work/runtime"
chmod 700 "$work/runtime"
vault="$home/${display[$product]}"
mkdir -p "$vault/Registry" "$vault/Notes" "$home/.local/share/${display[$product]}"
printf '{\n    "mnemora_path": "%s"\n}\n' "$vault" >"$home/.local/share/${display[$product]}/config.json"
port_file="$home/.cache/${identifier[$product]}/native_introspection.port"
env -i PATH=/usr/bin:/bin HOME="$home" XDG_RUNTIME_DIR="$work/runtime" \
  QT_QPA_PLATFORM=offscreen QT_QUICK_BACKEND=software \
  "$product" >"$work/app.log" 2>&1 &
app_pid=$!
say "started $product ($app_pid)"

daemon_running() {
  local exe
  for exe in /proc/[0-9]*/exe; do
    [ "$(readlink "$exe" 2>/dev/null)" = "/usr/lib/$product/$product-daemon" ] && return 0
  done
  return 1
}
daemon_stopped() { ! daemon_running; }
wait_for 60 "the introspection port file" test -s "$port_file" || {
  cat "$work/app.log"
  fail "the installed $product never opened its local port"
}
port=$(cat "$port_file")
health=$(curl -sf "http://127.0.0.1:$port/health") || fail "no answer on /health"
expected="{\"app\":\"${display[$product]}\",\"bundle\":\"${identifier[$product]}\"}"
[ "$health" = "$expected" ] || fail "/health said $health, not $expected"
curl -sf -o "$work/window.png" "http://127.0.0.1:$port/screenshot" || {
  cat "$work/app.log"
  fail "the installed $product shows no window"
}
[ "$(head -c 8 "$work/window.png" | od -An -tx1 | tr -d ' \n')" = 89504e470d0a1a0a ] ||
  fail "the window capture is not a PNG image"
wait_for 60 "the daemon to start" daemon_running || {
  cat "$work/app.log"
  fail "the installed $product did not start /usr/lib/$product/$product-daemon"
}
if grep -q "is not installed\|module .* not found" "$work/app.log"; then
  cat "$work/app.log"
  fail "a QML module is missing"
fi
kill -TERM "$app_pid"
status=0
wait "$app_pid" || status=$?
app_pid=
[ "$status" -eq 0 ] || {
  cat "$work/app.log"
  fail "$product exited with status $status on SIGTERM"
}
wait_for 10 "the daemon to stop" daemon_stopped ||
  fail "the daemon outlived the application"

say "purging $product"
"${sudo[@]}" dpkg --purge "$product" >"$work/purge.log" 2>&1 || {
  cat "$work/purge.log"
  fail "dpkg --purge failed"
}
snapshot >"$work/after"
# A path another package owns came from someone else installing meanwhile, not from us.
left=$(LC_ALL=C comm -13 "$work/before" "$work/after" | while read -r path; do
  dpkg-query -S "$path" >/dev/null 2>&1 || echo "$path"
done)
[ -z "$left" ] || fail "left behind after purge:"$'\n'"$left"
gone=$(LC_ALL=C comm -23 "$work/before" "$work/after")
[ -z "$gone" ] || fail "missing after purge, though there before install:"$'\n'"$gone"
say "passed: $product installs, validates, starts and purges cleanly"
