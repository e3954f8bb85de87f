#!/usr/bin/env bash
# Builds the formatted I/O fuzz targets with clang and runs each for N seconds (default 30)
# from the seed corpus in fuzz/corpus. Fails on any crash, leak, timeout or sanitizer report.
#   fuzz/run.sh [seconds]        (build directory: $VEQDX_FUZZ_BUILD, default build-fuzz)
set -euo pipefail

seconds="${1:-30}"
root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
build="${VEQDX_FUZZ_BUILD:-$root/build-fuzz}"

CC=clang CXX=clang++ cmake -S "$root" -B "$build" -DVEQDX_FUZZ=ON -DVEQDX_BUILD_TESTS=OFF \
  -DVEQDX_BUILD_BENCH=OFF -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build "$build" --target fuzz_format_write fuzz_format_read -j2

work="$(mktemp -d)"
trap 'rm -rf "$work"' EXIT
artifacts="$build/fuzz-artifacts"
mkdir -p "$artifacts"

status=0
for target in fuzz_format_write fuzz_format_read; do
  seeds="$root/fuzz/corpus/${target#fuzz_format_}"
  corpus="$work/$target"
  mkdir -p "$corpus"
  cp "$seeds"/* "$corpus"/
  echo "== $target: ${seconds}s"
  if "$build/fuzz/$target" "$corpus" -max_total_time="$seconds" -timeout=10 \
      -rss_limit_mb=2048 -max_len=8192 -print_final_stats=1 \
      -artifact_prefix="$artifacts/$target-" >"$work/$target.log" 2>&1; then
    grep -E '^stat::number_of_executed_units|^Done' "$work/$target.log" || true
  else
    tail -n 60 "$work/$target.log"
    echo "FAILED: $target (reproducer in $artifacts)"
    status=1
  fi
done
exit "$status"
