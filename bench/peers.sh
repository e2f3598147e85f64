#!/usr/bin/env bash
# Times whole programs on the same documents with hyperfine and prints, for each pair, the ratio of
# `tarnis text` to its peer and the limit it has to keep. Ratios of one run compare; seconds do not.
#
# bench/peers.sh [PRESET]   PRESET: release (default) or dev
set -euo pipefail
cd "$(dirname "$(readlink -f "$0")")/.."
. scripts/packages.sh
preset=${1:-release}
install_packages "${build_packages[@]}" "${bench_packages[@]}"
build "$preset" tarnis
tarnis=$PWD/build/$preset/bin/tarnis
documents=$PWD/build/bench-documents
mkdir -p "$documents"
python3 bench/make_documents.py "$documents"

# compare LIMIT RUNS PEER_NAME DOCUMENT PEER_COMMAND: the peer's command reads the document $1. A name
# without a folder is one of the made documents.
worst=0
compare() {
  local limit=$1 runs=$2 peer=$3 document=$4 command=$5 result
  [ "${document#/}" != "$document" ] || document=$documents/$document
  result=$(mktemp)
  hyperfine --style none --warmup 2 --runs "$runs" -N --export-json "$result" \
    "$tarnis text --ip $document" "${command//\$1/$document}" >/dev/null 2>&1 ||
    { echo "$peer on $4: a program failed" >&2; worst=1; return; }
  python3 - "$result" "$limit" "$peer" "${4##*/}" <<'PY' || worst=1
import json, sys
ours, theirs = (r["median"] for r in json.load(open(sys.argv[1]))["results"])
limit, ratio = float(sys.argv[2]), ours / theirs
kept = "kept" if ratio <= limit else "NOT KEPT"
print(f"{sys.argv[4]:22} {ours*1000:9.1f} ms  {sys.argv[3]:10} {theirs*1000:9.1f} ms"
      f"  ratio {ratio:6.3f}  limit {limit:6.3f}  {kept}")
sys.exit(ratio > limit)
PY
  rm -f "$result"
}

compare 1.1 10 pdftotext large.pdf 'pdftotext $1 -'
compare 1.6 40 pdftotext small.pdf 'pdftotext $1 -'
compare 3.0 20 unzip large.docx 'unzip -p $1'
compare 3.0 10 unzip large.xlsx 'unzip -p $1'
compare 0.8 40 docx2txt small.docx 'docx2txt $1 -'
compare 0.05 3 pandoc large.odt 'pandoc -t plain $1'
compare 1.0 5 odt2txt large.odt 'odt2txt $1'
compare 1.0 10 lynx large.html 'lynx -dump -nolist $1'
compare 2.0 3 iconv huge.txt 'iconv -f UTF-8 -t UTF-8 $1'
# compare_fastest LIMIT RUNS NAME DOCUMENTS PEER_COMMAND...: the limit for the fastest of the peers. A
# peer's command reads the documents $1.
compare_fastest() {
  local limit=$1 runs=$2 name=$3 documents=$4 result
  shift 4
  [ "$#" -ne 0 ] || { echo "$name: no peer gives its text"; return; }
  result=$(mktemp)
  # The quickest runs are compared: the rest of a millisecond's run is the machine's other work.
  hyperfine --style none --warmup 5 --runs "$runs" -N --export-json "$result" \
    "$tarnis text --ip $documents" "${@//\$1/$documents}" >/dev/null 2>&1 ||
    { echo "$name: a program failed" >&2; worst=1; return; }
  python3 - "$result" "$limit" "$name" <<'PY' || worst=1
import json, sys
ours, *peers = json.load(open(sys.argv[1]))["results"]
limit = float(sys.argv[2])
fastest = min(peers, key=lambda peer: peer["min"])
for peer in peers:
    ratio = ours["min"] / peer["min"]
    kept = "" if peer is not fastest else "kept" if ratio <= limit else "NOT KEPT"
    print(f"{sys.argv[3]:22} {ours['min']*1000:9.2f} ms  {peer['command'].split()[0]:10} {peer['min']*1000:9.2f} ms"
          f"  ratio {ratio:6.3f}  limit {limit:6.3f}  {kept}")
sys.exit(ours["min"] / fastest["min"] > limit)
PY
  rm -f "$result"
}
# reads DOCUMENT COMMAND: whether the peer gives the document's text; half of it will do.
reads() {
  local text
  text=$("$tarnis" text --ip "$1" 2>/dev/null | wc -c) && [ "$text" -ne 0 ] &&
    [ "$(${2//\$1/$1} 2>/dev/null | wc -c)" -ge $((text / 2)) ]
}
# compare_one LIMIT RUNS DOCUMENT PEER_COMMAND...: one document, the peers that read it.
compare_one() {
  local limit=$1 runs=$2 document=$3 command commands=()
  shift 3
  [ "${document#/}" != "$document" ] || document=$documents/$document
  for command in "$@"; do
    ! reads "$document" "$command" || commands+=("$command")
  done
  compare_fastest "$limit" "$runs" "${document##*/}" "$document" "${commands[@]}"
}
# compare_many LIMIT RUNS ENDING PEER_COMMAND...: some 300 documents in one call: all of the corpus that
# every peer reads, again and again.
compare_many() {
  local limit=$1 runs=$2 ending=$3 document command common=() many=()
  shift 3
  while read -r document; do
    for command in "$@"; do
      reads "$document" "$command" || continue 2
    done
    common+=("$document")
  done < <(largest "$ending" 1000)
  [ "${#common[@]}" -ne 0 ] || { echo "no document of the corpus: $ending"; return; }
  while [ "${#many[@]}" -lt 300 ]; do many+=("${common[@]}"); done
  compare_fastest "$limit" "$runs" "${#many[@]} documents, $ending" "${many[*]}" "$@"
}
largest() {
  find "$PWD/../shared/corpus/files" -name "*.$1" -printf '%s %p\n' 2>/dev/null | sort -rn | head -n "$2" | cut -d' ' -f2-
}
word_peers=('catdoc -d utf-8 $1' 'antiword -m UTF-8.txt $1')
sheet_peers=('xls2csv -d utf-8 $1')
compare_many 1.5 30 doc "${word_peers[@]}"
compare_many 1.5 10 xls "${sheet_peers[@]}"
compare_one 1.5 10 large.doc "${word_peers[@]}"
compare_one 1.5 10 large.xls "${sheet_peers[@]}"
# One small document is a process's start: a program of C++ that does nothing takes longer for it than these
# peers, of C, for the document.
compare_one 1.5 300 small.doc "${word_peers[@]}"
compare_one 1.5 300 small.xls "${sheet_peers[@]}"
exit "$worst"
