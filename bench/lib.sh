# Sourced by the benchmark scripts, from the repository's root, once they have set $build.

# Configures $build as a Release build the first time (through ccache where there is one) and
# builds the targets named.
bench_build() {
    if [ ! -f "$build/CMakeCache.txt" ]; then
        local launcher=()
        command -v ccache >/dev/null && launcher=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache)
        cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Release -DVESTRY_BUILD_TESTS=OFF \
            "${launcher[@]}" >/dev/null
    fi
    cmake --build "$build" -j2 --target "$@" >/dev/null
}

# The tree of the scan and window benchmarks (1,000 projects of 100 autosaves, half Premiere,
# half Avid), made once and kept; prints its absolute path. Needs catalogue_make_tree built.
bench_catalogue_tree() {
    local tree="$build/bench-data/catalogue-tree"
    if [ ! -d "$tree" ]; then
        mkdir -p "$(dirname "$tree")"
        "$build/bin/catalogue_make_tree" "$tree" 1000 100 >/dev/null
    fi
    (cd "$tree" && pwd)
}
