#!/bin/bash
# Measures oxel serve and writes docs/measurements/serve.md: JPEGs of 12 megapixels that it has never
# seen, wrk on frames that it knows and on 304s, slow clients beside others, hostile pictures, and
# 2,000 simulated devices that see their service killed.
#
#   bench/serve.sh [--quick] [PHOTO ...]
#
# Without PHOTOs it makes forty JPEGs of 4000x3000 pixels: the project's own scene with as much noise as
# a camera's. --quick takes six and short times, and prints the figures alone. BUILD_DIR chooses the
# build folder (build/bench).
set -euo pipefail
here=$(cd "$(dirname "$0")/.." && pwd)
build=$(realpath -m "${BUILD_DIR:-$here/build/bench}")
count=40
seconds=20
devices=2000
record=$here/docs/measurements/serve.md
if [ "${1:-}" = --quick ]; then
    shift
    count=6
    seconds=2
    devices=200
    record=
fi
"$here/scripts/install-packages.sh" g++ cmake make pkg-config libvips-dev libvips-tools wrk curl \
    libcli11-dev libseccomp-dev nlohmann-json3-dev zlib1g-dev libjpeg-turbo-progs \
    libmicrohttpd-dev libtomlplusplus-dev libgnutls28-dev tzdata fonts-dejavu-core python3
echo "Building in $build" >&2
cmake -S "$here" -B "$build" -DCMAKE_BUILD_TYPE=Release -DOXEL_BUILD_TOOLS=ON >/dev/null
cmake --build "$build" --parallel "$(nproc)" --target oxel >/dev/null

folder=$(mktemp -d)
service=
stop() {
    [ -z "$service" ] || kill "$service" 2>/dev/null || true
    [ -z "$service" ] || wait "$service" || true
    service=
}
trap 'stop; rm -rf "$folder"' EXIT
cd "$folder"
mkdir album
if [ $# -gt 0 ]; then
    cp "$@" album
else
    "$here/bench/cut.sh" "$here/examples/scene.svg" 4000x3000 scene.ppm
    for seed in $(seq "$count"); do
        vips gaussnoise noise.v 4000 3000 --sigma 8 --seed "$seed"
        vips add scene.ppm noise.v noisy.v
        vips cast noisy.v bytes.v uchar
        vips copy bytes.v "album/$seed.jpg[Q=92]" --interpretation srgb
    done
    rm ./*.v scene.ppm
fi
count=$(find album -type f | wc -l)
cat >serve.toml <<END
listen = "127.0.0.1:0"
jobs = 1
[albums]
all = "album"
[devices.d]
panel = "six-colour"
size = "800x480"
frame = "packed4"
album = "all"
interval = "1m"
END
echo 1800000000 >clock
start() { # CONFIGURATION
    : >out
    "$build/oxel" serve "$1" --clock clock >>out &
    service=$!
    until port=$(sed -n 's/.*:\([0-9]*\)\/$/\1/p' out) && [ -n "$port" ]; do
        kill -0 "$service"
        sleep 0.05
    done
    address=http://127.0.0.1:$port
}
# How many frames it has made, once it makes no more.
made() {
    local before=-1 now=0
    until [ "$now" = "$before" ] && [ "$now" -gt 0 ]; do
        before=$now
        sleep 0.5
        now=$(curl -sf "$address/metrics" | sed -n 's/^oxel_renders_total //p')
    done
    echo "$now"
}
# Its processor time and that of its decoders, in hundredths of a second.
used() {
    python3 - "$service" <<'END'
import pathlib, sys
total = 0
for path in pathlib.Path("/proc").glob("[0-9]*/stat"):
    try:
        fields = path.read_text().rsplit(")", 1)[1].split()
    except OSError:
        continue
    if path.parent.name == sys.argv[1] or fields[1] == sys.argv[1]:
        total += sum(map(int, fields[11:15]))
print(total)
END
}
memory() { sed -n 's|^VmHWM:[^0-9]*\([0-9]*\).*|\1|p' "/proc/$service/status"; }
# What wrk's clients wait for an answer, each of which asks again after so many milliseconds on average:
# at random, or all would go on asking at once, as they begin.
latency() { # CONNECTIONS MILLISECONDS SECONDS
    echo "function delay() return -$2 * math.log(1 - math.random()) end" >delay.lua
    wrk -t 1 -c "$1" -d "$3" --latency -s delay.lua "$address/devices/d/frame" |
        awk '$1 == "50%" { half = $2 } $1 == "99%" { most = $2 } $1 == "Requests/sec:" { rate = $2 }
             END { printf "p50 %s, p99 %s at %d a second", half, most, rate }'
}

start serve.toml
first=$(made) # ahead
before=$(used)
for i in $(seq "$((count - first))"); do
    echo $((1800000000 + 60 * i)) >clock
    curl -sf -o frame "$address/devices/d/frame"
done
rendered=$(($(made) - first))
after=$(used)
stop
uncached=$(python3 -c "print(f'{$rendered * 3600 / (($after - $before) / 100):,.0f}')")

# The service's time for a picture beside a command's, or the share that this takes of it.
share() { # beside|of COMMAND ...
    python3 - "$((after - before))" "$rendered" "$count" "$@" <<'END'
import resource, subprocess, sys
hundredths, rendered, count = map(int, sys.argv[1:4])
subprocess.run(sys.argv[5:], check=True, stdout=subprocess.DEVNULL)
used = resource.getrusage(resource.RUSAGE_CHILDREN)
service, command = hundredths / 100 / rendered, (used.ru_utime + used.ru_stime) / count
print(f"{service / command if sys.argv[4] == 'beside' else command / service:.2f}")
END
}
ratio=$(share beside "$build/oxel" render album -j 1 --panel six-colour --size 800x480 --frame packed4 -o frames --quiet)
decoding=$(share of find album -type f -exec djpeg -scale 1/2 -outfile half.ppm {} ';')

rm -rf cache
start serve.toml
tag=$(curl -s -o frame -D - "$address/devices/d/frame" | tr -d '\r' | sed -n 's/^ETag: //p')
cached=$(latency 64 31 "$seconds")
plain=$(wrk -t 1 -c 64 -d "$seconds" "$address/devices/d/frame" | sed -n 's/^Requests.sec: *//p')
matched=$(wrk -t 1 -c 64 -d "$seconds" -H "If-None-Match: $tag" "$address/devices/d/frame" |
    sed -n 's/^Requests.sec: *//p')
python3 "$here/bench/slow_clients.py" "$port" 500 >slow &
slow=$!
until grep -q ready slow; do sleep 0.05; done
beside=$(latency 8 80 "$seconds")
kill "$slow"
stop

# What cannot be decoded, or only at a cost.
mkdir hostile
cp "$(find album -type f | head -1)" hostile/a.jpg
head -c 300000 hostile/a.jpg >hostile/cut.jpg
head -c 1000000 /dev/urandom >hostile/noise.jpg
"$build/oxel" render hostile/a.jpg --panel six-colour -o hostile/b.png
vips black hostile/large.png 30000 30000 --bands 3
printf '<svg xmlns="http://www.w3.org/2000/svg" width="1e9" height="1e9"><rect/></svg>' >hostile/huge.svg
sed 's/album = "all"/folder = "hostile"/; s/^interval.*/interval = "1m"/' serve.toml >hostile.toml
rm -rf cache
start hostile.toml
for i in $(seq 12); do
    echo $((1800000000 + 60 * i)) >clock
    curl -sf -o frame "$address/devices/d/frame"
done
hostile=$(memory)
stop
fleet=$(python3 "$here/examples/fleet.py" "$build/oxel" six-colour --devices "$devices")

{
    cat <<END
# The service: the measurements

Written by bench/serve.sh on $(date +'%-d %B %Y'): $(lscpu | sed -n 's/^Model name: *//p'), $(nproc) processors, load
average $(cut -d ' ' -f 1 /proc/loadavg). Frames of 800x480 pixels, packed4, six colours.

| What | Figure |
|---|---|
| Frames of $rendered JPEGs never seen, an hour of one processor's time | $uncached |
| Their processor time beside that of \`oxel render -j 1\`, in turn | $ratio |
| Of that, what libjpeg takes to decode them at half their size | $decoding |
| Known frames, 64 connections that are kept, some 2,000 a second | $cached |
| Known frames, as many as go | $plain a second |
| 304s, 64 connections | $matched a second |
| Known frames beside 500 clients that send a byte a second | $beside |
| Memory of the service with hostile pictures, at most | $((hostile / 1000)) MB |
| A fleet | $fleet |
END
} >record.md
[ -z "$record" ] || cp record.md "$record"
cat record.md
