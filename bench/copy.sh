#!/usr/bin/env bash
# Copying 1 GiB against cp: one destination without a checksum (cp --reflink=never), two
# destinations in one pass (two cp), and the MD5-verified copy (cp then md5sum of both).
# The source's pages are in the cache; the destinations go and are synced before each
# timing; ours and cp take turns. Prints one ROW line per case (see bench/run).
# Usage: bench/copy.sh [BUILD_DIR [ROUNDS]]   (default build-release, 5 rounds; 3 GiB of disk)
set -euo pipefail
cd "$(dirname "$0")/.."
build=${1:-build-release}
rounds=${2:-5}
source bench/lib.sh
bench_build vestry_copy_bench
mkdir -p "$build/bench-data"
# Writes into the page cache are what is timed: when the cache is full of other files, the
# kernel reclaims it in some runs and not others (runs of 0.2 s and 1.2 s for the same copy,
# on either side). Where permitted, the benchmark starts from an empty cache.
if [ -w /proc/sys/vm/drop_caches ]; then
    sync
    echo 1 >/proc/sys/vm/drop_caches
    echo "page cache dropped before the runs" >&2
fi
# The table's lines on standard output; the per-run detail on standard error.
"$build/bin/vestry_copy_bench" "$(cd "$build/bench-data" && pwd)" "$rounds" |
    awk '/^ROW\t/ { print; next } { print > "/dev/stderr" }' || true
