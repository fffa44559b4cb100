#!/usr/bin/env bash
# Builds the optimised program, generates the benchmark installations that are missing, times the
# passes over the database, measures the peak memory of each pass in a process of its own, times
# whole tdctl runs, and prints one table with every figure also as a multiple of the floor (one
# plain read of the database file with a warm page cache).
#
#     bench/run.sh [SIZES]
#
# SIZES: ticket counts separated by commas (default 150000,1000000,10000000).
# Environment:
#   TD_BENCH_CACHE       where installations live (default /var/tmp/td-bench), reused across runs
#   BUILD_DIR            an existing build folder to use instead of building the release preset
#   TD_BENCH_ITERATIONS  iterations per pass benchmark (default: 20, 7, 3 by size)
#   TD_BENCH_RUNS        timed tdctl runs per size (default 5, 3 above 2 million tickets; the
#                        median is reported)
#   TD_BENCH_FILTER      a --benchmark_filter for bench_passes (default: all)
#   TD_BENCH_CLOCK       the clock the timed passes consult: wall (default) or qt, the desktop
#                        program's
#
# Every figure is a median. Wall-clock time is what the goals speak of; CPU time (user and
# system) is shown beside it because on a busy machine wall-clock time also counts the waits for a
# processor.
#
# Figures of the "new" and "proection" passes drift upward over a run on a file system whose inode
# allocator skips recently deleted inodes (ext4 without a journal does, for a few minutes):
# every iteration deletes and creates the 80 number index files again, so each creation searches
# further. A user's start, once a day, never sees that; compare figures taken in the same order.
set -euo pipefail
cd "$(dirname "$0")/.."
root=$PWD

sizes=${1:-150000,1000000,10000000}
cache=${TD_BENCH_CACHE:-/var/tmp/td-bench}
targets=(bench_passes bench_redemption td_generate td_pass_probe tdctl)

if [ -z "${BUILD_DIR:-}" ]; then
    cmake --preset release >/dev/null
    cmake --build --preset release -j "$(nproc)" --target "${targets[@]}"
    build=$root/build/release
else
    build=$(cd "$BUILD_DIR" && pwd)
    cmake --build "$build" -j "$(nproc)" --target "${targets[@]}"
fi
bench=$build/bench
tdctl=$build/src/cli/tdctl
[ -x /usr/bin/time ] || { echo "run.sh needs /usr/bin/time (Debian package time)" >&2; exit 1; }

mkdir -p "$cache"
out=$cache/last-run
rm -rf "$out"
mkdir -p "$out"
IFS=, read -r -a size_list <<<"$sizes"
{
    echo "date: $(date -Is)"
    echo "build: $build"
    echo "machine: $(nproc) processors, $(free -m | awk '/^Mem:/ {print $2}') MB memory"
    echo "load at start: $(cut -d' ' -f1-3 /proc/loadavg)"
} | tee "$out/context.txt"

echo "== installations (generated once, reused while the generator is unchanged)"
for n in "${size_list[@]}"; do
    "$bench/td_generate" --home "$cache/$n" --tickets "$n" --if-missing
done

echo "== passes"
bench_args=(--td_sizes="$sizes" --td_cache="$cache" --td_summary="$out/passes.tsv"
    --benchmark_out="$out/passes.json" --benchmark_out_format=json)
[ -n "${TD_BENCH_ITERATIONS:-}" ] && bench_args+=(--td_iterations="$TD_BENCH_ITERATIONS")
[ -n "${TD_BENCH_FILTER:-}" ] && bench_args+=(--benchmark_filter="$TD_BENCH_FILTER")
[ -n "${TD_BENCH_CLOCK:-}" ] && bench_args+=(--td_clock="$TD_BENCH_CLOCK")
"$bench/bench_passes" "${bench_args[@]}" | tee "$out/passes.txt"

echo "== redemption: check and commit of 50 numbers, on an indexed pair and on a scanned one"
"$bench/bench_redemption" --td_sizes="$sizes" --td_cache="$cache" | tee "$out/redemption.txt"

echo "== peak memory, one pass per process"
: >"$out/memory.tsv"
for n in "${size_list[@]}"; do
    for pass in floor new proection request range defrag; do
        work_args=()
        [ "$pass" = defrag ] && work_args=(--work "$cache/$n-probe")
        line=$("$bench/td_pass_probe" --home "$cache/$n" --pass "$pass" "${work_args[@]}")
        echo "N=$n $line"
        peak=$(sed -n 's/.*peak_rss_kb=\([0-9]*\).*/\1/p' <<<"$line")
        before=$(sed -n 's/.*before_kb=\([0-9]*\).*/\1/p' <<<"$line")
        printf '%s\t%s\t%s\t%s\n' "$n" "$pass" "$peak" "$before" >>"$out/memory.tsv"
    done
done

echo "== whole tdctl runs: start-up with its index pass, the buyers' totals, shutdown"
# The user's own settings store and lock stay untouched.
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
export XDG_CONFIG_HOME=$scratch/config XDG_RUNTIME_DIR=$scratch/runtime
mkdir -p "$XDG_CONFIG_HOME" "$XDG_RUNTIME_DIR"
chmod 700 "$XDG_RUNTIME_DIR"
unset TALLY_DEPOT_HOME TZ
median() { sort -n | awk '{a[NR] = $1} END {print a[int((NR + 1) / 2)]}'; }
: >"$out/tdctl.tsv"
for n in "${size_list[@]}"; do
    home=$cache/$n-run
    rm -rf "$home"
    mkdir -p "$home/data"
    cp "$cache/$n/td.ini" "$home/"
    cp "$cache/$n/data/"*.dat "$cache/$n/data/TD.cdb" "$home/data/"
    err=$out/tdctl-$n.err
    # The installation as a clean exit leaves it: working date set, derived files rebuilt.
    "$tdctl" date 30.06.2025 --home "$home" >/dev/null 2>"$err"
    "$tdctl" rebuild --home "$home" >/dev/null 2>>"$err"
    if [ -e "$home/data/Work.\$\$\$" ] || compgen -G "$home/data/z*.dat" >/dev/null; then
        echo "tdctl did not leave a clean installation in $home" >&2
        exit 1
    fi
    "$tdctl" totals buyers --home "$home" >/dev/null 2>>"$err" # warm-up
    runs=${TD_BENCH_RUNS:-5}
    [ "$n" -gt 2000000 ] && [ -z "${TD_BENCH_RUNS:-}" ] && runs=3
    # As a user starts it; then, to show what reading the clock costs, with TZ set, which spares
    # the C library a look at /etc/localtime each time the local time is asked for.
    for variant in plain tz; do
        walls=() cpus=()
        for ((r = 0; r < runs; r++)); do
            t0=$(date +%s%N)
            if [ "$variant" = plain ]; then
                /usr/bin/time -f '%U %S %M' -o "$scratch/time" \
                    "$tdctl" totals buyers --home "$home" >"$out/tdctl-$n.out" 2>>"$err"
            else
                TZ=:/etc/localtime /usr/bin/time -f '%U %S %M' -o "$scratch/time" \
                    "$tdctl" totals buyers --home "$home" >/dev/null 2>>"$err"
            fi
            t1=$(date +%s%N)
            walls+=($(((t1 - t0) / 1000)))
            cpus+=($(awk '{printf "%d", ($1 + $2) * 1e6}' "$scratch/time"))
            rss_kb=$(awk '{print $3}' "$scratch/time")
        done
        wall_us=$(printf '%s\n' "${walls[@]}" | median)
        cpu_us=$(printf '%s\n' "${cpus[@]}" | median)
        echo "N=$n tdctl totals buyers ($variant): wall (us) ${walls[*]}; cpu (us) ${cpus[*]};" \
            "peak RSS $rss_kb kB"
        printf '%s\t%s\t%s\t%s\t%s\n' "$n" "$variant" "$wall_us" "$cpu_us" "$rss_kb" \
            >>"$out/tdctl.tsv"
    done
    echo "N=$n $(wc -l <"$out/tdctl-$n.out") buyers printed"
done

echo
echo "== summary (ms; in brackets: multiple of the floor)"
awk -F'\t' '
    FILENAME ~ /passes.tsv$/ && FNR == 1 { for (i = 1; i <= NF; i++) col[$i] = i; next }
    FILENAME ~ /passes.tsv$/ {
        n = $1; order[++count] = n; db[n] = $2
        for (name in col) v[name, n] = $(col[name])
    }
    FILENAME ~ /memory.tsv$/ {
        mb = $3 * 1024 / 1e6; mem[$2, $1] = mb; growth[$2, $1] = ($3 - $4) * 1024 / 1e6
        if (!(($1) in peak) || mb > peak[$1]) { peak[$1] = mb; peak_pass[$1] = $2 }
    }
    FILENAME ~ /tdctl.tsv$/ { run[$2, $1] = $3 / 1000; run_cpu[$2, $1] = $4 / 1000; run_rss[$2, $1] = $5 * 1024 / 1e6 }
    function missing(x) { return x == "" || x == "-" }
    function ratio(a, b) { return (missing(a) || missing(b) || b == 0) ? "-" : sprintf("%.2fx", a / b) }
    function cell(x, f) { return missing(x) ? "-" : sprintf("%.1f (%.2fx)", x, x / f) }
    function table(kind, suffix,    i, n, f) {
        printf "%s\n", kind
        printf "%10s %8s %8s %17s %17s %17s %17s %19s %22s %19s\n", "N", "DB MB", "floor",
            "new", "proection", "request", "range", "defrag", "peak RSS MB (x DB)", "tdctl run"
        for (i = 1; i <= count; i++) {
            n = order[i]; f = v["floor" suffix, n]
            printf "%10s %8.1f %8.1f %17s %17s %17s %17s %19s %22s %19s\n", n, db[n], f,
                cell(v["new" suffix, n], f), cell(v["proection" suffix, n], f),
                cell(v["request" suffix, n], f), cell(v["range" suffix, n], f),
                cell(v["defrag" suffix, n], f),
                sprintf("%.0f %s (%.2fx)", peak[n], peak_pass[n], peak[n] / db[n]),
                (("plain", n) in run) ? cell(suffix == "" ? run["plain", n] : run_cpu["plain", n], f) : "-"
        }
        print ""
    }
    function verdict(n, what, a, b, goal,    x) {
        if (missing(a) || missing(b) || b == 0) return
        x = a / b
        printf "%10s %-22s %8.2fx  goal %dx  %s\n", n, what, x, goal,
            (x <= goal) ? "met" : sprintf("MISSED by %.2fx", x / goal)
    }
    END {
        table("wall-clock time", "")
        table("CPU time (user + system)", "_cpu")
        print "peak RSS of the process per pass, MB (x database size); in brackets behind it, what the pass"
        print "itself added to the process (peak minus the RSS before the pass), MB:"
        split("floor new proection request range defrag", passes, " ")
        for (i = 1; i <= count; i++) {
            n = order[i]; line = sprintf("%10s", n)
            for (p = 1; p <= 6; p++)
                line = line sprintf("  %s %.0f (%.2fx) [+%.0f]", passes[p], mem[passes[p], n],
                    mem[passes[p], n] / db[n], growth[passes[p], n])
            if (("plain", n) in run_rss)
                line = line sprintf("  tdctl run %.0f (%.2fx)", run_rss["plain", n], run_rss["plain", n] / db[n])
            print line
        }
        print ""
        print "the passes without their work: read in blocks and decode every ticket (scan_decode);"
        print "the ticket table alone: fresh memory and the whole database read into it (table_load;"
        print "new and proection as multiples of it in brackets behind);"
        print "defragmentation: its copy, header, sync and rename (the rest is the full rebuild):"
        for (i = 1; i <= count; i++) {
            n = order[i]; f = v["floor", n]; t = v["table_load", n]
            printf "%10s scan_decode %s, cpu %s; table_load %s [new %s, proection %s]; defrag copy part %s\n",
                n, cell(v["scan_decode", n], f), cell(v["scan_decode_cpu", n], v["floor_cpu", n]),
                cell(t, f), ratio(v["new", n], t), ratio(v["proection", n], t),
                cell(v["defrag_compaction", n], f)
        }
        print ""
        print "tdctl run with TZ=:/etc/localtime (the C library then skips its look at the time zone file):"
        for (i = 1; i <= count; i++) {
            n = order[i]
            if (("tz", n) in run)
                printf "%10s wall %s, cpu %s\n", n, cell(run["tz", n], v["floor", n]), cell(run_cpu["tz", n], v["floor_cpu", n])
        }
        print ""
        print "goals: new <= 4x and proection <= 3x (1M, 10M); each dated cache <= 2x; peak memory <= 2x DB;"
        print "       whole tdctl run <= 5x (1M). Wall-clock figures, CPU figures after them."
        for (i = 1; i <= count; i++) {
            n = order[i]; f = v["floor", n]; fc = v["floor_cpu", n]
            if (n >= 1000000) {
                verdict(n, "new", v["new", n], f, 4); verdict(n, "new (cpu)", v["new_cpu", n], fc, 4)
                verdict(n, "proection", v["proection", n], f, 3)
                verdict(n, "proection (cpu)", v["proection_cpu", n], fc, 3)
            }
            verdict(n, "request", v["request", n], f, 2); verdict(n, "request (cpu)", v["request_cpu", n], fc, 2)
            verdict(n, "range", v["range", n], f, 2); verdict(n, "range (cpu)", v["range_cpu", n], fc, 2)
            verdict(n, "peak memory of a pass", peak[n], db[n], 2)
            if (n == 1000000 && (("plain", n) in run)) {
                verdict(n, "tdctl run", run["plain", n], f, 5)
                verdict(n, "tdctl run (cpu)", run_cpu["plain", n], fc, 5)
            }
        }
    }
' "$out/passes.tsv" "$out/memory.tsv" "$out/tdctl.tsv" | tee "$out/summary.txt"
echo
echo "load at end: $(cut -d' ' -f1-3 /proc/loadavg)" | tee -a "$out/context.txt"
echo "raw figures: $out"
