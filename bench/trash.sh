#!/usr/bin/env bash
# Trashing many autosaves: `vestry prune --keep 1` of 5,000 autosaves (100 projects of 51,
# half in the Premiere layout, half in the Avid layout; the scan and the rule included)
# against `gio trash` of the very same files. Each round makes a fresh tree for each side,
# on the same file system as the scratch home whose Trash both fill; the two take turns.
# Prints one ROW line (see bench/run) with the medians and their ratio.
# Usage: bench/trash.sh [BUILD_DIR [ROUNDS]]   (default build-release, 5 rounds)
set -euo pipefail
cd "$(dirname "$0")/.."
build=${1:-build-release}
rounds=${2:-5}
command -v gio >/dev/null || { echo "trash.sh: gio is missing (apt-get install libglib2.0-bin)" >&2; exit 2; }
source bench/lib.sh
bench_build vestry catalogue_make_tree
# VESTRY: another build of the program to measure instead (an older one, to compare).
vestry=${VESTRY:-$(cd "$build/bin" && pwd)/vestry}
make_tree=$(cd "$build/bin" && pwd)/catalogue_make_tree

mkdir -p "$build/bench-data"
scratch=$(mktemp -d "$(cd "$build/bench-data" && pwd)/trash.XXXXXX")
trap 'rm -rf "$scratch"' EXIT
# Each timed run gets a tree and a home of its own, and nothing is deleted until the end: on
# ext4 without a journal, a file made just after thousands were deleted waits while the
# kernel passes over every inode freed in the last minute, and whichever side ran right
# after a deletion paid for it (half of a run's time, in a profile).
round=0
fresh() {
    round=$((round + 1))
    local base="$scratch/$round"
    export HOME="$base/home" XDG_CONFIG_HOME="$base/home/.config" XDG_STATE_HOME="$base/home/.local/state"
    export XDG_DATA_HOME="$base/home/.local/share" XDG_CACHE_HOME="$base/home/.cache"
    mkdir -p "$HOME"
    tree="$base/tree"
    locations=("$tree/Adobe Premiere Pro Auto-Save" "$tree/Avid Attic")
    "$make_tree" "$tree" 100 51 >/dev/null
    sync
}

# The files the rule picks, once, relative to the tree: the tree is the same every round.
fresh
"$vestry" prune --keep 1 --dry-run --json "${locations[@]}" |
    python3 -c 'import json,sys; t=sys.argv[1]; sys.stdout.write("".join(e["path"][len(t) + 1:]+"\0" for e in json.load(sys.stdin)["removed"]))' "$tree" \
        >"$scratch/files"
count=$(tr -cd '\0' <"$scratch/files" | wc -c)

seconds() {
    local start end
    start=$(date +%s%N)
    "$@" >/dev/null
    end=$(date +%s%N)
    awk -v a="$start" -v b="$end" 'BEGIN { printf "%.3f", (b - a) / 1e9 }'
}
ours() { "$vestry" prune --keep 1 "${locations[@]}"; }
reference() { (cd "$tree" && xargs -0 gio trash <"$scratch/files"); }

oursTimes=()
referenceTimes=()
for ((i = 0; i < rounds; i++)); do
    if ((i % 2 == 0)); then
        fresh; oursTimes+=("$(seconds ours)")
        fresh; referenceTimes+=("$(seconds reference)")
    else
        fresh; referenceTimes+=("$(seconds reference)")
        fresh; oursTimes+=("$(seconds ours)")
    fi
done
median() { printf '%s\n' "$@" | sort -n | sed -n "$((($# + 1) / 2))p"; }
o=$(median "${oursTimes[@]}")
r=$(median "${referenceTimes[@]}")
echo "trash.sh: $count files; ours ${oursTimes[*]} s; gio trash ${referenceTimes[*]} s" >&2
printf 'ROW\t%s\t%s\t%s\t%s\t%s\t%s\n' "prune --keep 1, $count autosaves" "$o" "gio trash" "$r" \
    "$(awk -v a="$o" -v b="$r" 'BEGIN { printf "%.2f", a / b }')" "1.2"
