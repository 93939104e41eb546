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
export HOME="$scratch/home" XDG_CONFIG_HOME="$scratch/home/.config" XDG_STATE_HOME="$scratch/home/.local/state"
export XDG_DATA_HOME="$scratch/home/.local/share" XDG_CACHE_HOME="$scratch/home/.cache"
mkdir -p "$HOME"
tree="$scratch/tree"
locations=("$tree/Adobe Premiere Pro Auto-Save" "$tree/Avid Attic")

fresh() {
    rm -rf "$tree" "$XDG_DATA_HOME/Trash"
    "$make_tree" "$tree" 100 51 >/dev/null
    sync
}

# The files the rule picks, once: the tree is the same every round.
fresh
"$vestry" prune --keep 1 --dry-run --json "${locations[@]}" |
    python3 -c 'import json,sys; sys.stdout.write("".join(e["path"]+"\0" for e in json.load(sys.stdin)["removed"]))' \
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
reference() { xargs -0 gio trash <"$scratch/files"; }

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
