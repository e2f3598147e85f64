# shellcheck shell=bash
# The Debian packages that building, running and testing need, and their installation. Sourced.

build_packages=(
  g++ cmake ninja-build pkg-config
  libxml2-dev libuchardet-dev libicu-dev libminizip-dev zlib1g-dev
  libpoppler-dev libpoppler-private-dev poppler-data libmagic-dev
  libarchive-dev libisal-dev nettle-dev libmspack-dev libpff-dev libbfio-dev
  libexiv2-dev libtag1-dev libfreetype-dev
  librevenge-dev libwpd-dev libwpg-dev libwps-dev libvisio-dev libmspub-dev libcdr-dev
  libpagemaker-dev libqxp-dev libfreehand-dev libetonyek-dev libstaroffice-dev libmwaw-dev
)
test_packages=(
  libgtest-dev libbenchmark-dev python3 binutils clang-format
)
fuzz_packages=(
  clang libclang-rt-14-dev
)
bench_packages=(
  hyperfine poppler-utils pandoc docx2txt odt2txt lynx catdoc antiword unzip libarchive-tools python3
)

# install_packages NAME...: installs those that are not there yet; quick when all are.
install_packages() {
  local name missing=()
  for name in "$@"; do
    [ "$(dpkg-query -W -f='${db:Status-Status}' "$name" 2>/dev/null)" = installed ] ||
      missing+=("$name")
  done
  [ "${#missing[@]}" -eq 0 ] && return 0
  local as_root=()
  [ "$(id -u)" -eq 0 ] || as_root=(sudo)
  echo "installing ${missing[*]}" >&2
  "${as_root[@]}" apt-get update -qq >&2
  "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive \
    apt-get install -y -qq --no-install-recommends "${missing[@]}" >&2
}

# build PRESET [TARGET]...: configures once, then builds what has changed. Silent unless it fails.
build() {
  local preset=$1 log
  shift
  mkdir -p build
  log=build/$preset.log
  if [ ! -f "build/$preset/build.ninja" ]; then
    cmake --preset "$preset" >"$log" 2>&1 || { cat "$log" >&2; return 1; }
  fi
  cmake --build --preset "$preset" ${1:+--target "$@"} >"$log" 2>&1 || { cat "$log" >&2; return 1; }
}
