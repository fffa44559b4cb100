#!/usr/bin/env bash
# Builds and runs every test: once optimised, once under AddressSanitizer and
# UndefinedBehaviorSanitizer.
set -euo pipefail
cd "$(dirname "$0")/.."

bash scripts/install-deps.sh

# Tests never touch the user's own settings or installation.
export XDG_CONFIG_HOME="$(mktemp -d)"
export XDG_RUNTIME_DIR="$(mktemp -d)"
chmod 700 "$XDG_RUNTIME_DIR"
unset TALLY_DEPOT_HOME
trap 'rm -rf "$XDG_CONFIG_HOME" "$XDG_RUNTIME_DIR"' EXIT

jobs=$(nproc)

cmake --preset release >/dev/null
cmake --build --preset release -j "$jobs"
ctest --preset release -j "$jobs"

cmake --preset sanitize >/dev/null
cmake --build --preset sanitize -j "$jobs"
ASAN_OPTIONS=detect_leaks=1:abort_on_error=1 UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 \
    ctest --preset sanitize -j "$jobs"

# The tests' share of the C++ (non-blank lines of .cpp .h .hpp .cc): told, not enforced here.
cpp_lines() {
    find "$1" -type f \( -name '*.cpp' -o -name '*.h' -o -name '*.hpp' -o -name '*.cc' \) \
        -exec awk '/[^[:space:]]/ { n++ } END { print n + 0 }' {} + |
        awk '{ n += $1 } END { print n + 0 }'
}
src_lines=$(cpp_lines src)
test_lines=$(cpp_lines tests)
awk -v s="$src_lines" -v t="$test_lines" 'BEGIN {
    printf "Tests share: %.1f %% of the C++ lines (src %d, tests %d)\n", 100 * t / (s + t), s, t }'
