#!/usr/bin/env bash
# Times listing and extracting archives of 10,000 files with hyperfine against bsdtar and unzip, and prints
# for each pair the ratio, the limit it has to keep, and the peak of our memory. Ratios of one run compare;
# seconds do not.
#
# bench/containers.sh [PRESET]   PRESET: release (default) or dev
set -euo pipefail
cd "$(dirname "$(readlink -f "$0")")/.."
. scripts/packages.sh
preset=${1:-release}
install_packages "${build_packages[@]}" "${bench_packages[@]}"
build "$preset" tarnis
tarnis=$PWD/build/$preset/bin/tarnis
archives=$PWD/build/bench-archives
mkdir -p "$archives"
python3 bench/make_archives.py "$archives"
place=$(mktemp -d)
trap 'rm -rf "$place"' EXIT

# compare JOB ARCHIVE PEER_NAME PEER_COMMAND: the peer's command reads the archive $1 and may write to $2.
limit=1.3
worst=0
compare() {
  local job=$1 archive=$archives/$2 peer=$3 command=$4 result ours
  result=$(mktemp)
  ours="$tarnis $job --ip $archive"
  [ "$job" = extract ] && ours="$tarnis extract --ip --output $place/ours $archive"
  command=${command//\$1/$archive}
  command=${command//\$2/$place\/theirs}
  hyperfine --style none --warmup 1 --runs 7 -N --export-json "$result" \
    --prepare "bash -c 'rm -rf $place/ours $place/theirs; mkdir $place/ours $place/theirs'" \
    "$ours" "$command" >/dev/null 2>&1 ||
    { echo "$peer on $2: a program failed" >&2; worst=1; return; }
  rm -rf "$place"/ours "$place"/theirs
  mkdir "$place"/ours
  python3 - "$result" "$limit" "$peer" "$job" "$2" $ours <<'PY' || worst=1
import json, resource, subprocess, sys
ours, theirs = (r["median"] for r in json.load(open(sys.argv[1]))["results"])
limit, ratio = float(sys.argv[2]), ours / theirs
kept = "kept" if ratio <= limit else "NOT KEPT"
subprocess.run(sys.argv[6:], stdout=subprocess.DEVNULL, check=True)
peak = resource.getrusage(resource.RUSAGE_CHILDREN).ru_maxrss / 1024
print(f"{sys.argv[4]:8} {sys.argv[5]:14} {ours*1000:8.1f} ms  {sys.argv[3]:7} {theirs*1000:8.1f} ms"
      f"  ratio {ratio:6.3f}  limit {limit:5.2f}  {kept}  peak {peak:.0f} MiB")
sys.exit(ratio > limit)
PY
  rm -f "$result"
}

compare list files.zip unzip 'unzip -l $1'
compare list files.zip bsdtar 'bsdtar -tvf $1'
compare extract files.zip unzip 'unzip -q $1 -d $2'
compare extract files.zip bsdtar 'bsdtar -xf $1 -C $2'
compare list files.tar.gz bsdtar 'bsdtar -tvf $1'
compare extract files.tar.gz bsdtar 'bsdtar -xf $1 -C $2'
exit "$worst"
