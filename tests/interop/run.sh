#!/usr/bin/env bash
# Interoperability of qdx-sim's VXI-11 server with two clients that no one here wrote:
# PyVISA with its pure-Python backend (Debian python3-pyvisa-py) and lxi (Debian lxi-tools).
#
# Both find the VXI-11 core channel through the portmapper on port 111 and cannot be told
# another port (lxi's --port is the raw socket port), so the emulator's portmapper must have
# port 111: this needs root and no rpcbind on the machine. Without root, without port 111 or
# without the two clients the script skips with exit status 77 and says why.
#
# Usage: run.sh /path/to/qdx-sim
set -u

SIM=${1:?usage: run.sh /path/to/qdx-sim}
PYTHON=/usr/bin/python3   # Debian's, where python3-pyvisa-py installs
SKIP=77
STEP_TIMEOUT=60

skip() { echo "SKIP: $*"; exit "$SKIP"; }
fail() { echo "FAIL: $*"; exit 1; }

missing=()
"$PYTHON" -c 'import pyvisa, pyvisa_py' 2>/dev/null || missing+=(python3-pyvisa-py)
command -v lxi >/dev/null 2>&1 || missing+=(lxi-tools)
[ ${#missing[@]} -eq 0 ] || skip "not installed: ${missing[*]} (apt-get install ${missing[*]})"
[ "$(id -u)" = 0 ] || skip "needs root: pyvisa-py and lxi ask the portmapper on port 111 only"

work=$(mktemp -d)
sim_pid=
cleanup() {
  if [ -n "$sim_pid" ] && kill -0 "$sim_pid" 2>/dev/null; then
    kill -TERM "$sim_pid"
    for _ in $(seq 50); do kill -0 "$sim_pid" 2>/dev/null || break; sleep 0.1; done
    kill -KILL "$sim_pid" 2>/dev/null
  fi
  rm -rf "$work"
}
trap cleanup EXIT

# --silent: a query the instrument never answers, to see each client's timeout and recovery.
"$SIM" --vxi11 --portmap-port 111 --listen 127.0.0.1:0 --silent ':MEAS:POW?' \
  --transcript "$work/transcript" >"$work/out" 2>"$work/err" &
sim_pid=$!
for _ in $(seq 100); do
  [ "$(wc -l <"$work/out")" -ge 2 ] && break
  kill -0 "$sim_pid" 2>/dev/null || break
  sleep 0.1
done
if [ "$(wc -l <"$work/out")" -lt 2 ]; then
  grep -q "portmapper" "$work/err" && skip "port 111 is not free (rpcbind running?): $(cat "$work/err")"
  fail "qdx-sim did not start: $(cat "$work/err")"
fi
echo "qdx-sim: $(sed -n 2p "$work/out"), raw port $(sed -n 1p "$work/out")"
idn="Velmora,QDX750ML,SIM0001,1.00"

# --- lxi ---
lxi_query() { timeout "$STEP_TIMEOUT" lxi scpi -a 127.0.0.1 -t 5 "$1" 2>&1; }
got=$(lxi_query '*IDN?') || fail "lxi *IDN?: $got"
[ "$got" = "$idn" ] || fail "lxi *IDN? answered '$got', expected '$idn'"
lxi_query ':VOLT 7.5' >/dev/null || fail "lxi :VOLT 7.5"
got=$(lxi_query ':VOLT?') || fail "lxi :VOLT?: $got"
[ "$got" = "7.5" ] || fail "lxi :VOLT? answered '$got', expected '7.5'"
echo "lxi: ok"

# --- PyVISA (pyvisa-py) ---
timeout "$STEP_TIMEOUT" "$PYTHON" - "$idn" <<'EOF' || fail "pyvisa-py (see above)"
import sys
import time

import pyvisa
from pyvisa import constants, errors

idn = sys.argv[1]
rm = pyvisa.ResourceManager("@py")
inst = rm.open_resource("TCPIP::127.0.0.1::INSTR")
inst.timeout = 2000


def check(what, got, expected):
    if got != expected:
        sys.exit(f"pyvisa-py {what}: got {got!r}, expected {expected!r}")


check("*IDN?", inst.query("*IDN?"), idn + "\n")
check("voltage set by lxi", inst.query(":VOLT?"), "7.5\n")
inst.write(":VOLT 12.25")
check(":VOLT?", inst.query(":VOLT?"), "12.25\n")

inst.write("*ESE 1;*SRE 32;*CLS;*OPC")
check("*OPC?", inst.query("*OPC?"), "1\n")
check("read_stb", inst.read_stb(), 0x60)

# A query that is never answered times out, and the session goes on.
inst.timeout = 500
start = time.monotonic()
try:
    inst.query(":MEAS:POW?")
    sys.exit("pyvisa-py :MEAS:POW? was answered; the emulator should stay silent")
except errors.VisaIOError as e:
    check("timeout status", e.error_code, constants.StatusCode.error_timeout)
if time.monotonic() - start > 10:
    sys.exit("pyvisa-py timeout took more than 10 s")
inst.timeout = 2000
inst.clear()
check("*OPC? after the timeout", inst.query("*OPC?"), "1\n")

inst.lock_excl(timeout=1000)
check("*IDN? under lock", inst.query("*IDN?"), idn + "\n")
inst.unlock()
inst.close()
rm.close()
print("pyvisa-py: ok")
EOF

# The instrument received exactly what the clients sent, in order: lxi ends its messages with
# END alone, PyVISA with its default write termination "\r\n" (the file shows CR as \x0D).
expected=('*IDN?' ':VOLT 7.5' ':VOLT?')
for m in '*IDN?' ':VOLT?' ':VOLT 12.25' ':VOLT?' '*ESE 1;*SRE 32;*CLS;*OPC' '*OPC?' \
         ':MEAS:POW?' '*OPC?' '*IDN?'; do
  expected+=("$m\\x0D")
done
mapfile -t received < <(sed -E 's/^[^ ]+ c[0-9]+ //' "$work/transcript")
[ "${received[*]}" = "${expected[*]}" ] ||
  fail "transcript: got [${received[*]}], expected [${expected[*]}]"
echo "transcript: ok"

# A clean shutdown (under a sanitizer this is where leaks are reported).
kill -TERM "$sim_pid"
for _ in $(seq 100); do kill -0 "$sim_pid" 2>/dev/null || break; sleep 0.1; done
kill -0 "$sim_pid" 2>/dev/null && fail "qdx-sim did not stop within 10 s of SIGTERM"
status=0
wait "$sim_pid" || status=$?
sim_pid=
[ "$status" = 0 ] || fail "qdx-sim exited with status $status: $(cat "$work/err")"
echo "PASS"
