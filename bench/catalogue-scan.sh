#!/usr/bin/env bash
# Catalogue scan benchmark: scans 1,000 projects of 100 autosaves (half in the Premiere folder
# layout, half in the Avid layout) and times find(1) over the same tree in the same run, with
# a warm cache. Prints our time, find's time, their ratio (target: at most 2.0) and our peak
# memory (target: under 100 MiB).
# Usage: bench/catalogue-scan.sh [BUILD_DIR]   (default build-release, configured as Release)
set -euo pipefail
cd "$(dirname "$0")/.."
build=${1:-build-release}
if [ ! -f "$build/CMakeCache.txt" ]; then
    cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Release -DVESTRY_BUILD_TESTS=OFF >/dev/null
fi
cmake --build "$build" -j2 --target catalogue_make_tree catalogue_scan_bench >/dev/null

tree="$build/bench-data/catalogue-tree"
if [ ! -d "$tree" ]; then
    mkdir -p "$(dirname "$tree")"
    "$build/bin/catalogue_make_tree" "$tree" 1000 100
fi
tree=$(cd "$tree" && pwd)

# The scan logs and stores its first folder in the settings: keep both out of the real home.
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
export HOME="$scratch" XDG_CONFIG_HOME="$scratch/.config" XDG_STATE_HOME="$scratch/.local/state"
export XDG_DATA_HOME="$scratch/.local/share" XDG_CACHE_HOME="$scratch/.cache"

rounds=5
now() { date +%s%N; }
find_once() {
    local start end
    start=$(now)
    find "$1" -printf '%s %T@ %p\n' >/dev/null
    end=$(now)
    echo $(((end - start) / 1000))
}
median() { sort -n | awk '{v[NR]=$1} END {print v[int((NR+1)/2)]}'; }

# Warm the cache with both tools.
find "$tree" -printf '%s %T@ %p\n' >/dev/null
"$build/bin/catalogue_scan_bench" "$tree" 1 >/dev/null

find_all=() find_premiere=() find_avid=()
for _ in $(seq $rounds); do
    find_all+=("$(find_once "$tree")")
    find_premiere+=("$(find_once "$tree/Adobe Premiere Pro Auto-Save")")
    find_avid+=("$(find_once "$tree/Avid Attic")")
done
ours=$(/usr/bin/time -f 'peak_rss_time_kib=%M' "$build/bin/catalogue_scan_bench" "$tree" $rounds 2>&1)

value() { echo "$ours" | tr ' ' '\n' | sed -n "s/^$1=//p"; }
fa=$(printf '%s\n' "${find_all[@]}" | median)
fp=$(printf '%s\n' "${find_premiere[@]}" | median)
fv=$(printf '%s\n' "${find_avid[@]}" | median)
awk -v ot="$(value total_seconds)" -v op="$(value premiere_seconds)" -v ov="$(value avid_seconds)" \
    -v fa="$fa" -v fp="$fp" -v fv="$fv" -v items="$(value items)" -v projects="$(value projects)" \
    -v peak="$(value peak_rss_time_kib)" -v before="$(value rss_before_kib)" -v holding="$(value rss_holding_catalogue_kib)" \
    'BEGIN {
        printf "catalogue scan: %d autosaves in %d projects (median of 5 warm runs)\n", items, projects
        printf "  %-22s %9s %9s %7s\n", "layout", "ours ms", "find ms", "ratio"
        printf "  %-22s %9.1f %9.1f %7.2f\n", "Premiere folders", op * 1000, fp / 1000, op * 1e6 / fp
        printf "  %-22s %9.1f %9.1f %7.2f\n", "Avid Attic", ov * 1000, fv / 1000, ov * 1e6 / fv
        printf "  %-22s %9.1f %9.1f %7.2f   (target: at most 2.0)\n", "whole tree", ot * 1000, fa / 1000, ot * 1e6 / fa
        printf "peak memory: %.1f MiB (target: under 100 MiB); the catalogue itself holds %.1f MiB\n",
               peak / 1024, (holding - before) / 1024
    }'
