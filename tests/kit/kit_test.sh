#!/usr/bin/env bash
# The kit as an integrator meets it, end to end:
#   kit_test.sh install  <source dir> <build dir>   cmake --install into a temporary prefix
#   kit_test.sh packages <source dir> <build dir>   the .deb files, unpacked with dpkg-deb -x
# Then the robot pages example is built out of tree against that prefix and
# installed into its modules folder, the unpacked simulator is started on free
# ports, and zarvo-hmi --headless must load the pages and follow the simulator.
set -euo pipefail
# The modules of the prefix under test are the point here.
unset ZARVO_MODULES_DIR

mode=$1
src=$(cd "$2" && pwd)
build=$(cd "$3" && pwd)
work=$(mktemp -d)
sim_pid=""
cleanup() {
    [ -n "$sim_pid" ] && kill "$sim_pid" 2>/dev/null || true
    rm -rf "$work"
}
trap cleanup EXIT

fail() {
    echo "FAIL: $*" >&2
    for f in "$work"/*.log; do
        [ -f "$f" ] && { echo "--- $f" >&2; tail -n 40 "$f" >&2; }
    done
    exit 1
}

case "$mode" in
install)
    cmake --install "$build" --prefix "$work/prefix" > "$work/install.log" || fail "install"
    prefix=$work/prefix
    ;;
packages)
    (cd "$build" && cpack -G DEB -B "$work/deb" > "$work/cpack.log" 2>&1) || fail "cpack"
    debs=("$work"/deb/*.deb)
    [ "${#debs[@]}" -eq 2 ] || fail "expected two packages, got: ${debs[*]}"
    for deb in "${debs[@]}"; do
        dpkg-deb -x "$deb" "$work/root" || fail "dpkg-deb -x $deb"
    done
    if command -v lintian > /dev/null; then
        lintian --tag-display-limit 0 "${debs[@]}" > "$work/lintian.log" 2>&1 || true
        if grep -q '^E: ' "$work/lintian.log"; then
            fail "lintian reports errors"
        fi
    fi
    prefix=$work/root/usr
    ;;
*)
    fail "unknown mode $mode"
    ;;
esac

# An integrator's module: configured against the kit only, never the build tree.
cmake -S "$src/examples/robotpages" -B "$work/robotpages" -G Ninja \
    -DCMAKE_PREFIX_PATH="$prefix" -DCMAKE_INSTALL_PREFIX="$prefix" \
    > "$work/example-configure.log" 2>&1 || fail "configure the example"
cmake --build "$work/robotpages" > "$work/example-build.log" 2>&1 || fail "build the example"
cmake --install "$work/robotpages" > "$work/example-install.log" 2>&1 || fail "install the example"

# The simulator on free ports; it prints them once bound.
mkfifo "$work/sim.out"
"$prefix/bin/zarvo-rcsim" --tcp-port 0 --discovery-port 0 --upgrade-port 0 --monitor-rate 0 \
    < /dev/null > "$work/sim.out" 2> "$work/sim.log" &
sim_pid=$!
exec 3< "$work/sim.out"
read -r -t 20 listening <&3 || fail "the simulator did not start"
port=$(sed -n 's/^listening tcp=\([0-9]*\) .*/\1/p' <<< "$listening")
[ -n "$port" ] || fail "no port in: $listening"

printf '%s\n' "rc.connect -ip=127.0.0.1 -port=$port" "wait 1500" \
    "rc.request system.state.switch_motor_on" "wait 800" \
    "mobj.get zarvo.r.power" "mobj.get zarvo.sidetree.root" "quit" |
    timeout 60 "$prefix/bin/zarvo-hmi" --headless --workdir "$work/hmi" \
        > "$work/hmi-out.log" 2> "$work/hmi.log" || fail "zarvo-hmi exited with $?"

grep -q 'module left out' "$work/hmi.log" && fail "a module was left out"
grep -q '"on"\|^on$' "$work/hmi-out.log" || fail "motor power did not follow the simulator"
for root in robot settings; do
    grep -q "\"$root\"" "$work/hmi-out.log" || fail "side tree lacks the root $root"
done
echo "kit $mode: robot pages built against $prefix and loaded; power followed the simulator"
