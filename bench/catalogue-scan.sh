#!/usr/bin/env bash
# Catalogue scan benchmark: scans 1,000 projects of 100 autosaves (half in the Premiere folder
# layout, half in the Avid layout) and, in the same run and round by round, times
# `find TREE -printf '%s %T@ %p\n' >/dev/null` over the same folders. Prints both medians, their
# ratio (target: at most 2.0) and our peak memory (target: under 100 MiB).
# Usage: bench/catalogue-scan.sh [BUILD_DIR [ROUNDS]]   (default build-release, 5 rounds)
set -euo pipefail
cd "$(dirname "$0")/.."
build=${1:-build-release}
rounds=${2:-5}
source bench/lib.sh
bench_build catalogue_make_tree catalogue_scan_bench

tree=$(bench_catalogue_tree)

# The scan logs and stores its first folder in the settings: keep both out of the real home.
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
export HOME="$scratch" XDG_CONFIG_HOME="$scratch/.config" XDG_STATE_HOME="$scratch/.local/state"
export XDG_DATA_HOME="$scratch/.local/share" XDG_CACHE_HOME="$scratch/.cache"

"$build/bin/catalogue_scan_bench" "$tree" "$rounds"
