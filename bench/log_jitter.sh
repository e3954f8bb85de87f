#!/usr/bin/env bash
# How steady `veqdx log` ticks are against qdx-sim on 127.0.0.1: runs 50 ticks at 20 ms and 50
# at 100 ms and prints the tool's own summary (how late each reading started after its due
# time: median and maximum). Usage: bench/log_jitter.sh [build dir]
set -euo pipefail
build=${1:-build}
work=$(mktemp -d)
coproc SIM { exec "$build/tools/qdx-sim/qdx-sim" --listen 127.0.0.1:0 2>/dev/null; }
trap 'kill "$SIM_PID" 2>/dev/null; rm -rf "$work"' EXIT
read -r port <&"${SIM[0]}"
veqdx=("$build/tools/veqdx/veqdx" -r "TCPIP::127.0.0.1::$port::SOCKET")
"${veqdx[@]}" set --voltage 5 --on
for interval in 0.02 0.1; do
  "${veqdx[@]}" log --interval "$interval" --count 50 --csv "$work/log.csv"
done
