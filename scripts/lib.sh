# Shared by the scripts beside it: source it from a script that runs anywhere in the checkout.

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
cd "$root" || exit 1

build_packages=(g++ cmake ninja-build libtbb-dev zlib1g-dev libisal-dev rapidjson-dev libcsv-dev libcli11-dev
  libgtest-dev libgmock-dev
  lowdown pkg-config python3 libxml2-utils)
bench_packages=(libbenchmark-dev)
python_packages=(pybind11-dev python3-dev python3-sklearn python3-pandas python3-pytest python3-matplotlib
  python3-imblearn mypy)
mpi_packages=(libopenmpi-dev openmpi-bin)
browser_packages=(nodejs npm chromium)
lint_packages=(clang-format clang-tidy)

installed() {
  [ "$(dpkg-query -W -f '${db:Status-Status}' "$1" 2>/dev/null)" = installed ]
}

# need PACKAGE...: installs what is missing with apt; silent, and without asking for any
# privilege, when nothing is.
need() {
  local package missing=() as_root=()
  if ! command -v apt-get >/dev/null; then
    echo "No apt here: these Debian packages, or their like, must be present: $*" >&2
    return
  fi
  for package in "$@"; do
    installed "$package" || missing+=("$package")
  done
  [ ${#missing[@]} -eq 0 ] && return
  if [ "$(id -u)" -ne 0 ]; then
    if ! command -v sudo >/dev/null; then
      echo "Missing packages, and no sudo to install them with. As root: apt-get install ${missing[*]}" >&2
      exit 1
    fi
    as_root=(sudo)
  fi
  echo "Installing ${missing[*]}"
  local apt=(env DEBIAN_FRONTEND=noninteractive apt-get -qq -o Dpkg::Use-Pty=0)
  "${as_root[@]}" "${apt[@]}" update
  "${as_root[@]}" "${apt[@]}" install -y --no-install-recommends "${missing[@]}" >/dev/null
}

# want PACKAGE...: as need, but without any it goes on, saying so. A program that is there in another
# way counts for its package.
want() {
  local package missing=()
  for package in "$@"; do
    command -v "${package/%nodejs/node}" >/dev/null || missing+=("$package")
  done
  [ ${#missing[@]} -eq 0 ] && return
  (need "${missing[@]}") || echo "Going on without ${missing[*]}" >&2
}

# build PRESET TARGETS [CMAKE_OPTION...]: configures and builds, quiet unless it fails. TARGETS are
# one word for the shell, with blanks between them.
build() {
  local preset=$1 targets
  read -ra targets <<<"$2"
  shift 2
  local log=build/$preset.log
  mkdir -p build
  echo "Building ${targets[*]} ($preset)"
  if ! { cmake --preset "$preset" "$@" &&
         cmake --build --preset "$preset" --target "${targets[@]}"; } >"$log" 2>&1; then
    grep -vE '^\[[0-9]+/[0-9]+\] ' "$log" >&2
    return 1
  fi
}

# sources: every C++ file of the project, one a line.
sources() {
  local folder folders=()
  for folder in cmd prep view verbs python include src zel tests bench fuzz examples; do
    [ -d "$folder" ] && folders+=("$folder")
  done
  find "${folders[@]}" -name '*.h' -o -name '*.cpp' | sort
}
