#!/usr/bin/env bash
# `vestry list --json` end to end against `find TREE -printf '%s %T@ %p\n'` on the same trees:
# 100,000 Premiere autosaves, and 100,000 in the Avid and Final Cut vault layouts. The two are
# timed in turn, round by round (median of ROUNDS), warm cache, output to /dev/null; peak memory
# is /usr/bin/time's maximum resident size. With --million (or LIST_BENCH_MILLION=1) it also
# lists 1,000,000 Premiere autosaves and compares time and memory with 10 times the 100,000.
# Prints one line per measure:
#   ROW<TAB>measure<TAB>ours<TAB>reference-name<TAB>reference<TAB>ratio<TAB>target
# Usage: bench/list.sh [BUILD_DIR [ROUNDS]] [--million]
set -euo pipefail
cd "$(dirname "$0")/.."
million=${LIST_BENCH_MILLION:-0}
args=()
for a in "$@"; do
    if [ "$a" = --million ]; then million=1; else args+=("$a"); fi
done
build=${args[0]:-build-release}
rounds=${args[1]:-5}
source bench/lib.sh
bench_build vestry catalogue_make_tree
vestry=$(cd "$build/bin" && pwd)/vestry
data=$(mkdir -p "$build/bench-data" && cd "$build/bench-data" && pwd)

tree() { # NAME PROJECTS LAYOUT: made once, kept for the next run
    local dir="$data/$1"
    if [ ! -d "$dir" ]; then
        "$build/bin/catalogue_make_tree" "$dir.partial" "$2" 100 "$3" >/dev/null
        mv "$dir.partial" "$dir"
    fi
    echo "$dir"
}

# The listing stores its first folder in the settings and logs: keep both out of the real home.
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
export HOME="$scratch" XDG_CONFIG_HOME="$scratch/.config" XDG_STATE_HOME="$scratch/.local/state"
export XDG_DATA_HOME="$scratch/.local/share" XDG_CACHE_HOME="$scratch/.cache"
export LC_ALL=C.UTF-8

seconds() { # COMMAND...: wall seconds of one run, output to /dev/null
    local start=$EPOCHREALTIME
    "$@" >/dev/null 2>&1
    awk -v a="$start" -v b="$EPOCHREALTIME" 'BEGIN {printf "%.4f", b - a}'
}
median() { sort -g | awk '{v[NR] = $1} END {printf "%.3f", v[int((NR + 1) / 2)]}'; }
ratio() { awk -v a="$1" -v b="$2" 'BEGIN {printf "%.2fx", a / b}'; }
times() { awk -v a="$1" -v b="$2" 'BEGIN {printf "%.3f", a * b}'; }
row() { printf 'ROW\t%s\t%s\t%s\t%s\t%s\t%s\n' "$@"; }

# MEASURE TREE...: times ours and find in turn; leaves the medians in $ours and $reference and
# our peak memory (MiB) in $peak.
compare() {
    local measure=$1
    shift
    local locations=()
    for t in "$@"; do
        for l in "$t"/*; do locations+=("$l"); done
    done
    "$vestry" list --json "${locations[@]}" >/dev/null # warm the cache
    find "$@" -printf '%s %T@ %p\n' >/dev/null
    local a=() b=()
    for ((i = 0; i < rounds; i++)); do
        a+=("$(seconds "$vestry" list --json "${locations[@]}")")
        b+=("$(seconds find "$@" -printf '%s %T@ %p\n')")
    done
    ours=$(printf '%s\n' "${a[@]}" | median)
    reference=$(printf '%s\n' "${b[@]}" | median)
    peak=$( { /usr/bin/time -f %M "$vestry" list --json "${locations[@]}" >/dev/null; } 2>&1 | tail -1)
    peak=$(awk -v k="$peak" 'BEGIN {printf "%.1f", k / 1024}')
    row "$measure (s)" "$ours" "find -printf" "$reference" "$(ratio "$ours" "$reference")" "<=1.5x"
}

premiere=$(tree list-premiere-100k 1000 premiere)
compare "list --json, 100k Premiere" "$premiere"
row "list --json, 100k Premiere, peak memory (MiB)" "$peak" "" "" "" "<=60"
premiereTime=$ours
premierePeak=$peak

avidVault=$(tree list-avid-vault-100k 1000 avid-vault)
compare "list --json, 100k Avid and vault" "$avidVault"
row "list --json, 100k Avid and vault, peak memory (MiB)" "$peak" "" "" "" "<=60"

if [ "$million" = 1 ]; then
    big=$(tree list-premiere-1m 10000 premiere)
    compare "list --json, 1M Premiere" "$big"
    tenTimes=$(times "$premiereTime" 10)
    row "list --json, 1M Premiere against 10x 100k (s)" "$ours" "10x 100k" "$tenTimes" \
        "$(ratio "$ours" "$tenTimes")" "<=1.1x"
    tenTimes=$(times "$premierePeak" 10)
    row "list --json, 1M Premiere against 10x 100k, peak memory (MiB)" "$peak" "10x 100k" "$tenTimes" \
        "$(ratio "$peak" "$tenTimes")" "<=1.1x"
fi
