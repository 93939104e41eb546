#!/usr/bin/env bash
# The window's start on 100,000 autosaves (1,000 projects, half Premiere, half Avid): time from
# the start of the process until the outline holds them all, under the offscreen platform, a
# fresh home each round (median of 5). Also counts the event-loop turns in which the visible
# outline was blank (no rows and nothing written over it; target 0).
# Usage: bench/window.sh [BUILD_DIR [ROUNDS]]   (default build-release, 5 rounds)
# Prints ROW lines: ROW<TAB>measure<TAB>ours<TAB>reference-name<TAB>reference<TAB>ratio<TAB>target
set -euo pipefail
cd "$(dirname "$0")/.."
build=${1:-build-release}
rounds=${2:-5}
source bench/lib.sh
bench_build catalogue_make_tree window_start_bench

tree=$(bench_catalogue_tree)
times=() blank=0
for _ in $(seq "$rounds"); do
    scratch=$(mktemp -d)
    line=$(HOME="$scratch" XDG_CONFIG_HOME="$scratch/.config" XDG_STATE_HOME="$scratch/.local/state" \
        XDG_DATA_HOME="$scratch/.local/share" XDG_CACHE_HOME="$scratch/.cache" XDG_RUNTIME_DIR="$scratch" \
        timeout 120 "$build/bin/window_start_bench" "$tree/Adobe Premiere Pro Auto-Save" "$tree/Avid Attic" 2>/dev/null |
        grep '^projects')
    rm -rf "$scratch"
    read -r _ projects _ autosaves _ ms _ turns <<<"$line"
    [ "$autosaves" = 100000 ] || { echo "window.sh: the outline held $autosaves autosaves, not 100000" >&2; exit 1; }
    times+=("$ms")
    blank=$((blank + turns))
done
median=$(printf '%s\n' "${times[@]}" | sort -n | sed -n "$(((rounds + 1) / 2))p")
printf 'ROW\twindow: 100k autosaves on screen after start (s)\t%s\t-\t-\t-\t<1.5 s\n' \
    "$(awk -v m="$median" 'BEGIN { printf "%.2f", m / 1000 }')"
printf 'ROW\twindow: turns with a blank outline, %s starts\t%s\t-\t-\t-\t0\n' "$rounds" "$blank"
