#!/usr/bin/env bash
# Builds the products and starts Tallo against a fresh vault in a scratch home folder.
# With a display (DISPLAY or WAYLAND_DISPLAY) the Tallo window opens; without one the application
# says so and runs without a window. Its log goes to the terminal. Ctrl-C quits it the way a
# session manager would. RUN_SECONDS=N stops it after N seconds.
# A local PouchDB Server (from tools/) is the record store: Tallo syncs the phone's documents into
# it and publishes the phone companion there, whose URL is printed; open it in a browser beside
# the window. COMPANION_PORT picks the server's port (5984); it stops when Tallo quits.
set -euo pipefail
cd "$(dirname "$0")/.."
root=$(pwd)

./scripts/setup.sh
cmake -S . -B build -G Ninja >/dev/null
cmake --build build -j"$(nproc)" --target bundles  # the application and its daemon

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

# A fresh vault starts with one open question and one period under way, so the loop shows at once;
# the daemon beside the application indexes them as soon as it starts.
if [ ! -e "$vault/Registry/me/questions" ]; then
  mkdir -p "$vault/Registry/me/questions"
  cat > "$vault/Registry/me/questions/march-invoice-vat.md" <<'DEMO'
---
kind: judgment
status: open
question: Which VAT rate applies to the March invoice from Harbour Print?
asked_at: 2026-03-28T09:00:00Z
asked_by: accountant
period: 2026-03
suggested_actions: [Standard rate | Reduced rate | Ask me later => later]
---

## Question

Which VAT rate applies to the March invoice from Harbour Print?
DEMO
fi
period="$vault/Notes/bookkeeping/2026-03"
if [ ! -e "$period" ]; then
  mkdir -p "$period/items"
  printf -- '---\nperiod: 2026-03\nbusiness: Demo Bakery\nstatus: running\nphase: collecting\ncurrent_activity: Matching receipts to the bank statement\nstarted_at: 2026-03-28T08:00:00Z\nupdated_at: 2026-03-28T09:00:00Z\n---\n' > "$period/run.md"
  printf -- '---\nkind: deliverable\nlabel: Bank statement\nstatus: done\nsort_order: 1\n---\n' > "$period/items/bank-statement.md"
  printf -- '---\nkind: deliverable\nlabel: Sales invoices\nstatus: pending\nsort_order: 2\n---\n' > "$period/items/sales-invoices.md"
  printf -- '---\nkind: transaction\ndate: 2026-03-12\nvendor: Harbour Print\namount: -86.40\ncurrency: EUR\nstatus: ask\nsort_order: 3\nquestion_slug: march-invoice-vat\n---\n' > "$period/items/harbour-print.md"
fi

# The record store, in a session of its own so that Ctrl-C reaches Tallo first; stopped on exit.
# It keeps its data in memory (the pinned server has no native storage modules): each run starts
# with an empty store, which the desktop fills again from its files.
port=${COMPANION_PORT:-5984}
mkdir -p "$scratch/recordstore"
(cd "$scratch/recordstore" && exec setsid "$root/tools/node_modules/.bin/pouchdb-server" \
  --host 127.0.0.1 --port "$port" --in-memory --no-stdout-logs \
  > "$scratch/recordstore/server.log" 2>&1) &
store_pid=$!
trap 'kill -TERM -- "-$store_pid" 2>/dev/null || kill -TERM "$store_pid" 2>/dev/null || true' EXIT
for _ in $(seq 100); do
  curl -fs "http://127.0.0.1:$port/" >/dev/null && break
  kill -0 "$store_pid" 2>/dev/null || { cat "$scratch/recordstore/server.log"; exit 1; }
  sleep 0.1
done
database="http://127.0.0.1:$port/tallo"
defaults="$XDG_CONFIG_HOME/tallo.ai.ini"
mkdir -p "$XDG_CONFIG_HOME"
if ! grep -q '^syncedDocs.recordStore.url=' "$defaults" 2>/dev/null; then
  printf '[General]\nsyncedDocs.recordStore.url=%s\n' "$database" >> "$defaults"
fi

echo "[run] scratch home: $HOME"
echo "[run] vault: $vault"
echo "[run] record store: $database (PouchDB Server, log in $scratch/recordstore/server.log)"
echo "[run] phone companion: $database/_design/companion/index.html"
status=0
if [ -n "${RUN_SECONDS:-}" ]; then
  timeout --preserve-status -s INT "$RUN_SECONDS" "$root/build/bundles/Tallo/tallo" || status=$?
else
  "$root/build/bundles/Tallo/tallo" || status=$?
fi
exit "$status"
