#!/usr/bin/env bash
# Measures how sharp the test suite is: applies the seeded faults of scripts/mutants.txt one at a
# time to a copy of this checkout's sources, rebuilds, runs the release suite, and tells which
# faults the suite caught and by which tests.
#
#   scripts/mutate.sh [options] [ID...]
#     ID                  run only these mutants (default: every mutant of the list)
#     --path TEXT         run only the mutants whose file path contains TEXT (repeatable)
#     --first-failure     stop the suite at its first failing test (faster; names one test)
#     --timeout SECONDS   per-test limit for tests that set none of their own (default 300)
#     --list FILE         another list of mutants (default scripts/mutants.txt)
#     --jobs N            parallel build and test jobs (default: nproc)
#     --output FILE       also write the table there (default build/mutate/results.txt)
#     --check             only check the list: every text found exactly once; nothing built
#
# The copy lives in build/mutate/tree of the checkout (ignored by git); the checkout itself is
# only read. Results: CAUGHT (with the failing tests; "(timeout)" marks a test that hung),
# MISSED, or NO-BUILD (the mutant doesn't build: a fault of the list, never counted as caught).
set -euo pipefail

top=$(git rev-parse --show-toplevel)
list="$top/scripts/mutants.txt"
first_failure=0
timeout=300
jobs=$(nproc)
check_only=0
output=""
paths=()
ids=()
while (($#)); do
    case "$1" in
    --path) paths+=("$2"); shift 2 ;;
    --first-failure) first_failure=1; shift ;;
    --timeout) timeout=$2; shift 2 ;;
    --list) list=$(realpath "$2"); shift 2 ;;
    --jobs) jobs=$2; shift 2 ;;
    --output) output=$(realpath -m "$2"); shift 2 ;;
    --check) check_only=1; shift ;;
    -h | --help) sed -n '2,18p' "$0" | sed 's/^# \{0,1\}//'; exit 0 ;;
    -*) echo "mutate.sh: unknown option $1" >&2; exit 2 ;;
    *) ids+=("$1"); shift ;;
    esac
done

work="$top/build/mutate"
tree="$work/tree"
output=${output:-$work/results.txt}
start=$(date +%s)

# The list's handling: parsing, selection, application and checks, in one helper so that the
# escapes and the exact matching are done in one place.
helper=$(mktemp --suffix=.py)
trap 'rm -f "$helper"' EXIT
cat >"$helper" <<'PY'
import sys, os

def unescape(text):
    out, i = [], 0
    while i < len(text):
        c = text[i]
        if c == '\\' and i + 1 < len(text):
            n = text[i + 1]
            out.append({'t': '\t', 'n': '\n', '\\': '\\'}.get(n, '\\' + n))
            i += 2
        else:
            out.append(c)
            i += 1
    return ''.join(out)

def read_list(path):
    mutants = []
    with open(path, encoding='utf-8') as f:
        for number, line in enumerate(f, 1):
            line = line.rstrip('\n')
            if not line.strip() or line.startswith('#'):
                continue
            fields = line.split('\t')
            if len(fields) != 5 or not all(fields[i] for i in (0, 1, 2, 4)):
                sys.exit(f'{path}:{number}: five tab-separated fields wanted '
                         f'(id, file, text, replacement, fault), found {len(fields)}')
            mid, file, text, repl, fault = fields
            mutants.append((mid, file, unescape(text), unescape(repl), fault, number))
    seen = set()
    for m in mutants:
        if m[0] in seen:
            sys.exit(f'{path}:{m[5]}: id {m[0]} used twice')
        seen.add(m[0])
    return mutants

def select(mutants, ids, paths):
    known = {m[0] for m in mutants}
    for i in ids:
        if i not in known:
            sys.exit(f'no mutant {i} in the list')
    return [m for m in mutants
            if (not ids and not paths) or m[0] in ids or any(p in m[1] for p in paths)]

def check(root, m):
    path = os.path.join(root, m[1])
    if not os.path.isfile(path):
        return f'{m[0]}: no file {m[1]}'
    with open(path, encoding='utf-8') as f:
        n = f.read().count(m[2])
    if n != 1:
        return f'{m[0]}: the text occurs {n} times in {m[1]}, not once'
    if m[2] == m[3]:
        return f'{m[0]}: the replacement equals the text'
    return None

command, listfile = sys.argv[1], sys.argv[2]
mutants = read_list(listfile)
if command == 'select':
    # select ROOT [--path P]... [ID]...: prints "id<TAB>file<TAB>fault" of the chosen mutants
    # after checking each against the sources under ROOT.
    root, rest = sys.argv[3], sys.argv[4:]
    ids, paths = [], []
    while rest:
        if rest[0] == '--path':
            paths.append(rest[1]); rest = rest[2:]
        else:
            ids.append(rest[0]); rest = rest[1:]
    chosen = select(mutants, ids, paths)
    errors = [e for e in (check(root, m) for m in chosen) if e]
    if errors:
        sys.exit('mutants.txt:\n  ' + '\n  '.join(errors))
    for m in chosen:
        print(f'{m[0]}\t{m[1]}\t{m[4]}')
elif command == 'sync':
    # sync ROOT COPY < NUL-separated paths: makes COPY hold the listed files of ROOT.
    import shutil
    root, copy = sys.argv[3], sys.argv[4]
    wanted = [p for p in sys.stdin.buffer.read().decode().split('\0') if p]
    keep = set()
    for rel in wanted:
        source, target = os.path.join(root, rel), os.path.join(copy, rel)
        if not os.path.isfile(source):
            continue
        keep.add(rel)
        with open(source, 'rb') as f:
            data = f.read()
        try:
            with open(target, 'rb') as f:
                same = f.read() == data
        except OSError:
            same = False
        if not same:
            os.makedirs(os.path.dirname(target), exist_ok=True)
            with open(target, 'wb') as f:
                f.write(data)
        shutil.copymode(source, target)
    for folder, dirs, files in os.walk(copy):
        rel_folder = os.path.relpath(folder, copy)
        if rel_folder == '.':
            dirs[:] = [d for d in dirs if d != 'build']
        for name in files:
            rel = os.path.normpath(os.path.join(rel_folder, name))
            if rel not in keep:
                os.remove(os.path.join(folder, name))
elif command == 'apply':
    # apply ROOT ID: replaces the text in the copy under ROOT.
    root, mid = sys.argv[3], sys.argv[4]
    m = next(m for m in mutants if m[0] == mid)
    error = check(root, m)
    if error:
        sys.exit(error)
    path = os.path.join(root, m[1])
    with open(path, encoding='utf-8') as f:
        text = f.read()
    with open(path, 'w', encoding='utf-8') as f:
        f.write(text.replace(m[2], m[3], 1))
PY

selection=$(python3 "$helper" select "$list" "$top" \
    $(for p in ${paths[@]+"${paths[@]}"}; do printf -- '--path\n%s\n' "$p"; done) \
    ${ids[@]+"${ids[@]}"})
if [[ -z "$selection" ]]; then
    echo "mutate.sh: no mutant chosen" >&2
    exit 2
fi
if ((check_only)); then
    echo "$(wc -l <<<"$selection") mutants: every text found exactly once."
    exit 0
fi

# One run at a time in a checkout: they would share the copy.
mkdir -p "$work"
exec 9>"$work/lock"
if ! flock -n 9; then
    echo "mutate.sh: another run uses $work; wait for it to end" >&2
    exit 1
fi

# The copy: the checkout's files as they stand in its working tree, tracked or new (not ignored),
# so that a test not yet added is run too. Only a file whose bytes differ is written (with a new
# time, so that the build sees it); files gone from the checkout go; the build folder stays. A
# copy left mutated by an interrupted run is thus put right too.
(cd "$top" && git ls-files -z --cached --others --exclude-standard) |
    python3 "$helper" sync "$list" "$top" "$tree"

# One configuration, incremental builds. Cache hits are shared by every checkout's copy: paths
# are made relative to the copy, and the working folder is not hashed.
if command -v ccache >/dev/null; then
    export CMAKE_CXX_COMPILER_LAUNCHER=ccache CMAKE_C_COMPILER_LAUNCHER=ccache
    export CCACHE_BASEDIR="$tree" CCACHE_NOHASHDIR=true
    export CCACHE_DIR=${CCACHE_DIR:-/work/.ccache}
fi
unset TALLY_DEPOT_HOME
build_log="$work/build.log"
test_log="$work/test.log"

build() {
    cmake --build "$tree/build/release" -j "$jobs" >"$build_log" 2>&1
}

# Runs the suite; sets `failing` to the failing tests, one a line. True when all passed.
run_suite() {
    local config runtime rc=0
    config=$(mktemp -d) runtime=$(mktemp -d)
    chmod 700 "$runtime"
    local stop=()
    ((first_failure)) && stop=(--stop-on-failure)
    (cd "$tree" && XDG_CONFIG_HOME="$config" XDG_RUNTIME_DIR="$runtime" \
        ctest --preset release -j "$jobs" --timeout "$timeout" ${stop[@]+"${stop[@]}"} \
        >"$test_log" 2>&1) || rc=$?
    rm -rf "$config" "$runtime"
    # Keep the timeout mark; other causes (Failed, SEGFAULT, Subprocess aborted) are just names.
    failing=$(awk '/^The following tests FAILED:/ { listed = 1; next }
        listed && match($0, /^[ \t]*[0-9]+ - /) {
            line = substr($0, RLENGTH + 1)
            cause = line; sub(/.* \(/, "", cause); sub(/\)[ \t]*$/, "", cause)
            sub(/ \([^(]*\)[ \t]*$/, "", line)
            print (cause == "Timeout") ? line " (timeout)" : line
        }' "$test_log" | sort -u)
    if ((rc != 0)) && [[ -z "$failing" ]]; then
        echo "mutate.sh: ctest failed without naming a failing test; see $test_log" >&2
        tail -20 "$test_log" >&2
        exit 1
    fi
    ((rc == 0))
}

echo "Copy in $tree; configuring and building the unmutated sources..."
# The benchmarks are no tests: not built, so that a mutant relinks less.
(cd "$tree" && cmake --preset release -DTD_WITH_BENCH=OFF >"$work/configure.log" 2>&1) ||
    { cat "$work/configure.log" >&2; exit 1; }
if ! build; then
    tail -40 "$build_log" >&2
    echo "mutate.sh: the unmutated sources don't build" >&2
    exit 1
fi
echo "Running the unmutated suite..."
if ! run_suite; then
    echo "mutate.sh: the unmutated suite is not green; failing:" >&2
    sed 's/^/  /' <<<"$failing" >&2
    exit 1
fi
suite_time=$(sed -n 's/^Total Test time (real) = *\([0-9.]*\) sec.*/\1/p' "$test_log")
echo "Unmutated suite green: $suite_time s of tests ($(($(date +%s) - start)) s so far)."
width=$(cut -f1 <<<"$selection" | awk '{ if (length($0) > w) w = length($0) } END { print w }')

results="$work/results.tsv"
: >"$results"
total=0 caught=0 missed=0 nobuild=0
while IFS=$'\t' read -r id file fault; do
    total=$((total + 1))
    original="$work/original"
    cp "$tree/$file" "$original"
    t0=$(date +%s)
    python3 "$helper" apply "$list" "$tree" "$id"
    if ! build; then
        # A test program that crashes while its tests are listed fails the build, yet the fault
        # was caught by running it.
        if grep -q "Error running test executable" "$build_log"; then
            result=CAUGHT
            tests=$(sed -n 's/.*Path: .\(.*\)\x27.*/\1/p' "$build_log" | xargs -r -n1 basename |
                sed 's/$/ (listing crashed)/' | sort -u)
        else
            result=NO-BUILD
            tests=$(grep -m3 -E 'error:|Error' "$build_log" | tr '\n' ' ')
        fi
    elif run_suite; then
        result=MISSED tests=""
    else
        result=CAUGHT tests=$failing
    fi
    # Back to the original text, with a new time so that the next build compiles it again.
    cat "$original" >"$tree/$file"
    touch "$tree/$file"
    case $result in
    CAUGHT) caught=$((caught + 1)) ;;
    MISSED) missed=$((missed + 1)) ;;
    NO-BUILD) nobuild=$((nobuild + 1)) ;;
    esac
    names=$(tr '\n' ',' <<<"$tests" | sed 's/,$//; s/,/, /g')
    printf '%s\t%s\t%s\t%s\n' "$id" "$result" "$names" "$fault" >>"$results"
    printf '%-*s %-8s %4d s  %s\n' "$width" "$id" "$result" $(($(date +%s) - t0)) \
        "$( [[ $result == CAUGHT ]] && echo "$(grep -c . <<<"$tests") test(s)" || echo "$fault")"
done <<<"$selection"

# Leave the copy built as the sources stand.
build || true

elapsed=$(($(date +%s) - start))
{
    # Long lists of tests are cut here; results.tsv keeps them whole.
    awk -F'\t' -v w="$width" '
        BEGIN { printf "%-*s  %-8s  %s | %s\n", w, "ID", "RESULT", "FAILING TESTS", "FAULT" }
        {
            tests = $3
            n = split($3, names, ", ")
            if ($2 == "NO-BUILD")
                tests = "(does not build)"
            else if ($2 == "MISSED")
                tests = "-"
            else if (n > 4)
                tests = names[1] ", " names[2] ", " names[3] " (+" n - 3 " more)"
            printf "%-*s  %-8s  %s | %s\n", w, $1, $2, tests, $4
        }' "$results"
    echo
    echo "caught $caught of $total (missed $missed, not building $nobuild)"
    if ((nobuild)); then
        echo "NO-BUILD mutants are faults of the list, not of the suite:"
        awk -F'\t' '$2 == "NO-BUILD" { print "  " $1 ": " $3 }' "$results"
    fi
    printf 'elapsed %d min %02d s (the unmutated suite: %s s)\n' $((elapsed / 60)) \
        $((elapsed % 60)) "$suite_time"
} | tee "$output"
echo "Whole lists of failing tests: $results"
