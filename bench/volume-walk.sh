#!/usr/bin/env bash
# Makes an editing drive of realistic size (400 jobs of 40 clients: camera cards, audio, exports,
# media cache, a Premiere auto-save folder in every other job; about 140,000 files in 8,000
# folders) and prints the commands that compare discovery's walk of it with find(1) and with
# building and asking an index of plocate's own. Time each with the timing tool at hand, e.g.
# /usr/bin/time -v, several runs after a warm-up.
# Usage: bench/volume-walk.sh [BUILD_DIR]   (default build)
set -euo pipefail
cd "$(dirname "$0")/.."
build=${1:-build}
cmake --build "$build" -j2 --target vestry_volume_walk >/dev/null
tree="$(pwd)/$build/bench-data/volume-tree"
if [ ! -d "$tree" ]; then
    for c in $(seq -w 1 40); do
        for j in $(seq -w 1 10); do
            job="$tree/Clients/Client $c/Job $j"
            mkdir -p "$job"/Footage/Card{1..5}/CONTENTS/CLIP "$job"/{Audio,Exports,Project} \
                "$job/Media Cache Files"
            for card in 1 2 3 4 5; do
                touch "$job/Footage/Card$card/CONTENTS/CLIP/"C{001..040}.MXF
            done
            touch "$job/Audio/"T{01..20}.wav "$job/Exports/"v{1..5}.mov "$job/Project/Job $j.prproj" \
                "$job/Media Cache Files/"m{001..100}.cfa
            if [ $((10#$j % 2)) -eq 0 ]; then
                mkdir -p "$job/Adobe Premiere Pro Auto-Save/Job $j"
                touch "$job/Adobe Premiere Pro Auto-Save/Job $j/Job $j-"{01..20}.prproj
            fi
        done
    done
fi
db="$(pwd)/$build/bench-data/volume-tree.db"
echo "walk:    $build/bin/vestry_volume_walk $tree 6"
echo "find:    find $tree -maxdepth 6 -type d ( -iname 'Autosave Vault' -o -iname 'Adobe Premiere Pro Auto-Save' -o -iname '*.fcpbundle' ) -print -prune"
echo "index:   updatedb -l 0 -o $db -U $tree --prune-bind-mounts no --prunepaths '' --prunefs '' --prunenames ''"
echo "ask:     plocate -d $db -i -b '*Adobe Premiere Pro Auto-Save*'"
