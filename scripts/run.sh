#!/usr/bin/env bash
# Builds the products and starts Tallo against a fresh vault in a scratch home folder.
# With a display (DISPLAY or WAYLAND_DISPLAY) the Tallo window opens; without one the application
# says so and runs without a window. Its log goes to the terminal. Ctrl-C quits it the way a
# session manager would. RUN_SECONDS=N stops it after N seconds.
set -euo pipefail
cd "$(dirname "$0")/.."
root=$(pwd)

./scripts/setup.sh
cmake -S . -B build -G Ninja >/dev/null
cmake --build build -j"$(nproc)" --target bundles

scratch=${MNEMORA_SCRATCH:-$(mktemp -d /tmp/tallo-scratch.XXXXXX)}
export HOME="$scratch/home"
export XDG_DATA_HOME="$HOME/.local/share" XDG_CACHE_HOME="$HOME/.cache"
export XDG_STATE_HOME="$HOME/.local/state" XDG_CONFIG_HOME="$HOME/.config"

vault="$HOME/Tallo"
mkdir -p "$vault/Registry" "$vault/Notes" "$vault/Media" "$vault/.mnemora" "$XDG_DATA_HOME/Tallo"
config="$XDG_DATA_HOME/Tallo/config.json"
if [ ! -f "$config" ]; then
  printf '{\n    "mnemora_path": "%s"\n}\n' "$vault" > "$config"
fi

echo "[run] scratch home: $HOME"
echo "[run] vault: $vault"
if [ -n "${RUN_SECONDS:-}" ]; then
  exec timeout --preserve-status -s INT "$RUN_SECONDS" "$root/build/bundles/Tallo/tallo"
fi
exec "$root/build/bundles/Tallo/tallo"
