#!/usr/bin/env bash
# Builds the fuzz targets with clang and runs each for N seconds (default 30) from its seed
# corpus in fuzz/corpus. Prints per target the inputs run and whether anything was found;
# fails on any crash, leak, timeout or sanitizer report.
#   fuzz/run.sh [seconds]        (build directory: $VEQDX_FUZZ_BUILD, default build-fuzz)
set -euo pipefail

seconds="${1:-30}"
root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
build="${VEQDX_FUZZ_BUILD:-$root/build-fuzz}"
targets=(fuzz_format_write fuzz_format_read fuzz_options fuzz_resource fuzz_init)

CC=clang CXX=clang++ cmake -S "$root" -B "$build" -DVEQDX_FUZZ=ON -DVEQDX_BUILD_TESTS=OFF \
  -DVEQDX_BUILD_BENCH=OFF -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build "$build" --target "${targets[@]}" -j2

work="$(mktemp -d)"
trap 'rm -rf "$work"' EXIT
artifacts="$build/fuzz-artifacts"
mkdir -p "$artifacts"

status=0
summary=()
for target in "${targets[@]}"; do
  name="${target#fuzz_}"
  seeds="$root/fuzz/corpus/${name#format_}"
  corpus="$work/$target"
  mkdir -p "$corpus"
  cp "$seeds"/* "$corpus"/
  echo "== $target: ${seconds}s"
  log="$work/$target.log"
  if "$build/fuzz/$target" "$corpus" -max_total_time="$seconds" -timeout=10 \
      -rss_limit_mb=2048 -max_len=8192 -print_final_stats=1 \
      -artifact_prefix="$artifacts/$target-" >"$log" 2>&1; then
    found="nothing found"
  else
    tail -n 60 "$log"
    found="FOUND a fault (reproducer in $artifacts/$target-*)"
    status=1
  fi
  grep -E '^Done [0-9]+ runs' "$log" || true
  runs="$(sed -n 's/^stat::number_of_executed_units: *//p' "$log" | tail -n 1)"
  summary+=("$target: ${runs:-unknown number of} inputs run, $found")
done
echo "== summary"
printf '%s\n' "${summary[@]}"
exit "$status"
