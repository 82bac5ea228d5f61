#!/usr/bin/env bash
# Installs what was built, moves it, and uses it as a stranger does: every header by itself, the
# example by CMake and by pkg-config, the program and its page.
# Usage: package.sh SOURCE_FOLDER BUILD_FOLDER SHARED_LIBRARY COMPILER FLAGS
set -euo pipefail
root=$1 build=$2 shared=$3 compiler=$4 flags=$5
work=$build/package
installed=$work/moved
read -ra compile <<<"$compiler $flags"

rm -rf "$work"
cmake --install "$build" --prefix "$work/prefix" >/dev/null
mv "$work/prefix" "$installed"

echo "headers: of the package alone, each by itself, for programs in C++17"
for header in "$installed"/include/orvik/*.h; do
  echo "#include \"orvik/${header##*/}\"" |
    "${compile[@]}" -std=c++17 -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor -Werror \
      -fsyntax-only -I "$installed/include" -x c++ -
done

run_example() { "$1" "$installed/share/doc/orvik/examples/golf" | diff "$root/tests/golden/library.txt" -; }

echo "find_package"
example=$installed/share/doc/orvik/examples/library
cmake -G Ninja -S "$example" -B "$work/cmake" -DCMAKE_PREFIX_PATH="$installed" \
  -DCMAKE_CXX_COMPILER="$compiler" -DCMAKE_CXX_FLAGS="$flags" >/dev/null
cmake --build "$work/cmake" >/dev/null
run_example "$work/cmake/golf"

echo "the shared library"
"${compile[@]}" "$example/main.cpp" -I "$installed/include" "$shared" "-Wl,-rpath,${shared%/*}" \
  -o "$work/by_shared_library"
run_example "$work/by_shared_library"
[[ $(ldd "$work/by_shared_library") == *liborvik.so.* ]]

echo "pkg-config"
if command -v pkg-config >/dev/null; then
  export PKG_CONFIG_PATH LD_LIBRARY_PATH
  PKG_CONFIG_PATH=$(dirname "$(find "$installed" -name orvik.pc)")
  LD_LIBRARY_PATH=$(dirname "$PKG_CONFIG_PATH")${LD_LIBRARY_PATH:+:$LD_LIBRARY_PATH}
  read -ra package <<<"$(pkg-config --cflags --libs orvik)"
  "${compile[@]}" "$example/main.cpp" "${package[@]}" -o "$work/by_pkg_config"
  run_example "$work/by_pkg_config"
  [ "$(pkg-config --static --libs orvik)" = "$(pkg-config --libs orvik)" ]
  [ "Orvik $(pkg-config --modversion orvik)" = "$(head -n 1 "$root/tests/golden/library.txt" | cut -d: -f1)" ]
else
  echo "  no pkg-config here: left out"
fi

echo "programs, pages and completions"
"$installed/bin/orvcmd" --help | grep '^Command line: orvcmd' >/dev/null
[ -s "$installed/share/zsh/vendor-completions/_orvik" ]
[ -s "$installed/share/fish/vendor_completions.d/orvik.fish" ]
for program in orvcmd orvik; do
  [ -x "$installed/bin/$program" ]
  [ -s "$installed/share/bash-completion/completions/$program" ]
done
for program in orvcmd orvik orvik-train orvik-predict orvik-view orvik-prep; do
  [ ! -e "$build/$program.1.gz" ] ||
    zcat "$installed/share/man/man1/$program.1.gz" | grep "^\.TH \"${program^^}\" \"1\"" >/dev/null
done
